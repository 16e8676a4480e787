#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/EncodedRecords_p.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Thrown while an archive is read that is not what ArchiveWriter writes.
struct UnusualArchive {};
inline void expectUsual(bool isUsual) {
  if (!isUsual) throw UnusualArchive();
}

/// An archive that was read, in the form in which records are kept encoded. Nothing is made of it before somebody asks.
///
/// Only an archive that ArchiveWriter would write the same is read so: whoever reads it checks that it is, byte for
/// byte, which also is the check for damage. Any other is for the thorough reader. What is looked at here is what
/// equality does not tell: that nothing contains itself, nests deeply or unfolds beyond measure, and that texts are
/// well-formed.
///
/// Never changed once it is made, but for a cache. Thread: any.
class LoadedArchive {
 public:
  /// null where it is none of those, as far as can be seen before it is written again.
  static std::shared_ptr<const LoadedArchive> read(std::span<const std::uint8_t> bytes);

  std::size_t records() const noexcept { return starts_.size() - 1; }  ///< the first: the root
  std::span<const std::uint32_t> words(std::size_t record) const noexcept {
    return {words_.data() + starts_[record], starts_[record + 1] - starts_[record]};
  }
  const std::vector<EncodedShape>& shapes() const noexcept { return shapes_; }
  std::span<const std::uint8_t> textBytes() const noexcept { return textBytes_; }
  std::span<const std::uint32_t> textStarts() const noexcept { return textStarts_; }
  std::span<const ArchiveTexts::Id> literals() const noexcept { return literals_; }

  Value text(ArchiveTexts::Id id) const;
  /// The same, kept: records of a kind share their keys.
  Value key(ArchiveTexts::Id id) const;
  bool isText(ArchiveTexts::Id id, std::string_view ascii) const noexcept;

 private:
  friend class ArchiveParser;
  friend class RecordSplitter;

  void splitIntoRecords(std::span<const std::uint32_t> objectStarts, std::size_t fileSize);
  list::Text written(ArchiveTexts::Id id) const noexcept {
    return list::withoutHead({textBytes_.data() + textStarts_[id], textStarts_[id + 1] - textStarts_[id]});
  }

  GrowingBuffer<std::uint32_t> words_;
  std::vector<std::uint32_t> starts_;
  std::vector<EncodedShape> shapes_;
  GrowingBuffer<std::uint8_t> textBytes_;
  GrowingBuffer<std::uint32_t> textStarts_;  // and where the last one ends
  std::vector<ArchiveTexts::Id> literals_;
  mutable Mutex mutex_;
  mutable std::vector<Value> keys_ ZN_GUARDED_BY(mutex_);
};

/// The fields of one record of a loaded archive, as values. Thread: one at a time.
class LoadedFields {
 public:
  LoadedFields(const LoadedArchive& archive, std::size_t record) : archive_(archive) { reset(record); }

  /// An object of the record and the fields that it has, if it is one itself.
  EncodedObject object(std::uint32_t place) const noexcept {
    const std::uint32_t* at = starts_[place];
    return nextEncodedObject(at);
  }
  std::size_t size() const noexcept { return starts_.size(); }
  bool holdsRecords() const noexcept { return records_ > 1; }  ///< besides itself
  /// Begins with another record of the archive.
  void reset(std::size_t record);
  /// What a field refers to; false where the record has none of that name.
  bool field(const EncodedObject& record, std::string_view key, EncodedRef& ref, std::int32_t& integer);
  /// nil, and `fits` false, for a record.
  Value value(EncodedRef ref, bool& fits);

 private:
  Value made(std::uint32_t place, bool& fits);
  Value container(const EncodedObject& object, bool& fits);

  const LoadedArchive& archive_;
  std::vector<const std::uint32_t*> starts_;  // of its objects
  std::size_t records_ = 0;
  std::vector<Value> values_;  // containers that were made of them
  // Records of a kind are asked the same, one after the other: which field answered the first question, the second ...
  std::vector<std::size_t> answers_;
  std::size_t asked_ = 0;
};

}  // namespace zn
