#pragma once

#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace zn {

/// When a field is read: with the record, or when it is asked for, where the archive allows that.
enum class ReadField { atOnce, later };

/// One field of a record that is archived: its key, where the record keeps it, and, for a value that must have a
/// certain type to be of use, whether it has; any other is read as nil. A record names its fields once, in a std::tuple
/// of these, in the order in which they are written.
template <class Fields, class T>
struct ArchivedField {
  const char* key;
  T Fields::*member;
  bool (*isUsable)(const Value& read) = nullptr;
  ReadField when = ReadField::atOnce;
};
template <class Fields, class T, class... More>
ArchivedField(const char*, T Fields::*, More...) -> ArchivedField<Fields, T>;

/// For `isUsable`.
inline bool isDate(const Value& read) { return read.isDate(); }

/// How a reader of archives makes a record, for its zn::ArchivedClass.
template <class Record>
std::shared_ptr<Coding> decoded(NSKeyedUnarchiver& coder) {
  return Record::initWithCoder(coder);
}

inline void encodeField(NSKeyedArchiver& coder, const Value& value, const char* key) { coder.encodeObject(value, key); }
inline void encodeField(NSKeyedArchiver& coder, bool value, const char* key) { coder.encodeBool(value, key); }
inline void encodeField(NSKeyedArchiver& coder, std::int32_t value, const char* key) { coder.encodeInt(value, key); }
template <class Record>
void encodeField(NSKeyedArchiver& coder, const std::shared_ptr<Record>& record, const char* key) {
  coder.encodeObject(std::shared_ptr<const Coding>(record), key);
}
/// A list of records; null stands for no list.
template <class Record>
void encodeField(NSKeyedArchiver& coder, const std::shared_ptr<const std::vector<std::shared_ptr<Record>>>& list,
                 const char* key) {
  if (!list) return coder.encodeObject(nil, key);
  std::vector<const Coding*> records;
  records.reserve(list->size());
  for (const auto& record : *list) records.push_back(record.get());
  coder.encodeObjects(list, records, true, key);
}

inline void decodeField(NSKeyedUnarchiver& coder, Value& field, const char* key) {
  field = coder.decodeObjectForKey(key);
}
inline void decodeField(NSKeyedUnarchiver& coder, bool& field, const char* key) { field = coder.decodeBoolForKey(key); }
inline void decodeField(NSKeyedUnarchiver& coder, std::int32_t& field, const char* key) {
  field = coder.decodeIntForKey(key);
}
template <class Record>
void decodeField(NSKeyedUnarchiver& coder, std::shared_ptr<Record>& field, const char* key) {
  field = std::dynamic_pointer_cast<Record>(coder.decodeRecordForKey(key));
}
template <class Record>
void decodeField(NSKeyedUnarchiver& coder, std::shared_ptr<const std::vector<std::shared_ptr<Record>>>& field,
                 const char* key) {
  bool isNil = false;
  auto list = std::make_shared<std::vector<std::shared_ptr<Record>>>();
  for (auto& record : coder.decodeRecordsForKey(key, &isNil)) {
    if (auto typed = std::dynamic_pointer_cast<Record>(std::move(record))) list->push_back(std::move(typed));
  }
  if (!isNil) field = std::move(list);
}

template <class Fields, class... T>
void encodeFields(NSKeyedArchiver& coder, const Fields& fields, const std::tuple<ArchivedField<Fields, T>...>& all) {
  std::apply([&](const auto&... each) { (encodeField(coder, fields.*each.member, each.key), ...); }, all);
}

/// Whether an archive would hold the same of both, bit by bit. Unlike equality this tells 1, 1.0 and true apart,
/// mutable containers from others at every level, and 0.0 from -0.0, and nan is like itself.
bool archiveAlike(const Value& a, const Value& b);
inline bool archiveAlike(bool a, bool b) { return a == b; }
inline bool archiveAlike(std::int32_t a, std::int32_t b) { return a == b; }
/// The same record; others are not looked into.
template <class Record>
bool archiveAlike(const std::shared_ptr<Record>& a, const std::shared_ptr<Record>& b) {
  return a == b;
}

template <class Fields, class... T>
bool archiveAlike(const Fields& a, const Fields& b, const std::tuple<ArchivedField<Fields, T>...>& all) {
  return std::apply([&](const auto&... each) { return (archiveAlike(a.*each.member, b.*each.member) && ...); }, all);
}

/// All of them, or those that are read at that time.
template <class Fields, class... T>
void decodeFields(NSKeyedUnarchiver& coder, Fields& fields, const std::tuple<ArchivedField<Fields, T>...>& all,
                  std::optional<ReadField> when = std::nullopt) {
  const auto decode = [&](const auto& each) {
    if (when && each.when != *when) return;
    decodeField(coder, fields.*each.member, each.key);
    if constexpr (std::is_same_v<std::decay_t<decltype(fields.*each.member)>, Value>) {
      if (each.isUsable && !each.isUsable(fields.*each.member)) fields.*each.member = nil;
    }
  };
  std::apply([&](const auto&... each) { (decode(each), ...); }, all);
}

}  // namespace zn
