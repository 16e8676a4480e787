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

ArchiveObjects::ArchiveObjects(const BinaryListReader& archive, std::span<const ArchivedClass> classes)
    : ObjectTree(archive, "objects that nest too deep"), classes_(classes) {}

ArchivePlace* ArchiveObjects::open() {
  ArchiveKey objects{"$objects"}, top{"$top"}, root{"root"}, firstRoot{"$0"};
  Token archive, roots, reference;
  if (!reader().read(reader().top(), archive) || archive.kind != Kind::dictionary ||
      !mayRead(archive, reader().top()) || !find(archive, objects, list_) || list_.kind != Kind::array ||
      !find(archive, top, roots) || roots.kind != Kind::dictionary || !mayRead(roots, reader().top())) {
    fail("not a keyed archive", reader().top());
    return nullptr;
  }
  places_.resize(list_.count);
  textNumbers_.resize(reader().objectCount());
  const bool isNamed = find(roots, root, reference) || find(roots, firstRoot, reference);
  ArchivePlace* place = isNamed ? placeAt(reference) : nullptr;
  if (!place) fail("the archive has no root object", reader().top());
  return place;
}

std::optional<ArchiveObjects::Ref> ArchiveObjects::find(const Token& dictionary, ArchiveKey& key) const {
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    if (reader().elementAt(dictionary, i) == key.object) return reader().valueAt(dictionary, i);
  }
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    const Ref object = reader().elementAt(dictionary, i);
    if (!reader().isText(object, key.text)) continue;
    key.object = object;
    return reader().valueAt(dictionary, i);
  }
  return std::nullopt;
}

bool ArchiveObjects::find(const Token& dictionary, ArchiveKey& key, Token& token) const {
  const auto object = find(dictionary, key);
  return object && reader().read(*object, token);
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
  if (!reader().read(object, description) || description.kind != Kind::dictionary || !mayRead(description, object)) {
    return fail("a class is not described", object);
  }
  if (find(description, nameKey, name) && resolveName(place, name)) return;
  if (find(description, chainKey, chain) && chain.isList() && mayRead(chain, object)) {
    for (std::size_t i = 0; i < chain.count; ++i) {
      if (reader().read(reader().elementAt(chain, i), name) && resolveName(place, name)) return;
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
  if (!reader().read(object, token)) return fail("an object that reaches beyond the file", object);
  if (token.kind != Kind::dictionary) {
    place.value = sharedScalar(token, object);
    place.weight = token.weight();
    if (place.value.isNil()) fail("an object in a form that archives do not have", object);
    return;
  }
  if (!mayRead(token, object)) return;
  ArchivePlace* objectClass = find(token, classKey_, reference) ? placeAt(reference) : nullptr;
  if (!objectClass) return fail("an object without a class", object);
  resolveClass(*objectClass);
  place.species = objectClass->classSpecies;
  place.isMutable = objectClass->classIsMutable;
  place.record = objectClass->classIndex;
  if (place.species != Species::unknown) place.state = ArchivePlace::State::described;
}

/// Writers store equal strings once, also where they are several objects of the archive.
Value ArchiveObjects::sharedScalar(const Token& token, Ref object) {
  if (!token.isText() && token.kind != Kind::data) return scalar(token);
  std::uint32_t& number = textNumbers_[static_cast<std::size_t>(object)];
  if (number == 0) {
    texts_.push_back(scalar(token));
    number = static_cast<std::uint32_t>(texts_.size());
  }
  return texts_[number - 1];
}

ObjectTree::Found ArchiveObjects::valueOf(Ref object, int depth) {
  Token token;
  const bool isRead = reader().read(object, token);
  if (isRead && token.kind != Kind::uid) {
    inline_ = sharedScalar(token, object);  // booleans and numbers of records stand in place
    if (inline_.isNil()) fail("a container outside the list of objects", object);
    return {&inline_, token.weight()};
  }
  ArchivePlace* place = isRead ? placeAt(token) : nullptr;
  if (!place) {
    fail("a reference to no object", object);
    return {};
  }
  describe(*place);
  if (place->species != Species::record) return valueAt(*place, objectOf(*place), depth);
  fail("a record where a value belongs", objectOf(*place));
  return {};
}

void ArchiveObjects::make(Node& node, Ref object, int depth) {
  auto& place = static_cast<ArchivePlace&>(node);
  Token token;
  reader().read(object, token);
  place.weight = 16;
  if (place.species == Species::null) {
    place.value = Value::null();
  } else if (place.species == Species::array || place.species == Species::dictionary) {
    makeContainer(place, token, object, depth);
  } else {
    makeWrapped(place, token);
  }
  if (place.value.isNil()) fail("an object that does not fit its class", object);
  if (place.isMutable) place.value = place.value.mutableCopy();
}

/// Strings, data and dates inside an object of their own. The inner one must be plain, so this cannot recurse.
void ArchiveObjects::makeWrapped(ArchivePlace& place, const Token& token) {
  ArchiveKey key{place.species == Species::date ? "NS.time" : place.species == Species::data ? "NS.data" : "NS.string"};
  const auto object = find(token, key);
  Token inner;
  if (!object || !reader().read(*object, inner)) return;
  Value value;
  double weight = inner.weight();
  if (ArchivePlace* innerPlace = placeAt(inner)) {
    describe(*innerPlace);
    value = innerPlace->value;
    weight = innerPlace->weight;
  } else {
    value = sharedScalar(inner, *object);
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
  return mayRead(list, object);
}

bool ArchiveObjects::elementsOf(const ArchivePlace& place, Token& list) {
  const Ref object = objectOf(place);
  Token token;
  return reader().read(object, token) && findList(token, objectsKey_, list, object);
}

void ArchiveObjects::makeContainer(ArchivePlace& place, const Token& token, Ref object, int depth) {
  Token keys, list;
  if (!mayNest(depth, object)) return;
  if (place.species == Species::array) {
    if (findList(token, objectsKey_, list, object)) makeArray(place, list, depth);
    return;
  }
  if (!findList(token, keysKey_, keys, object) || !findList(token, objectsKey_, list, object)) return;
  if (keys.count != list.count) fail("a dictionary with more keys than objects, or fewer", object);
  keys.count = std::min(keys.count, list.count);
  makeDictionary(place, keys, list, depth);
}

}  // namespace zn
