#include "ZNPlatform/Foundation/LoadedArchive_p.h"

#include <utility>

#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

Value LoadedArchive::text(ArchiveTexts::Id id) const {
  const std::uint32_t begin = id == 0 ? 0 : textEnds_[id - 1];
  const list::Text text = list::withoutHead({textBytes_.data() + begin, textEnds_[id] - begin});
  if (text.wide) return utf8FromUtf16BigEndian(text.bytes);
  return std::string_view(reinterpret_cast<const char*>(text.bytes.data()), text.bytes.size());
}

Value LoadedArchive::key(ArchiveTexts::Id id) const {
  const Lock lock(mutex_);
  if (keys_.empty()) keys_.resize(textEnds_.size());
  if (keys_[id].isNil()) keys_[id] = text(id);
  return keys_[id];
}

bool LoadedArchive::isText(ArchiveTexts::Id id, std::string_view ascii) const noexcept {
  const std::uint32_t begin = id == 0 ? 0 : textEnds_[id - 1];
  const list::Text text = list::withoutHead({textBytes_.data() + begin, textEnds_[id] - begin});
  return !text.wide && text.bytes.size() == ascii.size() &&
         std::memcmp(text.bytes.data(), ascii.data(), ascii.size()) == 0;
}

LoadedFields::LoadedFields(const LoadedArchive& archive, std::size_t record) : archive_(archive) {
  const auto words = archive.words(record);
  for (const std::uint32_t* at = words.data(); at != words.data() + words.size();) {
    objects_.push_back(nextEncodedObject(at));
  }
  values_.resize(objects_.size());
}

bool LoadedFields::field(const EncodedObject& record, std::string_view key, EncodedRef& ref, std::int32_t& integer) {
  const EncodedShape& shape = archive_.shapes()[record.shape];
  const std::size_t count = shape.keys.size() - 1;
  for (std::size_t tried = 0; tried < count; ++tried) {
    if (next_ >= count) next_ = 0;
    const std::size_t wanted = next_++;
    if (!archive_.isText(shape.keys[wanted], key)) continue;
    std::size_t at = 0;
    forEachField(record, [&](EncodedRef each, std::int32_t inPlace) {
      if (at++ == wanted) std::tie(ref, integer) = std::tuple(each, inPlace);
    });
    return true;
  }
  return false;
}

Value LoadedFields::value(EncodedRef ref, bool& fits) {
  const std::uint32_t number = ref::number(ref);
  switch (ref::how(ref)) {
    case ref::kText:
      return archive_.text(number);
    case ref::kOwn:
      return made(number, fits);
    case ref::kOther:
      fits = false;
      return nil;
    default:
      break;
  }
  switch (number) {
    case ref::kTrue:
    case ref::kInlineTrue:
      return true;
    case ref::kFalse:
    case ref::kInlineFalse:
      return false;
    case ref::kNull:
      return Value::null();
    default:
      return nil;
  }
}

/// Objects that several places share are made once. Recurses: the depth was checked.
Value LoadedFields::made(std::uint32_t place, bool& fits) {
  if (!values_[place].isNil()) return values_[place];
  const EncodedObject& object = objects_[place];
  Value& value = values_[place];
  switch (object.kind) {
    case EncodedKind::record:
      fits = false;
      return nil;
    case EncodedKind::integer:
      value = object.integer();
      return value;
    case EncodedKind::real:
      value = object.real();
      return value;
    case EncodedKind::date:
      value = Date{object.real() + kSecondsFrom1970To2001};
      return value;
    case EncodedKind::data:
      value = Value::data({object.data().begin(), object.data().end()});
      return value;
    case EncodedKind::array: {
      std::vector<Value> elements;
      elements.reserve(object.count);
      for (const EncodedRef each : object.body) elements.push_back(this->value(each, fits));
      value = Value::array(std::move(elements));
      break;
    }
    case EncodedKind::dictionary: {
      std::vector<Value::Entry> entries;
      entries.reserve(object.count);
      for (std::uint32_t i = 0; i < object.count; ++i) {
        entries.push_back(
            {archive_.key(ref::number(object.body[i])), this->value(object.body[object.count + i], fits)});
      }
      value = Value::dictionary(std::move(entries));
      break;
    }
  }
  if (object.isMutable) value = value.mutableCopy();
  return value;
}

}  // namespace zn
