#include <algorithm>
#include <bit>
#include <cstring>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
constexpr std::uint64_t kHighBits = 0x8080808080808080;
constexpr std::size_t kLargestFile = std::size_t{1} << 31;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

enum : std::uint8_t {
  kInteger = 0x10,
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

/// Writes a whole number in the fewest bytes, after a marker that carries the logarithm of their count.
std::uint8_t* storeCount(std::uint8_t* at, std::uint32_t count) noexcept {
  if (count <= UINT8_MAX) return store(store(at, std::uint8_t{kInteger}), static_cast<std::uint8_t>(count));
  if (count <= UINT16_MAX) return store(store(at, std::uint8_t{kInteger | 1}), static_cast<std::uint16_t>(count));
  return store(store(at, std::uint8_t{kInteger | 2}), count);
}

struct Scan {
  std::uint64_t hash;
  bool ascii;
};

/// Hashes a text and looks whether it is all ASCII, eight bytes at a time.
Scan scan(std::span<const std::uint8_t> text, std::uint64_t seed) noexcept {
  std::uint64_t hash = seed ^ text.size();
  std::uint64_t bits = 0;
  const auto add = [&](std::uint64_t word) {
    bits |= word;
    // Both halves of the product: the last characters of a text, where numbered ones differ, are a word's high bits.
    const auto product = static_cast<Wide>(hash ^ word) * kMultiplier;
    hash = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  };
  const auto load = [&](std::size_t at, auto word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    return word;
  };
  const std::size_t size = text.size();
  if (size >= 8) {
    for (std::size_t at = 0; at + 8 < size; at += 8) add(load(at, std::uint64_t{}));
    add(load(size - 8, std::uint64_t{}));  // the last word may overlap the one before
  } else if (size >= 4) {
    add(load(0, std::uint32_t{}) | std::uint64_t{load(size - 4, std::uint32_t{})} << 32);
  } else if (size > 0) {
    add(text[0] | std::uint64_t{text[size / 2]} << 8 | std::uint64_t{text[size - 1]} << 16);
  }
  return {hash, (bits & kHighBits) == 0};
}

std::size_t headSize(std::size_t count) noexcept {
  return count < 15 ? 1 : count <= UINT8_MAX ? 3 : count <= UINT16_MAX ? 4 : 6;
}

std::uint8_t* storeHead(std::uint8_t* at, std::uint8_t kind, std::size_t count) noexcept {
  if (count < 15) return store(at, static_cast<std::uint8_t>(kind | count));
  return storeCount(store(at, static_cast<std::uint8_t>(kind | 15)), static_cast<std::uint32_t>(count));
}

template <class Unsigned>
std::uint8_t* storeAll(std::uint8_t* at, std::span<const std::uint32_t> numbers) noexcept {
  for (const std::uint32_t number : numbers) at = store(at, static_cast<Unsigned>(number));
  return at;
}

[[noreturn]] void refuseSize() { throw Exception("a property list beyond 2 GB cannot be written"); }

}  // namespace

BinaryListWriter::BinaryListWriter() : slots_(1024) { clear(); }

void BinaryListWriter::clear() {
  bytes_.shrink(0);
  offsets_.shrink(0);
  lists_.shrink(0);
  references_.shrink(0);
  texts_.shrink(0);
  std::fill(slots_.begin(), slots_.end(), Slot{});
  booleans_[0] = booleans_[1] = kNone;
  std::memcpy(bytes_.extend(kHeaderSize), "bplist00", kHeaderSize);
}

std::size_t BinaryListWriter::capacity() const noexcept {
  return bytes_.capacity() + offsets_.capacity() + lists_.capacity() + references_.capacity() + texts_.capacity() +
         slots_.capacity() * sizeof(Slot) + wide_.capacity();
}

/// Begins an object: its head is written, and `bytes` of contents are the caller's to write at the result.
std::uint8_t* BinaryListWriter::start(std::uint8_t kind, std::size_t count, std::size_t bytes) {
  if (bytes > kLargestFile || bytes_.size() > kLargestFile) refuseSize();
  offsets_.push_back(static_cast<std::uint32_t>(bytes_.size()));
  return storeHead(bytes_.extend(headSize(count) + bytes), kind, count);
}

BinaryListWriter::Ref BinaryListWriter::boolean(bool value) {
  Ref& known = booleans_[value];
  if (known == kNone) {
    start(value ? 0x09 : 0x08, 0, 0);
    known = last();
  }
  return known;
}

BinaryListWriter::Ref BinaryListWriter::integer(std::int64_t value) {
  if (value < 0 || value > UINT32_MAX) {
    store(start(kInteger | 3, 0, 8), static_cast<std::uint64_t>(value));  // only eight bytes are read as signed
  } else {
    const auto count = static_cast<std::uint32_t>(value);
    const std::size_t size = count <= UINT8_MAX ? 1 : count <= UINT16_MAX ? 2 : 4;
    storeCount(start(0, 0, size) - 1, count);
  }
  return last();
}

BinaryListWriter::Ref BinaryListWriter::real(double value) {
  store(start(0x23, 0, 8), std::bit_cast<std::uint64_t>(value));
  return last();
}

BinaryListWriter::Ref BinaryListWriter::date(Date date) {
  store(start(0x33, 0, 8), std::bit_cast<std::uint64_t>(date.secondsSince1970 - kSecondsFrom1970To2001));
  return last();
}

BinaryListWriter::Ref BinaryListWriter::data(std::span<const std::uint8_t> bytes) {
  std::uint8_t* at = start(kData, bytes.size(), bytes.size());
  if (!bytes.empty()) std::memcpy(at, bytes.data(), bytes.size());
  return last();
}

BinaryListWriter::Ref BinaryListWriter::uid(std::uint32_t index) {
  if (index <= UINT8_MAX) {
    store(start(kUid, 0, 1), static_cast<std::uint8_t>(index));
  } else if (index <= UINT16_MAX) {
    store(start(kUid | 1, 0, 2), static_cast<std::uint16_t>(index));
  } else {
    store(start(kUid | 3, 0, 4), index);
  }
  return last();
}

BinaryListWriter::Ref BinaryListWriter::newList(std::uint8_t kind, std::size_t count) {
  offsets_.push_back(0);
  lists_.push_back({last(), static_cast<std::uint32_t>(count), kind});
  return last();
}

BinaryListWriter::Ref BinaryListWriter::array(std::span<const Ref> elements) {
  references_.append(elements);
  return newList(kArray, elements.size());
}

BinaryListWriter::Ref BinaryListWriter::dictionary(std::span<const Ref> keys, std::span<const Ref> values) {
  references_.append(keys);
  references_.append(values);
  return newList(kDictionary, keys.size());
}

BinaryListWriter::Text& BinaryListWriter::intern(std::string_view text) {
  std::span bytes{reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  // Another seed in every process: nobody can prepare texts that all fall into one place.
  const std::uint64_t seed = reinterpret_cast<std::uintptr_t>(this) * kMultiplier;
  Scan scanned = scan(bytes, seed);
  const bool wide = !scanned.ascii;
  if (wide) {
    wide_.clear();
    appendUtf16BigEndian(text, wide_);
    bytes = wide_;
    scanned.hash = scan(bytes, seed).hash;
  }
  const auto hash = static_cast<std::uint32_t>(scanned.hash);
  Slot& slot = find(bytes, hash, wide);
  if (slot.text != 0) return texts_[slot.text - 1];

  std::uint8_t* at = start(wide ? kUtf16 : kAscii, wide ? bytes.size() / 2 : bytes.size(), bytes.size());
  if (!bytes.empty()) std::memcpy(at, bytes.data(), bytes.size());
  texts_.push_back(
      {static_cast<std::uint32_t>(at - bytes_.data()), static_cast<std::uint32_t>(bytes.size()), wide, last(), kNone});
  slot = {hash, static_cast<std::uint32_t>(texts_.size())};
  if (4 * texts_.size() > 3 * slots_.size()) growSlots();
  return texts_[texts_.size() - 1];
}

/// The slot of a text, or the free one where it belongs.
BinaryListWriter::Slot& BinaryListWriter::find(std::span<const std::uint8_t> bytes, std::uint32_t hash, bool wide) {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.text == 0) return slot;
    if (slot.hash != hash) continue;
    const Text& text = texts_[slot.text - 1];
    if (text.size != bytes.size() || text.wide != wide) continue;
    if (bytes.empty() || std::memcmp(bytes_.data() + text.position, bytes.data(), bytes.size()) == 0) return slot;
  }
}

void BinaryListWriter::growSlots() {
  std::vector<Slot> old(4 * slots_.size());
  old.swap(slots_);
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.text == 0) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].text != 0) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

/// Writes the lists at the place that has this position in the file; the result is where they end.
template <class RefType>
std::uint8_t* BinaryListWriter::writeLists(std::uint8_t* at, std::uint32_t position) {
  const std::uint8_t* const begin = at;
  const Ref* reference = references_.data();
  for (const List& list : lists_) {
    offsets_[list.object] = position + static_cast<std::uint32_t>(at - begin);
    at = storeHead(at, list.kind, list.count);
    const Ref* end = reference + (list.kind == kDictionary ? 2 : 1) * std::size_t{list.count};
    for (; reference != end; ++reference) at = store(at, static_cast<RefType>(*reference));
  }
  return at;
}

std::span<const std::uint8_t> BinaryListWriter::finish(Ref top) {
  const auto width = [](std::size_t largest) -> std::uint8_t {
    return largest <= UINT8_MAX ? 1 : largest <= UINT16_MAX ? 2 : 4;
  };
  const std::uint8_t referenceSize = width(offsets_.size());
  std::size_t table = bytes_.size() + references_.size() * referenceSize;
  for (const List& list : lists_) table += headSize(list.count);
  if (table > kLargestFile) refuseSize();
  const std::uint8_t offsetSize = width(table);

  const auto position = static_cast<std::uint32_t>(bytes_.size());
  std::uint8_t* at = bytes_.extend(table + offsets_.size() * offsetSize + kTrailerSize - position);
  at = referenceSize == 1   ? writeLists<std::uint8_t>(at, position)
       : referenceSize == 2 ? writeLists<std::uint16_t>(at, position)
                            : writeLists<std::uint32_t>(at, position);
  at = offsetSize == 1   ? storeAll<std::uint8_t>(at, offsets_)
       : offsetSize == 2 ? storeAll<std::uint16_t>(at, offsets_)
                         : storeAll<std::uint32_t>(at, offsets_);
  std::memset(at, 0, kTrailerSize);
  at[6] = offsetSize;
  at[7] = referenceSize;
  store(at + 8, std::uint64_t{offsets_.size()});
  store(at + 16, std::uint64_t{top});
  store(at + 24, std::uint64_t{table});
  return bytes_;
}

}  // namespace zn
