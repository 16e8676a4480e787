#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

#include "ZNPlatform/Foundation/TemporaryFolder_p.h"

namespace zn::test {

class TemporaryFolder : public zn::TemporaryFolder {
 public:
  TemporaryFolder() : zn::TemporaryFolder("zntest") {}
};

/// In memory where the machine has such a folder: many writes need not wait for a busy disk, and a killed process loses
/// nothing there either.
class MemoryFolder : public zn::TemporaryFolder {
 public:
  MemoryFolder() : zn::TemporaryFolder("zntest", parent()) {}
  static std::filesystem::path parent() {
    const char* const memory = "/dev/shm";
    return ::access(memory, W_OK | X_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  }
};

}  // namespace zn::test
