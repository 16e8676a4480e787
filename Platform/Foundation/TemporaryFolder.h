#pragma once

// Not installed API.

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "Platform/Foundation/Exception.h"

namespace zn {

/// A fresh folder below the system's temporary folder, for its owner only; removed at the end with all that is in it.
class TemporaryFolder {
 public:
  /// Its name begins with `prefix`. Throws Exception when it cannot be made.
  explicit TemporaryFolder(const std::string& prefix)
      : path_((std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string()) {
    if (!::mkdtemp(path_.data())) throw Exception(path_ + ": " + std::generic_category().message(errno));
  }
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
