#include "ZNPlatform/Foundation/EncodedRecords_p.h"

#include <algorithm>
#include <cstring>

#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn {

namespace {

constexpr std::uint32_t kNone = UINT32_MAX;
constexpr std::uint32_t kRoot = 0;

/// Distinguishes what may have one address: a mutable container and an immutable one are two objects, even where they
/// share what they hold.
std::uintptr_t addressOf(const Value& container) noexcept {
  return reinterpret_cast<std::uintptr_t>(container.identity()) | (container.isMutable() ? 1 : 0);
}
std::uintptr_t addressOf(const Coding& record) noexcept { return reinterpret_cast<std::uintptr_t>(&record) | 2; }

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
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    records_[i + 1].revision = revisions[i];
    newest_ = std::max(newest_, revisions[i]);
  }
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

void EncodedRecords::encode(std::uint32_t slot, const Coding& root, NSKeyedArchiver& coder) {
  slot_ = slot;
  refersToOthers_ = false;
  words_.shrink(0);
  addresses_.clear();
  waiting_.clear();
  lists_.clear();
  placeFor({.record = &root, .level = slot == kRoot ? 1 : 2}, addressOf(root));
  for (std::size_t i = 0; i < waiting_.size(); ++i) encodeWaiting(Waiting(waiting_[i]), coder);

  EncodedRecord& record = records_[slot];
  auto held = std::make_unique<EncodedRecord::Held>();
  held->words.assign(words_.begin(), words_.end());
  held->addresses = addresses_;
  held->values.reserve(fieldValues_.size());
  for (Value& value : fieldValues_) {
    if (value.isContainer()) held->values.push_back(std::move(value));
  }
  fieldValues_.clear();
  held->owners.swap(owners_);
  record.words = held->words;
  record.held = std::move(held);
  if (refersToOthers_) record.revision = 0;
  add(record);
}

void EncodedRecords::encodeWaiting(const Waiting& waiting, NSKeyedArchiver& coder) {
  if (waiting.record) return encodeRecord(waiting, coder);
  if (waiting.value) return encodeValue(*waiting.value);
  const List& list = lists_[waiting.list];
  if (list.elements.size() > kLargestEncodedCount) zn::list::refuseSize();
  words_.push_back(encodedHead(EncodedKind::array, list.isMutable, static_cast<std::uint32_t>(list.elements.size())));
  words_.append(list.elements);
}

void EncodedRecords::encodeRecord(const Waiting& waiting, NSKeyedArchiver& coder) {
  keys_.clear();
  fields_.clear();
  level_ = waiting.level;
  waiting.record->encodeWithCoder(coder);
  words_.push_back(encodedHead(EncodedKind::record, false, static_cast<std::uint32_t>(fields_.size())));
  words_.push_back(shapeOf(*waiting.record));
  words_.append(fields_);
}

std::uint32_t EncodedRecords::shapeOf(const Coding& record) {
  keys_.push_back("$class");
  const char* const className = record.archivedClassName();
  for (std::uint32_t i = 0; i < shapes_.size(); ++i) {
    if (shapes_[i].literals == keys_ && shapes_[i].className == className) return i;
  }
  EncodedShape shape{.className = className, .keys = {}, .literals = keys_};
  for (const char* key : keys_) shape.keys.push_back(texts_.idOfLiteral(key));
  shape.classText = texts_.idOfLiteral(className);
  for (std::uint32_t i = 0; i < shapes_.size(); ++i) {
    EncodedShape& known = shapes_[i];
    if (known.keys != shape.keys || known.className != className) continue;
    known.literals = keys_;
    return i;
  }
  shapes_.push_back(std::move(shape));
  return static_cast<std::uint32_t>(shapes_.size() - 1);
}

void EncodedRecords::encodeValue(const Value& value) {
  switch (value.type()) {
    case Value::Type::integer:
      return putInteger(EncodedKind::integer, value.integer());
    case Value::Type::real:
      return putInteger(EncodedKind::real, std::bit_cast<std::int64_t>(value.real()));
    case Value::Type::date:
      return putInteger(EncodedKind::date,
                        std::bit_cast<std::int64_t>(value.date().secondsSince1970 - kSecondsFrom1970To2001));
    case Value::Type::data:
      return putData(value.data());
    default:
      break;
  }
  const auto count = static_cast<std::uint32_t>(value.isArray() ? value.size() : value.entries().size());
  if (count > kLargestEncodedCount) list::refuseSize();
  words_.push_back(
      encodedHead(value.isArray() ? EncodedKind::array : EncodedKind::dictionary, value.isMutable(), count));
  value.prefetchContents();
  std::uint32_t* word = words_.extend(std::size_t{count} * (value.isArray() ? 1 : 2));
  for (const Value& element : value.elements()) *word++ = refOf(element, false);
  for (const Value::Entry& entry : value.entries()) *word++ = ref::kText | texts_.idOfKey(entry.name());
  for (const Value::Entry& entry : value.entries()) *word++ = refOf(entry.value, false);
}

void EncodedRecords::putInteger(EncodedKind kind, std::int64_t bits) {
  words_.push_back(encodedHead(kind, false, 0));
  words_.push_back(static_cast<std::uint32_t>(bits));
  words_.push_back(static_cast<std::uint32_t>(static_cast<std::uint64_t>(bits) >> 32));
}

void EncodedRecords::putData(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > kLargestEncodedCount) list::refuseSize();
  words_.push_back(encodedHead(EncodedKind::data, false, static_cast<std::uint32_t>(bytes.size())));
  if (bytes.empty()) return;
  const std::size_t count = (bytes.size() + 3) / 4;
  std::uint32_t* const words = words_.extend(count);
  words[count - 1] = 0;
  std::memcpy(words, bytes.data(), bytes.size());
}

/// `isField`: the caller may let go of it.
EncodedRef EncodedRecords::refOf(const Value& value, bool isField) {
  switch (value.type()) {
    case Value::Type::nil:
      return ref::kFixed | ref::kNil;
    case Value::Type::null:
      return ref::kFixed | ref::kNull;
    case Value::Type::boolean:
      return ref::kFixed | (value.boolean() ? ref::kTrue : ref::kFalse);
    case Value::Type::string:
      return ref::kText | texts_.idOf(value.string());
    default:
      break;
  }
  std::uintptr_t address = 0;
  EncodedRef found = 0;
  if (value.isContainer() && find(address = addressOf(value), found)) return found;
  return placeFor({.value = isField ? &fieldValues_.emplace_back(value) : &value}, address);
}

EncodedRef EncodedRecords::refOfField(const Value& value) {
  if (value.isContainer() && value.depth() > Value::maximumReadDepth)
    throw Exception("a value nests too deep to be archived");
  return refOf(value, true);
}

EncodedRef EncodedRecords::refOf(const std::shared_ptr<const Coding>& record) {
  if (!record) return ref::kFixed | ref::kNil;
  const std::size_t before = waiting_.size();
  const EncodedRef ref = refOf(*record);
  if (waiting_.size() != before) owners_.push_back(record);
  return ref;
}

EncodedRef EncodedRecords::refOf(const Coding& record) {
  EncodedRef found = 0;
  const std::uintptr_t address = addressOf(record);
  if (find(address, found)) return found;
  if (level_ >= Value::maximumReadDepth) throw Exception("records nest too deep to be archived");
  return placeFor({.record = &record, .level = level_ + 1}, address);
}

EncodedRef EncodedRecords::refOf(std::shared_ptr<const void> owner, std::span<const Coding* const> records,
                                 bool isMutable) {
  std::vector<EncodedRef> elements;
  elements.reserve(records.size());
  const bool areMembers = slot_ == kRoot && level_ == 1;
  for (const Coding* const record : records) elements.push_back(areMembers ? member(*record) : refOf(*record));
  (areMembers ? memberOwners_ : owners_).push_back(std::move(owner));
  lists_.push_back({isMutable, std::move(elements)});
  return placeFor({.list = static_cast<std::uint32_t>(lists_.size() - 1)}, 0);
}

/// A record in a list of the root is encoded by itself, if at all, where its revision tells whether it has changed.
EncodedRef EncodedRecords::member(const Coding& record) {
  const std::uint64_t revision = record.revision();
  if (revision == 0) return refOf(record);
  std::uint32_t slot = slotOf(revision);
  if (slot == kNone) {
    EncodedRef found = 0;
    const std::uintptr_t address = addressOf(record);
    if (find(address, found)) return found;
    slot = newSlot();
    records_[slot].revision = revision;
    records_[slot].held = std::make_unique<EncodedRecord::Held>();
    records_[slot].held->addresses = {address};
    newest_ = std::max(newest_, revision);
    seen_.set(address, {slot, 0}, [this](std::uintptr_t at, const Found& known) { return isAt(at, known); });
    pending_.push_back({slot, &record});
  }
  if (records_[slot].round != round_) order_.push_back(slot);
  records_[slot].round = round_;
  return other({slot, 0});
}

/// Where an object is that this archive holds already. What another archive held may have moved, or its memory may have
/// become something else: `isAt` tells.
bool EncodedRecords::find(std::uintptr_t address, EncodedRef& found) {
  const Found* const known = seen_.find(address);
  if (!known) return false;
  if (known->slot == slot_) {
    if (known->place >= addresses_.size() || addresses_[known->place] != address) return false;
    found = ref::kOwn | known->place;
    return true;
  }
  if (!isAt(address, *known) || records_[known->slot].round != round_) return false;
  found = other(*known);
  return true;
}

bool EncodedRecords::isAt(std::uintptr_t address, const Found& found) const noexcept {
  if (found.slot == slot_) return found.place < addresses_.size() && addresses_[found.place] == address;
  if (found.slot >= records_.size() || !records_[found.slot].held) return false;
  const auto& addresses = records_[found.slot].held->addresses;
  return found.place < addresses.size() && addresses[found.place] == address;
}

EncodedRef EncodedRecords::other(Found found) {
  others_.push_back(found);
  refersToOthers_ = true;
  return ref::kOther | static_cast<std::uint32_t>(others_.size() - 1);
}

EncodedRef EncodedRecords::placeFor(const Waiting& waiting, std::uintptr_t address) {
  if (waiting_.size() > ref::kNumber) list::refuseSize();
  const auto place = static_cast<std::uint32_t>(waiting_.size());
  waiting_.push_back(waiting);
  addresses_.push_back(address);
  if (address != 0) {
    seen_.set(address, {slot_, place}, [this](std::uintptr_t at, const Found& known) { return isAt(at, known); });
  }
  return ref::kOwn | place;
}

void EncodedRecords::addField(const char* key, EncodedRef value) {
  keys_.push_back(key);
  fields_.push_back(value);
}

void EncodedRecords::addInteger(const char* key, std::int32_t value) {
  addField(key, ref::kFixed | ref::kInlineInteger);
  fields_.push_back(static_cast<std::uint32_t>(value));
}

void EncodedRecords::countRef(EncodedRef ref, bool isUsed) {
  const std::uint32_t number = ref::number(ref);
  if (ref::how(ref) == ref::kText) {
    if (isUsed) {
      texts_.use(number);
    } else {
      texts_.release(number);
    }
  } else if (ref::how(ref) == ref::kFixed) {
    fixedUsers_[number] += isUsed ? 1 : UINT32_MAX;
  }
}

/// Finds out what the record takes in an archive, and notes what else that has to hold for it.
void EncodedRecords::add(EncodedRecord& record) {
  WrittenSize sum{0, 0, 0};
  std::uint32_t places = 0;
  forEachObject(record.words, [&](const EncodedObject& object) {
    ++places;
    const WrittenSize size = writtenSize(object);
    sum.objects += size.objects;
    sum.references += size.references;
    sum.bytes += size.bytes;
    if (object.kind == EncodedKind::record) {
      ++shapes_[object.shape].users;
      forEachField(object, [&](EncodedRef field, std::int32_t) { countRef(field, true); });
    } else if (object.kind <= EncodedKind::date) {
      ++classUsers_[static_cast<std::size_t>(foundationClassOf(object))];
      if (object.kind == EncodedKind::date) return;
      for (const EncodedRef each : object.body) countRef(each, true);
    }
  });
  record.places = places;
  record.objects = sum.objects;
  record.references = sum.references;
  record.bytes = sum.bytes;
}

/// The reverse of `add`.
void EncodedRecords::remove(const EncodedRecord& record) {
  forEachObject(record.words, [&](const EncodedObject& object) {
    if (object.kind == EncodedKind::record) {
      --shapes_[object.shape].users;
      forEachField(object, [&](EncodedRef field, std::int32_t) { countRef(field, false); });
    } else if (object.kind <= EncodedKind::date) {
      --classUsers_[static_cast<std::size_t>(foundationClassOf(object))];
      if (object.kind == EncodedKind::date) return;
      for (const EncodedRef each : object.body) countRef(each, false);
    }
  });
}

std::size_t EncodedRecords::capacity() const noexcept {
  return texts_.capacity() + records_.capacity() * sizeof(EncodedRecord) + seen_.capacity() + output_.capacity() +
         words_.capacity() + waiting_.capacity() * sizeof waiting_[0];
}

}  // namespace zn
