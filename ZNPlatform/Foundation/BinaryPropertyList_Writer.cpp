#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"

namespace zn {

using namespace list;

BinaryListWriter::BinaryListWriter() { std::memcpy(bytes_.extend(kHeaderSize), kHeader.data(), kHeaderSize); }

/// Begins an object of so many bytes, which are the caller's to write at the result.
std::uint8_t* BinaryListWriter::start(std::size_t bytes) {
  if (bytes > kLargestFile || bytes_.size() > kLargestFile) refuseSize();
  offsets_.push_back(static_cast<std::uint32_t>(bytes_.size()));
  return bytes_.extend(bytes);
}

BinaryListWriter::Ref BinaryListWriter::boolean(bool value) {
  Ref& known = booleans_[value];
  if (known == kNone) {
    *start(1) = value ? kTrue : kFalse;
    known = last();
  }
  return known;
}

BinaryListWriter::Ref BinaryListWriter::integer(std::int64_t value) {
  storeInteger(start(integerSize(value)), value);
  return last();
}

BinaryListWriter::Ref BinaryListWriter::real(double value) {
  storeReal(start(9), kReal, value);
  return last();
}

BinaryListWriter::Ref BinaryListWriter::date(Date date) {
  storeReal(start(9), kDate, date.secondsSince1970 - kSecondsFrom1970To2001);
  return last();
}

BinaryListWriter::Ref BinaryListWriter::data(std::span<const std::uint8_t> bytes) {
  std::uint8_t* at = storeHead(start(headSize(bytes.size()) + bytes.size()), kData, bytes.size());
  if (!bytes.empty()) std::memcpy(at, bytes.data(), bytes.size());
  return last();
}

BinaryListWriter::Ref BinaryListWriter::string(std::string_view utf8) {
  const auto [text, hash] = index_.hashed(utf8);
  const std::uint32_t known = index_.find(hash, [&, &text = text](std::uint32_t number) {
    const Text& each = texts_[number];
    if (each.size != text.bytes.size() || each.wide != text.wide) return false;
    return text.bytes.empty() || std::memcmp(bytes_.data() + each.position, text.bytes.data(), text.bytes.size()) == 0;
  });
  if (known != TextIndex::kNone) return texts_[known].object;
  text.store(start(text.size()));
  const auto size = static_cast<std::uint32_t>(text.bytes.size());
  index_.add(hash, static_cast<std::uint32_t>(texts_.size()));
  texts_.push_back({static_cast<std::uint32_t>(bytes_.size()) - size, size, text.wide, last()});
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
  const std::uint8_t referenceSize = widthFor(offsets_.size());
  std::size_t table = bytes_.size() + references_.size() * referenceSize;
  for (const List& list : lists_) table += headSize(list.count);
  if (table > kLargestFile) refuseSize();
  const std::uint8_t offsetSize = widthFor(table);

  const auto position = static_cast<std::uint32_t>(bytes_.size());
  std::uint8_t* at = bytes_.extend(table + offsets_.size() * offsetSize + kTrailerSize - position);
  at = referenceSize == 1   ? writeLists<std::uint8_t>(at, position)
       : referenceSize == 2 ? writeLists<std::uint16_t>(at, position)
                            : writeLists<std::uint32_t>(at, position);
  for (const std::uint32_t offset : offsets_) at = storeInWidth(at, offset, offsetSize);
  storeTrailer(at, offsetSize, referenceSize, offsets_.size(), top, table);
  return bytes_;
}

}  // namespace zn
