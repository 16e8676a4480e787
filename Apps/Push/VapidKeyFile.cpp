#include "Apps/Push/VapidKeyFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"

namespace push {

namespace {

[[noreturn]] void fail(const std::string& doing, const std::string& path) {
  throw zn::Exception("cannot " + doing + " " + path + ": " + std::strerror(errno));
}

/// Nothing where there is no such file.
std::optional<zn::P256Key> read(const std::string& path) {
  constexpr std::size_t kMostBytes = 1 << 16;
  constexpr mode_t kOthers = 077;
  const zn::Descriptor file = zn::openFile(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (!file && errno == ENOENT) return std::nullopt;
  if (!file) fail("read", path);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) fail("read", path);
  if (!S_ISREG(status.st_mode)) throw zn::Exception(path + " is no ordinary file: name another for this sender's key");
  if ((status.st_mode & kOthers) != 0) {
    throw zn::Exception("others may use " + path +
                        ", the key of this sender: chmod 600 it, or, if somebody may have "
                        "read it, move it away for a new one (which devices have to subscribe for anew)");
  }
  const auto contents = zn::readStateFile(file.get(), path, kMostBytes);
  if (contents.outcome != zn::StateFile::Outcome::read) throw zn::Exception(contents.error);
  auto key = zn::P256Key::ofPem({reinterpret_cast<const char*>(contents.bytes.data()), contents.bytes.size()});
  if (!key) {
    throw zn::Exception(path +
                        " holds no private key on P-256 in PEM without a password: move it away for a new one, "
                        "or name another file");
  }
  return key;
}

void writeAll(int file, const std::string& text, const std::string& path) {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(file, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) fail("write", path);
    if (count > 0) written += static_cast<std::size_t>(count);
  }
  if (::fdatasync(file) != 0) fail("write", path);
}

/// Gives the file its name only once it is whole, and only where there is none of that name.
void make(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  std::string error;
  if (!folder.empty() && !zn::createDirectoryAtPath(folder, true, &error)) throw zn::Exception(error);
  std::string draft = path + ".XXXXXX";
  const zn::Descriptor file(::mkostemp(draft.data(), O_CLOEXEC));  // mode 0600
  if (!file) fail("make", path);
  try {
    writeAll(file.get(), zn::P256Key::generate().pem(), path);
    if (::link(draft.c_str(), path.c_str()) != 0 && errno != EEXIST) fail("make", path);
  } catch (...) {
    ::unlink(draft.c_str());
    throw;
  }
  ::unlink(draft.c_str());
  if (!zn::syncDirectoryAtPath(folder.empty() ? "." : folder, &error)) throw zn::Exception(error);
}

}  // namespace

std::string usualVapidKeyFile() {
  const char* const configured = std::getenv("XDG_CONFIG_HOME");
  if (configured && *configured == '/') return std::string(configured) + "/zinpush/vapid.pem";
  const char* const home = std::getenv("HOME");
  if (!home || !*home) throw zn::Exception("there is no HOME for this sender's key: name a file with --key");
  return std::string(home) + "/.config/zinpush/vapid.pem";
}

zn::P256Key vapidKeyIn(const std::string& path) {
  if (auto key = read(path)) return *std::move(key);
  make(path);
  auto key = read(path);
  if (!key) throw zn::Exception(path + " is gone again");
  return *std::move(key);
}

}  // namespace push
