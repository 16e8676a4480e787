#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/Value.h"

namespace zn::test {

/// Lays out a binary property list object by object, also in ways that no writer would.
class RawPropertyList {
 public:
  int add(std::string bytes) {
    objects_.push_back(std::move(bytes));
    return static_cast<int>(objects_.size()) - 1;
  }
  int string(std::string_view text) { return add(head(0x50, text.size()) + std::string(text)); }
  int uid(int index) { return add('\x81' + number(static_cast<std::uint64_t>(index), 2)); }
  int array(const std::vector<int>& elements) { return add(head(0xA0, elements.size()) + references(elements)); }
  int dictionary(const std::vector<std::pair<int, int>>& entries) {
    std::vector<int> all;
    for (const auto& [key, value] : entries) all.push_back(key);
    for (const auto& [key, value] : entries) all.push_back(value);
    return add(head(0xD0, entries.size()) + references(all));
  }
  /// Changes an object afterwards, so that it can refer to later ones.
  std::string& operator[](int object) { return objects_[static_cast<std::size_t>(object)]; }
  /// One more object that is the bytes of another.
  int again(int object) {
    const int copy = add("");
    same_.emplace_back(copy, object);
    return copy;
  }

  std::string references(const std::vector<int>& objects) const {
    std::string out;
    for (const int object : objects) out += number(static_cast<std::uint64_t>(object), referenceSize);
    return out;
  }
  static std::string head(int kind, std::size_t count) {
    if (count < 15) return std::string(1, static_cast<char>(kind | static_cast<int>(count)));
    return static_cast<char>(kind | 15) + ('\x12' + number(count, 4));
  }
  static std::string number(std::uint64_t value, std::size_t size) {
    std::string out;
    for (std::size_t i = size; i-- > 0;) out += i < 8 ? static_cast<char>(value >> (8 * i)) : '\0';
    return out;
  }

  Data file(int top) const {
    std::string out = "bplist00", offsets;
    for (const std::string& object : objects_) {
      offsets += number(out.size(), offsetSize);
      out += object;
    }
    for (const auto& [copy, object] : same_) {
      offsets.replace(offsetSize * copy, offsetSize, offsets.substr(offsetSize * object, offsetSize));
    }
    const std::size_t table = out.size();
    out += offsets + std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(referenceSize);
    out += number(objects_.size(), 8) + number(static_cast<std::uint64_t>(top), 8) + number(table, 8);
    return {out.begin(), out.end()};
  }

  std::size_t referenceSize = 4;
  std::size_t offsetSize = 4;

 private:
  std::vector<std::string> objects_;
  std::vector<std::pair<std::size_t, std::size_t>> same_;
};

inline Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

/// What a Python program prints; empty where it fails.
inline std::string outputOfPython(const std::string& program, const std::string& argument = {}) {
  const std::string command = "python3 '" + program + "' '" + argument + "'";
  std::string out;
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  return pclose(pipe) == 0 ? out : std::string();
}

}  // namespace zn::test
