#include "ZNPlatform/Foundation/Exception.h"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace zn {

namespace {

constexpr int kMaximumFrames = 64;

/// "binary(_ZN2zn3fooEv+0x12) [0x…]" with the symbol made readable; left as it is where there is none.
std::string demangled(std::string symbol) {
  const auto open = symbol.find('(');
  const auto plus = symbol.find('+', open);
  if (open == std::string::npos || plus == std::string::npos || plus == open + 1) return symbol;
  const std::string mangled = symbol.substr(open + 1, plus - open - 1);
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
  if (status == 0 && name) symbol.replace(open + 1, mangled.size(), name.get());
  return symbol;
}

}  // namespace

Exception::Exception(std::string reason) : reason_(std::move(reason)) {
  void* frames[kMaximumFrames];
  const int count = ::backtrace(frames, kMaximumFrames);
  try {
    // The first frame is this constructor.
    if (count > 1) frames_.assign(frames + 1, frames + count);
  } catch (const std::bad_alloc&) {
    // Without memory for the stack the reason still counts.
  }
}

Exception::~Exception() = default;

std::vector<std::string> Exception::callStackSymbols() const {
  std::vector<std::string> lines;
  const std::unique_ptr<char*, decltype(&std::free)> symbols(
      ::backtrace_symbols(frames_.data(), static_cast<int>(frames_.size())), &std::free);
  if (!symbols) return lines;
  lines.reserve(frames_.size());
  for (std::size_t i = 0; i < frames_.size(); ++i) lines.push_back(demangled(symbols.get()[i]));
  return lines;
}

std::string currentExceptionText() {
  try {
    throw;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown exception";
  }
}

}  // namespace zn
