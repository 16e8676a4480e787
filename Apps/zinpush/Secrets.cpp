#include "Apps/zinpush/Secrets.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zinpush {

namespace {

/// Where in an argument its secret begins; npos where it has none. JSON is no valid argument, but some will try.
std::size_t secretIn(const std::string& argument) {
  constexpr std::string_view kOption = "--to=";
  const std::size_t start = argument.starts_with(kOption) ? kOption.size() : 0;
  const std::string value = argument.substr(start);
  return isToken(value) || value.starts_with('{') ? start : std::string::npos;
}

}  // namespace

Arguments::Arguments(int count, char** arguments) : texts_(arguments, arguments + count) {
  for (int index = 0; index < count; ++index) {
    const std::size_t start = secretIn(texts_[static_cast<std::size_t>(index)]);
    if (start != std::string::npos) std::memset(arguments[index] + start, 'x', std::strlen(arguments[index] + start));
  }
  for (std::string& text : texts_) pointers_.push_back(text.data());
  pointers_.push_back(nullptr);
}

bool isToken(const std::string& text) {
  constexpr std::size_t kShortest = 64;  // no file is called like that
  return text.size() >= kShortest && std::all_of(text.begin(), text.end(), [](char c) {
           return zn::isAsciiDigit(c) || (zn::asciiLower(c) >= 'a' && zn::asciiLower(c) <= 'f');
         });
}

void keepOutOfCoreDumps() {
  // With 0 the kernel would still hand the memory to a program that collects such dumps; with 1 it does not.
  const rlimit none{1, 1};
  ::setrlimit(RLIMIT_CORE, &none);
}

}  // namespace zinpush
