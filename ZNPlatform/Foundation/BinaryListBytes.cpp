#include "ZNPlatform/Foundation/BinaryListBytes_p.h"

#include <algorithm>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn::list {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

template <class Word>
Word load(const std::uint8_t* at) noexcept {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

/// Gives `add` all of a text, eight bytes at a time; the last word may overlap the one before.
template <class Add>
void forEachWord(std::span<const std::uint8_t> text, const Add& add) noexcept {
  const std::uint8_t* at = text.data();
  const std::size_t size = text.size();
  if (size >= 8) {
    for (const std::uint8_t* const last = at + size - 8; at < last; at += 8) add(load<std::uint64_t>(at));
    add(load<std::uint64_t>(text.data() + size - 8));
  } else if (size >= 4) {
    add(load<std::uint32_t>(at) | std::uint64_t{load<std::uint32_t>(at + size - 4)} << 32);
  } else if (size > 0) {
    add(at[0] | std::uint64_t{at[size / 2]} << 8 | std::uint64_t{at[size - 1]} << 16);
  }
}

}  // namespace

bool isAscii(std::span<const std::uint8_t> text) noexcept {
  std::uint64_t bits = 0;
  forEachWord(text, [&](std::uint64_t word) { bits |= word; });
  return (bits & kHighBits) == 0;
}

std::uint8_t* storeTrailer(std::uint8_t* at, std::uint8_t offsetSize, std::uint8_t referenceSize, std::size_t objects,
                           std::size_t top, std::size_t table) noexcept {
  std::memset(at, 0, kTrailerSize);
  at[6] = offsetSize;
  at[7] = referenceSize;
  at = store(at + 8, std::uint64_t{objects});
  at = store(at, std::uint64_t{top});
  return store(at, std::uint64_t{table});
}

void refuseSize() { throw Exception("a property list beyond 2 GB cannot be written"); }

TextIndex::TextIndex() : slots_(1024), seed_(reinterpret_cast<std::uintptr_t>(slots_.data()) * kMultiplier) {}

TextIndex::Hashed TextIndex::hashed(std::string_view utf8) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(utf8.data());
  std::uint64_t bits = 0;
  const std::uint32_t hash = hashOf({bytes, utf8.size()}, false, bits);
  if ((bits & kHighBits) == 0) return {{{bytes, utf8.size()}, false}, hash};
  wide_.clear();
  appendUtf16BigEndian(utf8, wide_);
  return hashed({wide_, true});
}

TextIndex::Hashed TextIndex::hashed(const Text& text) const noexcept {
  std::uint64_t bits = 0;
  return {text, hashOf(text.bytes, text.wide, bits)};
}

/// `bits`: those that any of its words has.
std::uint32_t TextIndex::hashOf(std::span<const std::uint8_t> text, bool wide, std::uint64_t& bits) const noexcept {
  std::uint64_t hash = seed_ ^ (text.size() << 1 | (wide ? 1 : 0));
  forEachWord(text, [&](std::uint64_t word) {
    bits |= word;
    // Both halves of the product: the last characters of a text, where numbered ones differ, are a word's high bits.
    const auto product = static_cast<Wide>(hash ^ word) * kMultiplier;
    hash = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  });
  return static_cast<std::uint32_t>(hash);
}

void TextIndex::add(std::uint32_t hash, std::uint32_t number) {
  if (4 * (used_ + 1) > 3 * slots_.size()) resize(used_ - gone_ + 1);
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].number != kNone) i = (i + 1) & mask;
  slots_[i] = {hash, number};
  ++used_;
}

void TextIndex::remove(std::uint32_t hash, std::uint32_t number) noexcept {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask; slots_[i].number != kNone; i = (i + 1) & mask) {
    if (slots_[i].number != number) continue;
    slots_[i].number = kGone;
    ++gone_;
    return;
  }
}

void TextIndex::clear() noexcept {
  std::fill(slots_.begin(), slots_.end(), Slot{});
  used_ = gone_ = 0;
}

void TextIndex::resize(std::size_t texts) {
  std::vector<Slot> old(std::bit_ceil(std::max<std::size_t>(1024, 3 * texts)));
  old.swap(slots_);
  used_ = gone_ = 0;
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.number == kNone || slot.number == kGone) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].number != kNone) i = (i + 1) & mask;
    slots_[i] = slot;
    ++used_;
  }
}

}  // namespace zn::list
