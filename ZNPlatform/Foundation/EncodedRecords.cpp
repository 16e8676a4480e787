#include "ZNPlatform/Foundation/EncodedRecords_p.h"

#include <algorithm>
#include <cstring>

#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn {

namespace {

/// What an object takes in a file.
struct WrittenSize {
  std::uint32_t objects;
  std::size_t references;
  std::size_t bytes;  // without the references
};

inline WrittenSize writtenSizeOfRecord(const EncodedObject& record) noexcept {
  WrittenSize size{1, 0, 0};
  std::uint32_t fields = 1;  // the class
  forEachField(record, [&](EncodedRef field, std::int32_t integer) {
    ++fields;
    if (field != (ref::kFixed | ref::kInlineInteger)) return;
    ++size.objects;
    size.bytes += list::integerSize(integer);
  });
  size.references = 2 * fields;
  size.bytes += list::headSize(fields);
  return size;
}

inline WrittenSize writtenSize(const EncodedObject& object) noexcept {
  const std::size_t head = list::headSize(object.count);
  const std::size_t count = object.count;
  switch (object.kind) {
    case EncodedKind::record:
      return writtenSizeOfRecord(object);
    case EncodedKind::dictionary:
      return {3, 6 + 2 * count, 1 + 2 * head};
    case EncodedKind::array:
      return {2, 4 + count, 1 + head};
    case EncodedKind::date:
      return {2, 4, 1 + 9};
    case EncodedKind::real:
      return {1, 0, 9};
    case EncodedKind::integer:
      return {1, 0, list::integerSize(object.integer())};
    case EncodedKind::data:
      return {1, 0, head + count};
  }
  return {};
}

}  // namespace

EncodedRecords::EncodedRecords() : records_(1) {}
EncodedRecords::~EncodedRecords() = default;

std::span<const std::uint8_t> EncodedRecords::archive(NSKeyedArchiver& coder, const Coding& root) {
  try {
    ++round_;
    expected_ = 0;
    records_[kRoot].round = round_;
    order_.push_back(kRoot);
    encode(kRoot, root, coder);
    for (std::size_t i = 0; i < pending_.size(); ++i) encode(pending_[i].slot, *pending_[i].record, coder);
    forgetRemoved();
    ArchiveWriter(*this).write(output_);
  } catch (...) {
    clear();
    throw;
  }
  endRound();
  return output_;
}

bool EncodedRecords::load(std::shared_ptr<const LoadedArchive> archive, std::span<const std::uint8_t> bytes) {
  loaded_ = std::move(archive);
  texts_.load(loaded_->textBytes(), loaded_->textStarts(), loaded_->literals());
  shapes_ = loaded_->shapes();
  const auto records = static_cast<std::uint32_t>(loaded_->records());
  records_.resize(records);
  for (std::uint32_t slot = 0; slot < records; ++slot) {
    EncodedRecord& record = records_[slot];
    record.words = loaded_->words(slot);
    add(record);
    order_.push_back(slot);
    others_.push_back({slot, 0});
  }
  ArchiveWriter(*this).write(output_);
  others_.clear();
  lastOrder_.swap(order_);
  return output_.size() == bytes.size() && std::memcmp(output_.data(), bytes.data(), bytes.size()) == 0;
}

void EncodedRecords::setRevisions(std::span<const std::uint64_t> revisions) {
  for (std::size_t i = 0; i < revisions.size(); ++i) records_[i + 1].revision = revisions[i];
  order_.swap(lastOrder_);
  endRound();
  GrowingBuffer<std::uint8_t>().swap(output_);  // not kept: most who load save much later, if at all
}

void EncodedRecords::clear() {
  records_.clear();
  records_.resize(1);
  freeSlots_.clear();
  order_.clear();
  lastOrder_.clear();
  byRevision_.clear();
  seen_.clear();
  others_.clear();
  pending_.clear();
  fieldValues_.clear();
  owners_.clear();
  memberOwners_.clear();
  shapes_.clear();
  std::fill(std::begin(classUsers_), std::end(classUsers_), 0u);
  std::fill(std::begin(fixedUsers_), std::end(fixedUsers_), 0u);
  texts_.clear();
  loaded_.reset();
}

/// Before the archive is written: what is no longer there must not be in it.
void EncodedRecords::forgetRemoved() {
  for (const std::uint32_t slot : lastOrder_) {
    if (records_[slot].round != round_) forget(slot);
  }
  lastOrder_.clear();
}

void EncodedRecords::endRound() {
  for (const std::uint32_t slot : order_) {
    if (records_[slot].revision == 0) {
      forget(slot);
    } else {
      lastOrder_.push_back(slot);
      newest_ = std::max(newest_, records_[slot].revision);
    }
  }
  order_.clear();
  byRevision_.clear();
  others_.clear();
  pending_.clear();
  memberOwners_.clear();
  texts_.sweep();
}

void EncodedRecords::forget(std::uint32_t slot) {
  EncodedRecord& record = records_[slot];
  remove(record);
  record = {};
  if (slot != kRoot) freeSlots_.push_back(slot);
}

std::uint32_t EncodedRecords::newSlot() {
  if (freeSlots_.empty()) {
    records_.emplace_back();
    return static_cast<std::uint32_t>(records_.size() - 1);
  }
  const std::uint32_t slot = freeSlots_.back();
  freeSlots_.pop_back();
  return slot;
}

/// Lists mostly keep their order from one archive to the next, but for what comes new or goes.
std::uint32_t EncodedRecords::slotOf(std::uint64_t revision) {
  if (revision > newest_) return kNone;
  for (const std::size_t place : {expected_, expected_ + 1}) {
    if (place >= lastOrder_.size() || records_[lastOrder_[place]].revision != revision) continue;
    expected_ = place + 1;
    return lastOrder_[place];
  }
  if (byRevision_.empty()) {
    for (const std::uint32_t slot : lastOrder_) byRevision_.emplace(records_[slot].revision, slot);
  }
  const auto known = byRevision_.find(revision);
  return known == byRevision_.end() ? kNone : known->second;
}

/// `change`: one more, or one less.
void EncodedRecords::countRef(EncodedRef ref, std::uint32_t change) {
  const std::uint32_t number = ref::number(ref);
  if (ref::how(ref) == ref::kText) {
    if (change == 1) {
      texts_.use(number);
    } else {
      texts_.release(number);
    }
  } else if (ref::how(ref) == ref::kFixed) {
    fixedUsers_[number] += change;
  }
}

void EncodedRecords::countUsers(const EncodedObject& object, std::uint32_t change) {
  if (object.kind == EncodedKind::record) {
    shapes_[object.shape].users += change;
    forEachField(object, [&](EncodedRef field, std::int32_t) { countRef(field, change); });
  } else if (object.kind <= EncodedKind::date) {
    classUsers_[static_cast<std::size_t>(foundationClassOf(object))] += change;
    if (object.kind == EncodedKind::date) return;
    for (const EncodedRef each : object.body) countRef(each, change);
  }
}

/// Finds out what the record takes in an archive, and notes what else that has to hold for it.
void EncodedRecords::add(EncodedRecord& record) {
  record.places = record.objects = 0;
  std::uint32_t objects = 0;
  std::size_t references = 0;
  std::size_t bytes = 0;
  forEachObject(record.words, [&](const EncodedObject& object) {
    const WrittenSize size = writtenSize(object);
    ++record.places;
    objects += size.objects;
    references += size.references;
    bytes += size.bytes;
    countUsers(object, 1);
  });
  record.objects = objects;
  record.references = references;
  record.bytes = bytes;
}

/// The reverse of `add`.
void EncodedRecords::remove(const EncodedRecord& record) {
  forEachObject(record.words, [&](const EncodedObject& object) { countUsers(object, UINT32_MAX); });
}

std::size_t EncodedRecords::capacity() const noexcept {
  return texts_.capacity() + records_.capacity() * sizeof(EncodedRecord) + seen_.capacity() + output_.capacity() +
         words_.capacity() + waiting_.capacity() * sizeof waiting_[0];
}

}  // namespace zn
