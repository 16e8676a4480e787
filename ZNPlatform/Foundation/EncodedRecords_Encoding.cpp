#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "ZNPlatform/Foundation/EncodedRecords_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

/// Distinguishes what may have one address: a mutable container and an immutable one are two objects, even where they
/// share what they hold.
std::uintptr_t addressOf(const Value& container) noexcept {
  return reinterpret_cast<std::uintptr_t>(container.identity()) | (container.isMutable() ? 1 : 0);
}
std::uintptr_t addressOf(const Coding& record) noexcept { return reinterpret_cast<std::uintptr_t>(&record) | 2; }

}  // namespace

void EncodedRecords::encode(std::uint32_t slot, const Coding& root, NSKeyedArchiver& coder) {
  slot_ = slot;
  refersToOthers_ = false;
  words_.shrink(0);
  addresses_.clear();
  waiting_.clear();
  lists_.clear();
  records_[slot].address = addressOf(root);
  placeFor(addressOf(root), nullptr, &root, slot == kRoot ? 1 : 2);
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    constexpr std::size_t kAhead = 2;
    if (i + kAhead < waiting_.size() && waiting_[i + kAhead].value) waiting_[i + kAhead].value->prefetchContents();
    encodeWaiting(Waiting(waiting_[i]), coder);
  }

  EncodedRecord& record = records_[slot];
  record.words = words_;
  if (refersToOthers_) record.revision = 0;
  add(record);
  record.held = hold();
  record.words = record.held->words;
}

void EncodedRecord::Held::End::operator()(Held* ended) const noexcept {
  std::destroy(ended->values.begin(), ended->values.end());
  ended->~Held();
  ::operator delete(ended);
}

/// For the record that is being encoded, which is complete.
EncodedRecord::HeldPtr EncodedRecords::hold() {
  using Held = EncodedRecord::Held;
  const auto isContainer = [](const Value& value) { return value.isContainer(); };
  const auto containers = static_cast<std::size_t>(std::ranges::count_if(fieldValues_, isContainer));
  const std::size_t bytes = sizeof(Held) + containers * sizeof(Value) + addresses_.size() * sizeof addresses_[0] +
                            words_.size() * sizeof words_[0];
  EncodedRecord::HeldPtr held(new (::operator new(bytes)) Held{});
  auto* const values = reinterpret_cast<Value*>(held.get() + 1);
  auto* const addresses = reinterpret_cast<std::uintptr_t*>(values + containers);
  auto* const words = reinterpret_cast<std::uint32_t*>(addresses + addresses_.size());
  Value* value = values;
  for (Value& each : fieldValues_) {
    if (each.isContainer()) new (value++) Value(std::move(each));
  }
  fieldValues_.clear();
  std::ranges::copy(addresses_, addresses);
  std::ranges::copy(words_, words);
  held->values = {values, containers};
  held->owners.swap(owners_);
  held->addresses = {addresses, addresses_.size()};
  held->words = {words, words_.size()};
  return held;
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
  std::uint32_t* word = words_.extend(std::size_t{count} * (value.isArray() ? 1 : 2));
  for (const Value& element : value.elements()) *word++ = refOf(element, false);
  for (const Value::Entry& entry : value.entries()) {
    if (entry.value.isContainer()) seen_.prefetch(addressOf(entry.value));
  }
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
  return placeFor(address, isField ? &fieldValues_.emplace_back(value) : &value);
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
  return placeFor(address, nullptr, &record, level_ + 1);
}

EncodedRef EncodedRecords::refOf(std::shared_ptr<const void> owner, std::span<const Coding* const> records,
                                 bool isMutable) {
  std::vector<EncodedRef> elements;
  elements.reserve(records.size());
  const bool areMembers = slot_ == kRoot && level_ == 1;
  for (const Coding* const record : records) elements.push_back(areMembers ? member(*record) : refOf(*record));
  (areMembers ? memberOwners_ : owners_).push_back(std::move(owner));
  lists_.push_back({isMutable, std::move(elements)});
  return placeFor(0, nullptr, nullptr, 0, static_cast<std::uint32_t>(lists_.size() - 1));
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
    records_[slot].address = address;
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
  if (found.slot >= records_.size()) return false;
  const EncodedRecord& record = records_[found.slot];
  if (found.place == 0) return record.address == address;
  return record.held && found.place < record.held->addresses.size() && record.held->addresses[found.place] == address;
}

EncodedRef EncodedRecords::other(Found found) {
  others_.push_back(found);
  refersToOthers_ = true;
  return ref::kOther | static_cast<std::uint32_t>(others_.size() - 1);
}

/// For one of value, record and list.
EncodedRef EncodedRecords::placeFor(std::uintptr_t address, const Value* value, const Coding* record, int level,
                                    std::uint32_t list) {
  if (waiting_.size() > ref::kNumber) list::refuseSize();
  const auto place = static_cast<std::uint32_t>(waiting_.size());
  waiting_.push_back({value, record, level, list});
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

}  // namespace zn
