#pragma once

#include <cstring>
#include <span>

#include "ZNPlatform/Foundation/BinaryListBytes_p.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn::list {

template <class Ref>
inline std::uint32_t load(const std::uint8_t* at) noexcept {
  Ref value;
  std::memcpy(&value, at, sizeof value);
  if constexpr (sizeof(Ref) == 2) value = __builtin_bswap16(value);
  if constexpr (sizeof(Ref) == 4) value = __builtin_bswap32(value);
  return value;
}

inline std::uint64_t loadBytes(const std::uint8_t* at, std::size_t size) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | at[i];
  return value;
}

/// Goes through the objects of a binary property list, one after the other. Nothing outside the bytes is touched; what
/// is not needed for that is not checked.
class ArchiveCursor {
 protected:
  explicit ArchiveCursor(std::span<const std::uint8_t> bytes) : bytes_(bytes) {
    expectUsual(bytes_.size() > kHeaderSize + kTrailerSize && bytes_.size() <= kLargestFile &&
                std::memcmp(bytes_.data(), kHeader.data(), kHeaderSize) == 0);
    const std::uint8_t* const trailer = bytes_.data() + bytes_.size() - kTrailerSize;
    offsetSize_ = trailer[6];
    referenceSize_ = trailer[7];
    const std::uint64_t objects = loadBytes(trailer + 8, 8);
    const std::uint64_t table = loadBytes(trailer + 24, 8);
    expectUsual((offsetSize_ == 1 || offsetSize_ == 2 || offsetSize_ == 4) &&
                (referenceSize_ == 1 || referenceSize_ == 2 || referenceSize_ == 4));
    expectUsual(objects < bytes_.size() && table >= kHeaderSize && table < bytes_.size() - kTrailerSize &&
                table + objects * offsetSize_ + kTrailerSize == bytes_.size());
    objects_ = static_cast<std::uint32_t>(objects);
    end_ = bytes_.data() + table;
    at_ = bytes_.data() + kHeaderSize;
  }

  void need(std::size_t size) const { expectUsual(size <= static_cast<std::size_t>(end_ - at_)); }

  /// The count in the head at `at_`, of an object of that kind.
  std::uint32_t head(std::uint8_t kind) {
    need(1);
    expectUsual((*at_ & 0xF0) == kind);
    std::uint32_t count = *at_++ & 0x0F;
    if (count < 15) return count;
    need(5);
    const std::uint8_t marker = *at_++;
    expectUsual((marker & 0xFC) == kInteger && marker != (kInteger | 3));
    const std::size_t width = std::size_t{1} << (marker & 3);
    count = static_cast<std::uint32_t>(loadBytes(at_, width));
    at_ += width;
    return count;
  }

  std::int64_t integer() {
    need(1);
    expectUsual((*at_ & 0xFC) == kInteger);
    const std::size_t width = std::size_t{1} << (*at_++ & 3);
    need(width);
    at_ += width;
    return static_cast<std::int64_t>(loadBytes(at_ - width, width));
  }

  std::uint64_t real() {
    need(9);
    expectUsual(*at_ == kReal);
    at_ += 9;
    return loadBytes(at_ - 8, 8);
  }

  /// A list of so many references, which follow.
  template <class Ref>
  const std::uint8_t* references(std::uint64_t count) {
    expectUsual(count * sizeof(Ref) <= static_cast<std::size_t>(end_ - at_));
    const std::uint8_t* const list = at_;
    at_ += count * sizeof(Ref);
    return list;
  }
  template <class Ref>
  const std::uint8_t* list(std::uint8_t kind, std::uint32_t& count) {
    count = head(kind);
    return references<Ref>(count * std::uint64_t{kind == kDictionary ? 2u : 1u});
  }

  const std::uint8_t* objectAt(std::uint32_t object) const {
    expectUsual(object < objects_);
    const std::uint64_t offset = loadBytes(end_ + std::size_t{object} * offsetSize_, offsetSize_);
    expectUsual(offset < static_cast<std::size_t>(end_ - bytes_.data()));
    return bytes_.data() + offset;
  }

  std::uint32_t objects_ = 0;
  std::uint8_t referenceSize_ = 0;
  const std::uint8_t* at_ = nullptr;   // the next object
  const std::uint8_t* end_ = nullptr;  // of the objects

 private:
  const std::span<const std::uint8_t> bytes_;
  std::uint8_t offsetSize_ = 0;
};

}  // namespace zn::list
