#include <optional>

#include "ZNPlatform/Foundation/ArchiveObjects_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"

namespace zn {

namespace {

using Token = BinaryListReader::Token;
using Ref = BinaryListReader::Ref;

}  // namespace

struct NSKeyedUnarchiver::State {
  struct Fields {
    Token dictionary;
    std::size_t next = 0;  // records are mostly asked in the order in which they were written
  };

  ArchiveObjects objects;
  std::span<const ArchivedClass> classes;
  std::vector<std::shared_ptr<Coding>> records;
  Fields* fields = nullptr;  // of the record being made
  int depth = 0;             // of that record

  std::shared_ptr<Coding> makeRecord(NSKeyedUnarchiver& coder, ArchivePlace& place) {
    objects.describe(place);
    const Ref object = objects.objectOf(place);
    const char* problem = nullptr;
    if (place.species != Species::record) {
      problem = "a value where a record belongs";
    } else if (place.state == ArchivePlace::State::done) {
      return place.record ? records[place.record - 1] : nullptr;
    } else if (place.state == ArchivePlace::State::inProgress) {
      problem = "a record that contains itself";
    } else if (depth >= Value::maximumReadDepth) {
      problem = "records that nest too deep";
    }
    if (problem) {
      objects.fail(problem, object);
      return nullptr;
    }
    place.state = ArchivePlace::State::inProgress;
    auto record = initRecord(coder, classes[place.record], object);
    place.state = ArchivePlace::State::done;
    place.record = 0;
    if (record) {
      records.push_back(record);
      place.record = static_cast<std::uint32_t>(records.size());
    } else {
      objects.fail("a record that refuses its fields", object);
    }
    return record;
  }

  std::shared_ptr<Coding> initRecord(NSKeyedUnarchiver& coder, const ArchivedClass& recordClass, Ref object) {
    Fields own;
    objects.reader().read(object, own.dictionary);
    Fields* const outer = std::exchange(fields, &own);
    ++depth;
    std::shared_ptr<Coding> record;
    try {
      record = recordClass.initWithCoder(coder);
    } catch (...) {
      objects.fail(currentExceptionText().c_str(), object);
    }
    --depth;
    fields = outer;
    return record;
  }

  std::optional<Ref> field(std::string_view key) {
    if (!fields) return std::nullopt;
    const Token& dictionary = fields->dictionary;
    for (std::size_t tried = 0; tried < dictionary.count; ++tried) {
      if (fields->next >= dictionary.count) fields->next = 0;
      const std::size_t at = fields->next++;
      if (objects.reader().isText(objects.reader().elementAt(dictionary, at), key)) {
        return objects.reader().valueAt(dictionary, at);
      }
    }
    return std::nullopt;
  }

  /// The place that a field or an element refers to; null for nil and for what is no reference.
  ArchivePlace* placeOf(Ref object) {
    Token token;
    ArchivePlace* place = objects.reader().read(object, token) ? objects.placeAt(token) : nullptr;
    if (!place) objects.fail("a record or array that is no reference to an object", object);
    return place && !objects.isNil(*place) ? place : nullptr;
  }

  Value number(std::string_view key) {
    const auto object = field(key);
    if (!object) return {};
    Value value = *objects.valueOf(*object, 0).value;
    if (value.isNumber()) return value;
    if (!value.isNil() && !value.isNull()) objects.fail("a number or boolean of another type", *object);
    return {};
  }
};

NSKeyedUnarchiver::NSKeyedUnarchiver() = default;
NSKeyedUnarchiver::~NSKeyedUnarchiver() = default;

NSKeyedUnarchiver::Result NSKeyedUnarchiver::unarchiveObjectWithData(std::span<const std::uint8_t> bytes,
                                                                     std::span<const ArchivedClass> classes) {
  Result result;
  const auto reader = BinaryListReader::open(bytes, result.error);
  if (!reader) {
    result.damaged = true;
    return result;
  }
  NSKeyedUnarchiver unarchiver;
  unarchiver.state_.reset(new State{ArchiveObjects(*reader, classes), classes, {}});
  State& state = *unarchiver.state_;
  if (ArchivePlace* root = state.objects.open()) result.root = state.makeRecord(unarchiver, *root);
  result.error = state.objects.error();
  result.damaged = !result.error.empty();
  return result;
}

NSKeyedUnarchiver::Result NSKeyedUnarchiver::unarchiveObjectWithFile(const std::string& path,
                                                                     std::span<const ArchivedClass> classes,
                                                                     std::size_t maximumSize) {
  const StateFile file = readStateFile(path, maximumSize);
  if (file.outcome == StateFile::Outcome::read) return unarchiveObjectWithData(file.bytes, classes);
  Result result;
  result.error = file.error;
  result.isUnread = file.outcome == StateFile::Outcome::unread;
  result.damaged = file.outcome == StateFile::Outcome::refused;
  return result;
}

Value NSKeyedUnarchiver::decodeObjectForKey(std::string_view key) {
  const auto object = state_->field(key);
  return object ? *state_->objects.valueOf(*object, 0).value : Value();
}

bool NSKeyedUnarchiver::decodeBoolForKey(std::string_view key) { return state_->number(key).boolValue(); }

std::int32_t NSKeyedUnarchiver::decodeIntForKey(std::string_view key) { return state_->number(key).intValue(); }

std::shared_ptr<Coding> NSKeyedUnarchiver::decodeRecordForKey(std::string_view key) {
  const auto object = state_->field(key);
  ArchivePlace* place = object ? state_->placeOf(*object) : nullptr;
  return place ? state_->makeRecord(*this, *place) : nullptr;
}

std::vector<std::shared_ptr<Coding>> NSKeyedUnarchiver::decodeRecordsForKey(std::string_view key, bool* isNil) {
  ArchiveObjects& objects = state_->objects;
  std::vector<std::shared_ptr<Coding>> records;
  if (isNil) *isNil = true;
  const auto object = state_->field(key);
  ArchivePlace* place = object ? state_->placeOf(*object) : nullptr;
  if (!place) return records;
  objects.describe(*place);
  if (place->species != Species::array) {
    objects.fail("an array of another type", *object);
    return records;
  }
  if (isNil) *isNil = false;
  Token list;
  if (!objects.elementsOf(*place, list)) return records;
  records.reserve(list.count);
  for (std::size_t i = 0; i < list.count; ++i) {
    ArchivePlace* element = state_->placeOf(objects.reader().elementAt(list, i));
    auto record = element ? state_->makeRecord(*this, *element) : nullptr;
    if (record) records.push_back(std::move(record));
  }
  return records;
}

}  // namespace zn
