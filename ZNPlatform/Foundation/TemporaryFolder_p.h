#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

/// Throws Exception where there is none.
inline std::filesystem::path systemTemporaryFolder() {
  std::error_code failure;
  auto folder = std::filesystem::temp_directory_path(failure);
  if (failure) throw Exception("no temporary folder: " + failure.message());
  return folder;
}

/// Makes a fresh folder, for its owner only, whose name begins with `prefix`. Throws Exception.
inline std::string makeTemporaryFolder(const std::string& prefix,
                                       const std::filesystem::path& parent = systemTemporaryFolder()) {
  std::string path = (parent / (prefix + "-XXXXXX")).string();
  if (!::mkdtemp(path.data())) throw Exception(path + ": " + std::generic_category().message(errno));
  return path;
}

/// A fresh folder for its owner only; removed at the end with all that is in it.
class TemporaryFolder {
 public:
  /// As `makeTemporaryFolder`.
  explicit TemporaryFolder(const std::string& prefix, const std::filesystem::path& parent = systemTemporaryFolder())
      : path_(makeTemporaryFolder(prefix, parent)) {}
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace zn
