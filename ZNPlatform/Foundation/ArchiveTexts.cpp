#include "ZNPlatform/Foundation/ArchiveTexts_p.h"

#include <algorithm>
#include <cstring>

namespace zn {

namespace {

bool isSame(std::span<const std::uint8_t> written, const list::Text& text) noexcept {
  if (written.size() != text.size()) return false;
  const list::Text other = list::withoutHead(written);
  return other.wide == text.wide &&
         (text.bytes.empty() || std::memcmp(other.bytes.data(), text.bytes.data(), text.bytes.size()) == 0);
}

}  // namespace

void ArchiveTexts::load(std::span<const std::uint8_t> bytes, std::span<const std::uint32_t> starts,
                        std::span<const Id> literals) {
  loaded_ = bytes.data();
  unindexed_ = starts.size() - 1;
  Text* const texts = texts_.extend(unindexed_);
  for (Id id = 0; id < unindexed_; ++id)
    texts[id] = {starts[id], starts[id + 1] - starts[id], 0, 0, true, false, false};
  loadedLiterals_.assign(literals.begin(), literals.end());
  for (const Id id : literals) texts_[id].isLiteral = true;
}

void ArchiveTexts::indexLoaded() {
  for (Id id = 0; id < unindexed_; ++id) {
    if (texts_[id].size == 0) continue;  // gone already
    texts_[id].hash = index_.hashed(list::withoutHead(written(id))).hash;
    index_.add(texts_[id].hash, id);
    if (!isValue(id)) idle_.push_back(id);
  }
  unindexed_ = 0;
}

ArchiveTexts::Id ArchiveTexts::idOf(std::string_view utf8) {
  if (unindexed_ != 0) indexLoaded();
  const list::TextIndex::Hashed text = index_.hashed(utf8);
  const Id known = index_.find(text.hash, [&](Id id) { return isSame(written(id), text.text); });
  return known != list::TextIndex::kNone ? known : add(text.text, text.hash);
}

ArchiveTexts::Id ArchiveTexts::idOfKey(std::string_view utf8) {
  if (lastKey_ >= nextKeys_.size()) nextKeys_.resize(std::size_t{lastKey_} + 1);
  Id& next = nextKeys_[lastKey_];
  if (next >= texts_.size() || !isAscii(next, utf8)) next = idOf(utf8);
  return lastKey_ = next;
}

bool ArchiveTexts::isAscii(Id id, std::string_view text) const noexcept {
  const auto bytes = written(id);
  if (bytes.size() != list::headSize(text.size()) + text.size() || (bytes[0] & 0xF0) != list::kAscii) return false;
  return std::memcmp(bytes.data() + bytes.size() - text.size(), text.data(), text.size()) == 0;
}

ArchiveTexts::Id ArchiveTexts::add(const list::Text& text, std::uint32_t hash) {
  if (text.bytes.size() > list::kLargestFile || own_.size() > list::kLargestFile / 2) list::refuseSize();
  const auto position = static_cast<std::uint32_t>(own_.size());
  text.store(own_.extend(text.size()));
  Id id = static_cast<Id>(texts_.size());
  if (free_.empty()) {
    texts_.extend(1);
  } else {
    id = free_.back();
    free_.pop_back();
  }
  texts_[id] = {position, static_cast<std::uint32_t>(text.size()), hash, 0, false, false, false};
  index_.add(hash, id);
  idle_.push_back(id);
  return id;
}

ArchiveTexts::Id ArchiveTexts::idOfLiteral(const char* text) {
  const auto address = reinterpret_cast<std::uintptr_t>(text);
  if (const Id* known = literals_.find(address)) return *known;
  const list::Text plain = index_.hashed(std::string_view(text)).text;
  const auto loaded = std::find_if(loadedLiterals_.begin(), loadedLiterals_.end(),
                                   [&](Id each) { return isSame(written(each), plain); });
  const Id id = loaded != loadedLiterals_.end() ? *loaded : idOf(std::string_view(text));
  texts_[id].isLiteral = true;
  literals_.set(address, id);
  return id;
}

void ArchiveTexts::nameLiterals(std::span<const Id> literals) {
  for (const Id id : named_) texts_[id].isNamed = false;
  named_.assign(literals.begin(), literals.end());
  for (const Id id : named_) texts_[id].isNamed = true;
}

void ArchiveTexts::clear() {
  texts_.shrink(0);
  own_.shrink(0);
  loaded_ = nullptr;
  unindexed_ = garbage_ = 0;
  lastKey_ = 0;
  for (auto* const ids : {&loadedLiterals_, &free_, &idle_, &named_, &nextKeys_}) ids->clear();
  literals_.clear();
  index_.clear();
}

void ArchiveTexts::sweep() {
  for (const Id id : idle_) {
    Text& text = texts_[id];
    if (text.users != 0 || text.isLiteral || text.size == 0) continue;
    index_.remove(text.hash, id);
    if (!text.isLoaded) garbage_ += text.size;
    text.size = 0;
    text.isNamed = false;
    free_.push_back(id);
  }
  idle_.clear();
  constexpr std::size_t kMuch = 1 << 16;
  if (garbage_ > kMuch && 2 * garbage_ > own_.size()) repack();
}

void ArchiveTexts::repack() {
  GrowingBuffer<std::uint8_t> packed;
  for (Id id = 0; id < texts_.size(); ++id) {
    Text& text = texts_[id];
    if (text.isLoaded || text.size == 0) continue;
    const auto bytes = written(id);
    text.position = static_cast<std::uint32_t>(packed.size());
    packed.append(bytes);
  }
  own_.swap(packed);
  garbage_ = 0;
}

std::size_t ArchiveTexts::capacity() const noexcept {
  return texts_.capacity() + own_.capacity() + literals_.capacity() + index_.capacity() +
         (free_.capacity() + idle_.capacity() + nextKeys_.capacity()) * sizeof(Id);
}

}  // namespace zn
