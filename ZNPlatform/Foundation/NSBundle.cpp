#include "ZNPlatform/Foundation/NSBundle.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <system_error>

#include "ZNPlatform/Foundation/File.h"

namespace {

/// From lib, lib64, bin or lib/x86_64-linux-gnu up to the folder that "share" is in.
constexpr int kLevelsAbove = 2;

}  // namespace

NSBundle NSBundle::bundleForAddress(const void* address) {
  Dl_info found{};
  void* map = nullptr;
  if (dladdr1(address, &found, &map, RTLD_DL_LINKMAP) == 0 || !map) return NSBundle("");
  // The program itself has no name here, and its argument 0 need not be a path.
  const char* file = static_cast<const link_map*>(map)->l_name;
  std::error_code failure;
  auto folder = std::filesystem::canonical(*file ? file : "/proc/self/exe", failure).parent_path();
  for (int level = 0; !failure && level < kLevelsAbove; ++level) {
    folder = folder.parent_path();
    const auto resources = folder / "share" / "zintar";
    if (std::filesystem::is_directory(resources, failure)) return NSBundle(resources.string());
    failure.clear();
  }
  return NSBundle("");
}

std::string NSBundle::pathForResource(const std::string& name, const std::string& type) const {
  if (resourcePath_.empty()) return "";
  const std::string path = zn::stringByAppendingPathComponent(resourcePath_, name + "." + type);
  return zn::fileExistsAtPath(path) ? path : "";
}
