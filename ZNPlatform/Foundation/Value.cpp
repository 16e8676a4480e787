#include "ZNPlatform/Foundation/Value.h"

#include <algorithm>
#include <memory>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/ValueStorage_p.h"

namespace zn {

namespace {

std::size_t lowerBound(std::span<const Value::Entry> entries, std::string_view key) noexcept {
  const auto less = [](const Value::Entry& entry, std::string_view name) { return entry.name() < name; };
  return static_cast<std::size_t>(std::lower_bound(entries.begin(), entries.end(), key, less) - entries.begin());
}

bool hasKeyAt(std::span<const Value::Entry> entries, std::size_t index, std::string_view key) noexcept {
  return index < entries.size() && entries[index].name() == key;
}

int deepestOf(std::span<const Value> elements) noexcept {
  int deepest = 0;
  for (const Value& element : elements) deepest = std::max(deepest, element.depth());
  return deepest;
}

int deepestOf(std::span<const Value::Entry> entries) noexcept {
  int deepest = 0;
  for (const Value::Entry& entry : entries) deepest = std::max(deepest, entry.value.depth());
  return deepest;
}

}  // namespace

/// Frees containers one after the other instead of each inside its parent, so that depth costs no stack.
void Value::Shared::Container::destroy(Container* first) noexcept {
  Container* pending = first;
  const auto take = [&pending](Value& child) {
    if (!child.isContainer()) return;
    auto* container = static_cast<Container*>(child.payload_.shared);
    child.type_ = Type::nil;
    if (!container->releaseIsLast()) return;
    container->next = pending;
    pending = container;
  };
  while (pending) {
    Container* container = pending;
    pending = container->next;
    if (container->isDictionary) {
      auto* storage = static_cast<Block<Entry>*>(container);
      for (Entry& entry : storage->items()) take(entry.value);
      Block<Entry>::destroy(storage);
    } else {
      auto* storage = static_cast<Block<Value>*>(container);
      for (Value& element : storage->items()) take(element);
      Block<Value>::destroy(storage);
    }
  }
}

Value::Value(Type type, Shared* shared) noexcept : type_(type) { payload_.shared = shared; }

Value::Value(std::string text) : Value(std::string_view(text)) {}

Value::Value(std::string_view text) : Value(Type::string, StringStorage::make(text)) {}

Value::Value(const char* text) {
  if (!text) return;
  payload_.shared = StringStorage::make(text);
  type_ = Type::string;
}

void Value::destroy() noexcept {
  switch (type_) {
    case Type::string:
      StringStorage::destroy(static_cast<StringStorage*>(payload_.shared));
      break;
    case Type::data:
      delete static_cast<DataStorage*>(payload_.shared);
      break;
    default:
      Shared::Container::destroy(static_cast<Shared::Container*>(payload_.shared));
  }
}

Value Value::null() noexcept {
  Value value;
  value.type_ = Type::null;
  return value;
}

Value Value::data(Data bytes) { return {Type::data, new DataStorage(std::move(bytes))}; }

Value Value::array(std::vector<Value> elements) {
  std::erase_if(elements, [](const Value& element) { return element.isNil(); });
  return arrayTaking(elements);
}

Value Value::arrayTaking(std::span<Value> elements) {
  const auto depth = Shared::Container::checkedDepth(deepestOf(elements));
  auto* storage = Block<Value>::taking(elements, elements.size());
  storage->depth = depth;
  return {Type::array, storage};
}

Value Value::dictionary() { return {Type::dictionary, Block<Entry>::make(0)}; }

Value Value::dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
  std::vector<Entry> list;
  list.reserve(entries.size());
  for (const auto& [key, value] : entries) list.push_back({key, value});
  return dictionary(std::move(list));
}

Value Value::dictionary(std::vector<Entry> entries) {
  std::erase_if(entries, [](const Entry& entry) { return entry.value.isNil(); });
  for (const Entry& entry : entries) {
    if (!entry.key.isString()) throw Exception("a dictionary's key must be a string");
  }
  return dictionaryTaking(entries);
}

Value Value::dictionaryTaking(std::span<Entry> entries) {
  const auto isAscending = [](const Entry& a, const Entry& b) { return a.name() < b.name(); };
  const auto isNotAscending = [&](const Entry& a, const Entry& b) { return !isAscending(a, b); };
  if (std::adjacent_find(entries.begin(), entries.end(), isNotAscending) != entries.end()) {
    std::stable_sort(entries.begin(), entries.end(), isAscending);
    // Of a run of equal keys the last one stays: seen from the end, the first.
    const auto isSameKey = [](const Entry& a, const Entry& b) { return a.name() == b.name(); };
    const auto kept = std::unique(entries.rbegin(), entries.rend(), isSameKey);
    entries = {kept.base(), entries.end()};
  }
  const auto depth = Shared::Container::checkedDepth(deepestOf(entries));  // of what stays: equal values, equal depths
  auto* storage = Block<Entry>::taking(entries, entries.size());
  storage->depth = depth;
  return {Type::dictionary, storage};
}

std::span<const std::uint8_t> Value::data() const noexcept {
  if (!isData()) return {};
  return static_cast<DataStorage*>(payload_.shared)->bytes;
}

int Value::depth() const noexcept {
  return isContainer() ? static_cast<Shared::Container*>(payload_.shared)->depth : 0;
}

const Value& Value::operator[](std::string_view key) const noexcept {
  const auto all = entries();
  const std::size_t index = lowerBound(all, key);
  return hasKeyAt(all, index, key) ? all[index].value : nil;
}

Value Value::validObjectForKey(std::string_view key) const {
  const Value& value = (*this)[key];
  return value.isNull() ? Value() : value;
}

Value Value::validObjectForKeyPath(std::string_view path) const {
  const Value* value = this;
  for (auto dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
    value = &(*value)[path.substr(0, dot)];
    path.remove_prefix(dot + 1);
  }
  return value->validObjectForKey(path);
}

/// The storage, this value's alone and with room for so many more items.
template <class Item>
Value::Block<Item>& Value::owned(std::size_t room) {
  auto* storage = static_cast<Block<Item>*>(payload_.shared);
  const std::size_t needed = storage->size + room;
  if (storage->isUnique()) {
    if (needed <= storage->capacity) return *storage;
    auto* larger = Block<Item>::taking(storage->items(), std::max(needed, std::size_t{2} * storage->capacity));
    larger->depth = storage->depth;
    payload_.shared = larger;
    Block<Item>::destroy(storage);
    return *larger;
  }
  auto* own = Block<Item>::make(needed);
  std::uninitialized_copy(storage->begin(), storage->end(), own->begin());
  own->size = storage->size;
  own->depth = storage->depth;
  release();
  payload_.shared = own;
  return *own;
}

/// The storage of what is that many levels inside: those above must have come already.
void Value::prefetchLevel(int level) const noexcept {
  if (level == 0) {
    // How long it is, is not known before it has come: six lines are a dictionary of ten entries.
    constexpr int kCacheLine = 64;
    const int lines = isContainer() ? 6 : isShared() ? 1 : 0;
    for (int line = 0; line < lines; ++line) {
      __builtin_prefetch(reinterpret_cast<const char*>(payload_.shared) + line * kCacheLine);
    }
    return;
  }
  const auto beginningOf = [](auto items) {
    constexpr std::size_t kMost = 32;  // a longer one would only push out what came first
    return items.first(std::min(items.size(), kMost));
  };
  const auto isDeepEnough = [level](const Value& item) { return level == 1 ? item.isShared() : item.isContainer(); };
  for (const Value& element : beginningOf(elements())) {
    if (isDeepEnough(element)) element.prefetchLevel(level - 1);
  }
  for (const Entry& entry : beginningOf(entries())) {
    if (isDeepEnough(entry.value)) entry.value.prefetchLevel(level - 1);
  }
}

void Value::prefetchAhead(std::span<const Value> list, std::size_t place) noexcept {
  constexpr int kLevels = 5;                // down to an alert's texts in a server's message
  constexpr std::size_t kPlacesALevel = 2;  // more made no difference
  for (int level = 0; level < kLevels; ++level) {
    const std::size_t ahead = place + kPlacesALevel * static_cast<std::size_t>(kLevels - level);
    if (ahead < list.size()) list[ahead].prefetchLevel(level);
  }
}

std::size_t Value::storageSize() const noexcept {
  const auto allocated = [](std::size_t bytes) {
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kUnit = 16;
    return std::max((bytes + kHeader + kUnit - 1) / kUnit * kUnit, 2 * kUnit);
  };
  switch (type_) {
    case Type::string:
      return allocated(sizeof(StringStorage) + string().size());
    case Type::data:
      return allocated(sizeof(DataStorage)) + allocated(static_cast<DataStorage*>(payload_.shared)->bytes.capacity());
    case Type::array:
    case Type::dictionary:
      return allocated(sizeof(Shared::Container) + (isArray() ? sizeof(Value) : sizeof(Entry)) *
                                                       static_cast<Shared::Container*>(payload_.shared)->capacity);
    default:
      return 0;
  }
}

void Value::setObjectNilHandled(Value value, std::string_view key) {
  if (!isDictionary()) throw Exception("only a dictionary takes a value under a key");
  if (value.isNil()) return;
  const auto depth = Shared::Container::checkedDepth(value.depth());
  // Before the storage may change hands: the key may be a view into it.
  const std::size_t index = lowerBound(entries(), key);
  const bool replaces = hasKeyAt(entries(), index, key);
  Value newKey = replaces ? Value() : Value(key);
  auto& storage = owned<Entry>(replaces ? 0 : 1);
  if (!replaces) {
    storage.insert(index, Entry{std::move(newKey), std::move(value)});
    storage.depth = std::max(storage.depth, depth);
    return;
  }
  Value& place = storage.items()[index].value;
  const bool wasDeepest = place.depth() + 1 == storage.depth;
  std::swap(place, value);
  storage.depth =
      wasDeepest ? static_cast<std::int16_t>(deepestOf(storage.items()) + 1) : std::max(storage.depth, depth);
}

void Value::removeValidObjectForKey(std::string_view key) {
  if (!isDictionary()) throw Exception("only a dictionary has a key to remove");
  const std::size_t index = lowerBound(entries(), key);
  if (!hasKeyAt(entries(), index, key)) return;
  auto& storage = owned<Entry>(0);
  const bool wasDeepest = storage.items()[index].value.depth() + 1 == storage.depth;
  storage.erase(index);
  if (wasDeepest) storage.depth = static_cast<std::int16_t>(deepestOf(storage.items()) + 1);
}

void Value::append(Value value) {
  if (!isArray()) throw Exception("only an array can be appended to");
  if (value.isNil()) return;
  const auto depth = Shared::Container::checkedDepth(value.depth());
  auto& storage = owned<Value>(1);
  storage.insert(storage.size, std::move(value));
  storage.depth = std::max(storage.depth, depth);
}

Value Value::mutableCopy() const noexcept {
  Value result(*this);
  result.mutable_ = isContainer();
  return result;
}

Value Value::copy() const noexcept {
  Value result(*this);
  result.mutable_ = false;
  return result;
}

Value Value::mutableDictionaryCopy() const { return (isDictionary() ? *this : dictionary()).mutableCopy(); }

}  // namespace zn
