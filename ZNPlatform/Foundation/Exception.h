#pragma once

#include <cxxabi.h>

#include <exception>
#include <string>
#include <type_traits>
#include <vector>

#include "ZNPlatform/Export.h"

namespace zn {

/// What this library throws. It captures the call stack where it was made, so that a guard can log it. Exceptions never
/// reach the host: every public operation of the module catches and logs them.
class ZN_EXPORT Exception : public std::exception {
 public:
  explicit Exception(std::string reason);
  ~Exception() override;

  const char* what() const noexcept override { return reason_.c_str(); }
  const std::string& reason() const noexcept { return reason_; }

  /// The call stack, innermost frame first, symbols where the binary has them. Resolved when asked for, not when
  /// thrown.
  std::vector<std::string> callStackSymbols() const;

 private:
  std::string reason_;
  std::vector<void*> frames_;
};

/// Text of the exception being handled; call it inside a catch block only.
ZN_EXPORT std::string currentExceptionText();

/// Runs `body`, the code of somebody else or one whose failures go no further: `failed` runs while an exception is
/// handled, for currentExceptionText(), and gives the result in its place. Only the cancellation of the thread passes,
/// which is not an exception that may be kept.
template <class Body, class Failed>
std::invoke_result_t<Body> stopExceptions(Body&& body, Failed&& failed) {
  try {
    return body();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return failed();
  }
}

}  // namespace zn
