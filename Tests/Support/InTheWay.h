#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

namespace zn::test {

/// While it lives, a folder stands in a file's place, which opens but gives no bytes, or a file in a folder's.
class InTheWay {
 public:
  explicit InTheWay(std::string path) : path_(std::move(path)) {
    std::filesystem::rename(path_, path_ + "-away");
    if (std::filesystem::is_directory(path_ + "-away")) {
      std::ofstream(path_).put('x');
    } else {
      std::filesystem::create_directory(path_);
    }
  }
  ~InTheWay() {
    std::filesystem::remove(path_);
    std::filesystem::rename(path_ + "-away", path_);
  }
  InTheWay(const InTheWay&) = delete;
  InTheWay& operator=(const InTheWay&) = delete;

 private:
  const std::string path_;
};

}  // namespace zn::test
