#include "ZNPlatform/Foundation/ArchiveObjects_p.h"

#include <algorithm>
#include <array>

namespace zn {

namespace {

struct FoundationClass {
  std::string_view name;
  Species species;
  bool isMutable = false;
};

constexpr std::array kFoundationClasses{
    FoundationClass{"NSDictionary", Species::dictionary},
    FoundationClass{"NSMutableDictionary", Species::dictionary, true},
    FoundationClass{"NSArray", Species::array},
    FoundationClass{"NSMutableArray", Species::array, true},
    FoundationClass{"NSSet", Species::array},
    FoundationClass{"NSMutableSet", Species::array, true},
    FoundationClass{"NSDate", Species::date},
    FoundationClass{"NSNull", Species::null},
    FoundationClass{"NSString", Species::string},
    FoundationClass{"NSMutableString", Species::string},
    FoundationClass{"NSData", Species::data},
    FoundationClass{"NSMutableData", Species::data},
};

}  // namespace

ArchiveObjects::ArchiveObjects(const BinaryListReader& reader, std::span<const ArchivedClass> classes,
                               std::size_t fileSize)
    : reader_(reader), classes_(classes), largestWeight_(kLargestUnfolded + 16 * static_cast<double>(fileSize)) {}

void ArchiveObjects::fail(const char* reason, Ref object) {
  damaged_ = true;
  if (error_.empty()) error_ = std::string(reason) + " (at byte " + std::to_string(reader_.offsetOf(object)) + ")";
}

ArchivePlace* ArchiveObjects::open() {
  ArchiveKey objects{"$objects"}, top{"$top"}, root{"root"}, firstRoot{"$0"};
  Token archive, roots, reference;
  if (!reader_.read(reader_.top(), archive) || archive.kind != Kind::dictionary || !reader_.charge(archive) ||
      !find(archive, objects, list_) || list_.kind != Kind::array || !find(archive, top, roots) ||
      roots.kind != Kind::dictionary || !reader_.charge(roots)) {
    fail("not a keyed archive", reader_.top());
    return nullptr;
  }
  places_.resize(list_.count);
  textNumbers_.resize(reader_.objectCount());
  const bool isNamed = find(roots, root, reference) || find(roots, firstRoot, reference);
  ArchivePlace* place = isNamed ? placeAt(reference) : nullptr;
  if (!place) fail("the archive has no root object", reader_.top());
  return place;
}

std::optional<ArchiveObjects::Ref> ArchiveObjects::find(const Token& dictionary, ArchiveKey& key) const {
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    if (reader_.elementAt(dictionary, i) == key.object) return reader_.valueAt(dictionary, i);
  }
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    const Ref object = reader_.elementAt(dictionary, i);
    if (!reader_.isText(object, key.text)) continue;
    key.object = object;
    return reader_.valueAt(dictionary, i);
  }
  return std::nullopt;
}

bool ArchiveObjects::find(const Token& dictionary, ArchiveKey& key, Token& token) const {
  const auto object = find(dictionary, key);
  return object && reader_.read(*object, token);
}

ArchivePlace* ArchiveObjects::placeAt(const Token& reference) {
  const auto index = static_cast<std::uint64_t>(reference.integer);
  return reference.kind == Kind::uid && index < places_.size() ? &places_[static_cast<std::size_t>(index)] : nullptr;
}

bool ArchiveObjects::resolveName(ArchivePlace& place, const Token& name) const {
  if (name.kind != Kind::ascii) return false;
  const std::string_view text{reinterpret_cast<const char*>(name.bytes), name.count};
  for (std::size_t i = 0; i < classes_.size(); ++i) {
    if (text != classes_[i].name) continue;
    place.classSpecies = Species::record;
    place.classIndex = static_cast<std::uint32_t>(i);
    return true;
  }
  for (const FoundationClass& known : kFoundationClasses) {
    if (text != known.name) continue;
    place.classSpecies = known.species;
    place.classIsMutable = known.isMutable;
    return true;
  }
  return false;
}

/// Decides once what instances of a class become: its own name counts first, then those that it inherits from.
void ArchiveObjects::resolveClass(ArchivePlace& place) {
  if (place.classSpecies != Species::unresolved) return;
  place.classSpecies = Species::unknown;
  const Ref object = objectOf(place);
  ArchiveKey nameKey{"$classname"}, chainKey{"$classes"};
  Token description, name, chain;
  if (!reader_.read(object, description) || description.kind != Kind::dictionary || !reader_.charge(description)) {
    return fail("a class is not described", object);
  }
  if (find(description, nameKey, name) && resolveName(place, name)) return;
  if (find(description, chainKey, chain) && chain.isList() && reader_.charge(chain)) {
    for (std::size_t i = 0; i < chain.count; ++i) {
      if (reader_.read(reader_.elementAt(chain, i), name) && resolveName(place, name)) return;
    }
  }
  fail("an object of an unknown class", object);
}

void ArchiveObjects::describe(ArchivePlace& place) {
  if (place.state != ArchivePlace::State::fresh) return;
  place.state = ArchivePlace::State::done;
  place.species = Species::unknown;
  if (isNil(place)) return;
  const Ref object = objectOf(place);
  Token token, reference;
  if (!reader_.read(object, token)) return fail("an object that reaches beyond the file", object);
  if (token.kind != Kind::dictionary) {
    place.value = scalar(token, object);
    place.weight = token.weight();
    if (place.value.isNil()) fail("an object in a form that archives do not have", object);
    return;
  }
  if (!reader_.charge(token)) return fail("objects that overlap", object);
  ArchivePlace* objectClass = find(token, classKey_, reference) ? placeAt(reference) : nullptr;
  if (!objectClass) return fail("an object without a class", object);
  resolveClass(*objectClass);
  place.species = objectClass->classSpecies;
  place.isMutable = objectClass->classIsMutable;
  place.record = objectClass->classIndex;
  if (place.species != Species::unknown) place.state = ArchivePlace::State::described;
}

/// Writers store equal strings once, also where they are several objects of the archive.
Value ArchiveObjects::scalar(const Token& token, Ref object) {
  if (!token.isText() && token.kind != Kind::data) return reader_.scalar(token);
  std::uint32_t& number = textNumbers_[static_cast<std::size_t>(object)];
  if (number == 0) {
    texts_.push_back(reader_.scalar(token));
    number = static_cast<std::uint32_t>(texts_.size());
  }
  return texts_[number - 1];
}

ArchiveFound ArchiveObjects::valueOf(Ref object, int depth) {
  Token token;
  if (!reader_.read(object, token)) {
    fail("a reference to no object", object);
    return {};
  }
  if (token.kind == Kind::uid) {
    if (ArchivePlace* place = placeAt(token)) return valueAt(*place, depth);
    fail("a reference to no object", object);
    return {};
  }
  inline_ = scalar(token, object);  // booleans and numbers of records stand in place
  if (inline_.isNil()) fail("a container outside the list of objects", object);
  return {&inline_, token.weight()};
}

ArchiveFound ArchiveObjects::valueAt(ArchivePlace& place, int depth) {
  describe(place);
  if (place.species == Species::record) {
    fail("a record where a value belongs", objectOf(place));
    return {};
  }
  if (place.state == ArchivePlace::State::described) {
    place.state = ArchivePlace::State::inProgress;
    make(place, depth);
    place.state = ArchivePlace::State::done;
  }
  if (place.state == ArchivePlace::State::inProgress) {
    fail("an object that contains itself", objectOf(place));
    return {};
  }
  if (depth + place.value.depth() > Value::maximumReadDepth) {
    fail("objects that nest too deep", objectOf(place));
    return {};
  }
  return {&place.value, place.weight};
}

void ArchiveObjects::make(ArchivePlace& place, int depth) {
  const Ref object = objectOf(place);
  Token token;
  reader_.read(object, token);
  place.weight = 16;
  switch (place.species) {
    case Species::null:
      place.value = Value::null();
      break;
    case Species::array:
      makeArray(place, token, depth);
      break;
    case Species::dictionary:
      makeDictionary(place, token, depth);
      break;
    default:
      makeWrapped(place, token);
  }
  if (place.weight > largestWeight_) {
    // Shared as it is here it costs little, but whoever prints or compares the value would pay for all of it.
    place.value = nil;
    fail("shared objects that unfold beyond measure", object);
  }
  if (place.value.isNil()) fail("an object that does not fit its class", object);
  if (place.isMutable) place.value = place.value.mutableCopy();
}

/// Strings, data and dates inside an object of their own. The inner one must be plain, so this cannot recurse.
void ArchiveObjects::makeWrapped(ArchivePlace& place, const Token& token) {
  ArchiveKey key{place.species == Species::date ? "NS.time" : place.species == Species::data ? "NS.data" : "NS.string"};
  const auto object = find(token, key);
  Token inner;
  if (!object || !reader_.read(*object, inner)) return;
  Value value;
  double weight = inner.weight();
  if (ArchivePlace* innerPlace = placeAt(inner)) {
    describe(*innerPlace);
    value = innerPlace->value;
    weight = innerPlace->weight;
  } else {
    value = scalar(inner, *object);
  }
  if (place.species == Species::date && value.isNumber())
    place.value = Date{value.doubleValue() + kSecondsFrom1970To2001};
  const bool fits =
      place.species == Species::data ? value.isData() : place.species == Species::string && value.isString();
  if (!fits) return;
  place.value = std::move(value);
  place.weight = weight;
}

bool ArchiveObjects::findList(const Token& token, ArchiveKey& key, Token& list, Ref object) {
  if (!find(token, key, list) || !list.isList()) {
    fail("a container without its list", object);
    return false;
  }
  if (reader_.charge(list)) return true;
  fail("objects that overlap", object);
  return false;
}

bool ArchiveObjects::elementsOf(const ArchivePlace& place, Token& list) {
  const Ref object = objectOf(place);
  Token token;
  return reader_.read(object, token) && findList(token, objectsKey_, list, object);
}

void ArchiveObjects::makeArray(ArchivePlace& place, const Token& token, int depth) {
  const Ref object = objectOf(place);
  Token list;
  if (depth >= Value::maximumReadDepth) return fail("objects that nest too deep", object);
  if (!findList(token, objectsKey_, list, object)) return;
  std::vector<Value> elements;
  elements.reserve(list.count);
  for (std::size_t i = 0; i < list.count; ++i) {
    const ArchiveFound element = valueOf(reader_.elementAt(list, i), depth + 1);
    if (element.value->isNil()) continue;
    elements.push_back(*element.value);
    place.weight += element.weight;
  }
  place.value = Value::array(std::move(elements));
}

void ArchiveObjects::makeDictionary(ArchivePlace& place, const Token& token, int depth) {
  const Ref object = objectOf(place);
  Token keys, values;
  if (depth >= Value::maximumReadDepth) return fail("objects that nest too deep", object);
  if (!findList(token, keysKey_, keys, object) || !findList(token, objectsKey_, values, object)) return;
  if (keys.count != values.count) fail("a dictionary with more keys than objects, or fewer", object);
  const std::size_t count = std::min(keys.count, values.count);
  std::vector<Value::Entry> entries;
  entries.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    Value key = *valueOf(reader_.elementAt(keys, i), depth + 1).value;
    if (!key.isString() || !reader_.chargeKey(key.string().size())) {
      fail("a dictionary's key that is no string", object);
      continue;
    }
    const ArchiveFound found = valueOf(reader_.elementAt(values, i), depth + 1);
    if (found.value->isNil()) continue;
    place.weight += static_cast<double>(key.string().size()) + found.weight;
    entries.push_back({std::move(key), *found.value});
  }
  place.value = Value::dictionary(std::move(entries));
}

}  // namespace zn
