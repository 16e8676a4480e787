#pragma once

#include <stdlib.h>

#include <optional>
#include <string>

namespace zn::test {

/// Sets a variable of the environment while it lives.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~EnvironmentVariable() { before_ ? setenv(name_, before_->c_str(), 1) : unsetenv(name_); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  const char* const name_;
  std::optional<std::string> before_;
};

}  // namespace zn::test
