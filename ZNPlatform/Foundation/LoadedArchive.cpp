#include "ZNPlatform/Foundation/LoadedArchive_p.h"

#include <algorithm>

#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

Value LoadedArchive::text(ArchiveTexts::Id id) const {
  const list::Text text = written(id);
  if (text.wide) return utf8FromUtf16BigEndian(text.bytes);
  return std::string_view(reinterpret_cast<const char*>(text.bytes.data()), text.bytes.size());
}

Value LoadedArchive::key(ArchiveTexts::Id id) const {
  const Lock lock(mutex_);
  if (keys_.empty()) keys_.resize(textStarts_.size());
  if (keys_[id].isNil()) keys_[id] = text(id);
  return keys_[id];
}

bool LoadedArchive::isText(ArchiveTexts::Id id, std::string_view ascii) const noexcept {
  const list::Text text = written(id);
  return !text.wide && text.bytes.size() == ascii.size() &&
         std::memcmp(text.bytes.data(), ascii.data(), ascii.size()) == 0;
}

void LoadedFields::reset(std::size_t record) {
  starts_.clear();
  records_ = 0;
  values_.clear();
  asked_ = 0;
  const auto words = archive_.words(record);
  for (const std::uint32_t *at = words.data(), *const end = at + words.size(); at != end;) {
    starts_.push_back(at);
    records_ += nextEncodedObject(at).kind == EncodedKind::record ? 1 : 0;
  }
}

bool LoadedFields::field(const EncodedObject& record, std::string_view key, EncodedRef& ref, std::int32_t& integer) {
  const EncodedShape& shape = archive_.shapes()[record.shape];
  const std::size_t count = shape.keys.size() - 1;
  if (asked_ == answers_.size()) answers_.push_back(0);
  std::size_t& answer = answers_[asked_++];
  if (answer >= count || !archive_.isText(shape.keys[answer], key)) {
    const auto isKey = [&](ArchiveTexts::Id each) { return archive_.isText(each, key); };
    answer =
        static_cast<std::size_t>(std::find_if(shape.keys.begin(), shape.keys.end() - 1, isKey) - shape.keys.begin());
    if (answer == count) return false;
  }
  if (record.body.size() == count) {  // none of them takes two words
    ref = record.body[answer];
    return true;
  }
  std::size_t at = 0;
  forEachField(record, [&](EncodedRef each, std::int32_t inPlace) {
    if (at++ != answer) return;
    ref = each;
    integer = inPlace;
  });
  return true;
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
  const EncodedObject object = this->object(place);
  switch (object.kind) {
    case EncodedKind::record:
      fits = false;
      return nil;
    case EncodedKind::integer:
      return object.integer();
    case EncodedKind::real:
      return object.real();
    case EncodedKind::date:
      return Date{object.real() + kSecondsFrom1970To2001};
    case EncodedKind::data:
      return Value::data({object.data().begin(), object.data().end()});
    default:
      break;
  }
  values_.resize(starts_.size());
  if (values_[place].isNil()) values_[place] = container(object, fits);
  return values_[place];
}

Value LoadedFields::container(const EncodedObject& object, bool& fits) {
  Value made;
  if (object.kind == EncodedKind::array) {
    std::vector<Value> elements;
    elements.reserve(object.count);
    for (const EncodedRef each : object.body) elements.push_back(value(each, fits));
    made = Value::array(std::move(elements));
  } else {
    std::vector<Value::Entry> entries;
    entries.reserve(object.count);
    for (std::uint32_t i = 0; i < object.count; ++i) {
      entries.push_back({archive_.key(ref::number(object.body[i])), value(object.body[object.count + i], fits)});
    }
    made = Value::dictionary(std::move(entries));
  }
  return object.isMutable ? made.mutableCopy() : made;
}

}  // namespace zn
