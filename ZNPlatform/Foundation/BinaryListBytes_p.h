#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/Value.h"

// How binary property lists are laid out, for those who write them.

namespace zn {

/// Binary property lists and archives count time from 2001-01-01 00:00 UTC.
inline constexpr double kSecondsFrom1970To2001 = 978307200;

namespace list {

inline constexpr std::size_t kLargestFile = std::size_t{1} << 31;
inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::size_t kTrailerSize = 32;
inline constexpr std::string_view kHeader = "bplist00";

enum : std::uint8_t {
  kFalse = 0x08,
  kTrue = 0x09,
  kInteger = 0x10,
  kReal = 0x23,
  kDate = 0x33,
  kData = 0x40,
  kAscii = 0x50,
  kUtf16 = 0x60,
  kUid = 0x80,
  kArray = 0xA0,
  kDictionary = 0xD0
};

template <class Unsigned>
std::uint8_t* store(std::uint8_t* at, Unsigned value) noexcept {
  if constexpr (sizeof(Unsigned) == 2) value = __builtin_bswap16(value);
  if constexpr (sizeof(Unsigned) == 4) value = __builtin_bswap32(value);
  if constexpr (sizeof(Unsigned) == 8) value = __builtin_bswap64(value);
  static_assert(std::endian::native == std::endian::little);
  std::memcpy(at, &value, sizeof value);
  return at + sizeof value;
}

/// The fewest bytes that hold numbers up to this one: 1, 2 or 4.
inline std::uint8_t widthFor(std::size_t largest) noexcept {
  return largest <= UINT8_MAX ? 1 : largest <= UINT16_MAX ? 2 : 4;
}

inline std::uint8_t* storeInWidth(std::uint8_t* at, std::uint32_t number, std::uint8_t width) noexcept {
  if (width == 4) return store(at, number);
  return width == 2 ? store(at, static_cast<std::uint16_t>(number)) : store(at, static_cast<std::uint8_t>(number));
}

/// A number after a marker that carries the logarithm of its width.
inline std::uint8_t* storeMarked(std::uint8_t* at, std::uint8_t kind, std::uint32_t number) noexcept {
  const std::uint8_t width = widthFor(number);
  return storeInWidth(store(at, static_cast<std::uint8_t>(kind | width >> 1)), number, width);
}

/// Only eight bytes are read as signed.
inline std::size_t integerSize(std::int64_t value) noexcept {
  return 1u + (value < 0 || value > UINT32_MAX ? 8u : widthFor(static_cast<std::size_t>(value)));
}
inline std::uint8_t* storeInteger(std::uint8_t* at, std::int64_t value) noexcept {
  if (value >= 0 && value <= UINT32_MAX) return storeMarked(at, kInteger, static_cast<std::uint32_t>(value));
  return store(store(at, std::uint8_t{kInteger | 3}), static_cast<std::uint64_t>(value));
}

inline std::size_t uidSize(std::uint32_t index) noexcept { return 1u + widthFor(index); }
/// The marker of a reference into an archive carries the number of bytes less one.
inline std::uint8_t* storeUid(std::uint8_t* at, std::uint32_t index) noexcept {
  const std::uint8_t width = widthFor(index);
  return storeInWidth(store(at, static_cast<std::uint8_t>(kUid | (width - 1))), index, width);
}

inline std::uint8_t* storeReal(std::uint8_t* at, std::uint8_t kind, double value) noexcept {
  return store(store(at, kind), std::bit_cast<std::uint64_t>(value));
}

/// What stands before the contents of text, data and lists: the count, in the marker or behind it.
inline std::size_t headSize(std::size_t count) noexcept { return count < 15 ? 1 : 2u + widthFor(count); }
inline std::uint8_t* storeHead(std::uint8_t* at, std::uint8_t kind, std::size_t count) noexcept {
  if (count < 15) return store(at, static_cast<std::uint8_t>(kind | count));
  return storeMarked(store(at, static_cast<std::uint8_t>(kind | 15)), kInteger, static_cast<std::uint32_t>(count));
}

std::uint8_t* storeTrailer(std::uint8_t* at, std::uint8_t offsetSize, std::uint8_t referenceSize, std::size_t objects,
                           std::size_t top, std::size_t table) noexcept;

bool isAscii(std::span<const std::uint8_t> text) noexcept;

[[noreturn]] void refuseSize();

/// A text as it stands in the file, without its head.
struct Text {
  std::span<const std::uint8_t> bytes;
  bool wide = false;  ///< UTF-16, most significant byte first; ASCII otherwise

  std::size_t units() const noexcept { return wide ? bytes.size() / 2 : bytes.size(); }
  std::size_t size() const noexcept { return headSize(units()) + bytes.size(); }
  std::uint8_t* store(std::uint8_t* at) const noexcept {
    at = storeHead(at, wide ? kUtf16 : kAscii, units());
    if (!bytes.empty()) std::memcpy(at, bytes.data(), bytes.size());
    return at + bytes.size();
  }
};

/// What stands in a file as a text, which must be one.
inline Text withoutHead(std::span<const std::uint8_t> written) noexcept {
  const std::size_t head = (written[0] & 0x0F) < 15 ? 1 : 2 + (std::size_t{1} << (written[1] & 3));
  return {written.subspan(head), (written[0] & 0xF0) == kUtf16};
}

/// Finds texts by their bytes. What it finds are numbers, which the owner gives; two texts never have one.
class TextIndex {
 public:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  TextIndex();
  struct Hashed {
    Text text;
    std::uint32_t hash;
  };
  /// A text in its written form; UTF-8 that is not valid becomes U+FFFD. Valid until the next call.
  Hashed hashed(std::string_view utf8);
  Hashed hashed(const Text& text) const noexcept;

  /// The number of a text; kNone where it is new. `isSame` tells whether a number's text is the one.
  template <class IsSame>
  std::uint32_t find(std::uint32_t hash, const IsSame& isSame) const {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.number == kNone) return kNone;
      if (slot.hash == hash && slot.number != kGone && isSame(slot.number)) return slot.number;
    }
  }
  void add(std::uint32_t hash, std::uint32_t number);
  void remove(std::uint32_t hash, std::uint32_t number) noexcept;
  void clear() noexcept;
  std::size_t capacity() const noexcept { return slots_.capacity() * sizeof(Slot) + wide_.capacity(); }

 private:
  static constexpr std::uint32_t kGone = UINT32_MAX - 1;  // a text stood there: looking goes on
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = kNone;
  };
  std::uint32_t hashOf(std::span<const std::uint8_t> text, bool wide, std::uint64_t& bits) const noexcept;
  void resize(std::size_t texts);

  std::vector<Slot> slots_;  // open addressing
  std::size_t used_ = 0;     // also those that are gone
  std::size_t gone_ = 0;
  // Another one in every process: nobody can prepare texts that all fall into one place.
  const std::uint64_t seed_;
  Data wide_;  // scratch
};

}  // namespace list
}  // namespace zn
