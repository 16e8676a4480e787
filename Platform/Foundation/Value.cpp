#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "Platform/Foundation/Exception.h"

namespace zn {

/// What several Values may share. The last one that lets go frees it.
struct Value::Shared {
  struct Container;
  std::atomic<std::uint32_t> count{1};

  void retain() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
  bool releaseIsLast() noexcept { return count.fetch_sub(1, std::memory_order_acq_rel) == 1; }
  /// Nobody else holds it, and what others did with it before they let go is visible here.
  bool isUnique() const noexcept { return count.load(std::memory_order_acquire) == 1; }
};

/// The characters follow the header in the same allocation.
struct Value::StringStorage : Shared {
  std::size_t size = 0;

  char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
  static StringStorage* make(std::string_view text) {
    auto* storage = new (::operator new(sizeof(StringStorage) + text.size())) StringStorage;
    storage->size = text.size();
    if (!text.empty()) std::memcpy(storage->text(), text.data(), text.size());
    return storage;
  }
  static void destroy(StringStorage* storage) noexcept {
    storage->~StringStorage();
    ::operator delete(storage);
  }
};

struct Value::DataStorage : Shared {
  explicit DataStorage(Data b) noexcept : bytes(std::move(b)) {}
  Data bytes;
};

struct Value::Shared::Container : Shared {
  explicit Container(bool dictionary) noexcept : isDictionary(dictionary) {}
  const bool isDictionary;
  int depth = 1;
  Container* next = nullptr;  ///< links what waits for its destruction

  static void destroy(Container* first) noexcept;
  static int checkedDepth(int deepestChild) {
    if (deepestChild >= maximumDepth) {
      throw Exception("a value may not nest deeper than " + std::to_string(maximumDepth) + " levels");
    }
    return deepestChild + 1;
  }
};

struct Value::ArrayStorage : Shared::Container {
  ArrayStorage() noexcept : Container(false) {}
  std::vector<Value> elements;
};

struct Value::DictionaryStorage : Shared::Container {
  DictionaryStorage() noexcept : Container(true) {}
  std::vector<Entry> entries;

  std::size_t lowerBound(std::string_view key) const noexcept {
    const auto less = [](const Entry& entry, std::string_view name) { return entry.name() < name; };
    return static_cast<std::size_t>(std::lower_bound(entries.begin(), entries.end(), key, less) - entries.begin());
  }
  bool hasKeyAt(std::size_t index, std::string_view key) const noexcept {
    return index < entries.size() && entries[index].name() == key;
  }
  int deepestChild() const noexcept {
    int deepest = 0;
    for (const Entry& entry : entries) deepest = std::max(deepest, entry.value.depth());
    return deepest;
  }
};

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
      auto* storage = static_cast<DictionaryStorage*>(container);
      for (Entry& entry : storage->entries) take(entry.value);
      delete storage;
    } else {
      auto* storage = static_cast<ArrayStorage*>(container);
      for (Value& element : storage->elements) take(element);
      delete storage;
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

Value::Value(const Value& other) noexcept : payload_(other.payload_), type_(other.type_), mutable_(other.mutable_) {
  retain();
}

Value::Value(Value&& other) noexcept : payload_(other.payload_), type_(other.type_), mutable_(other.mutable_) {
  other.type_ = Type::nil;
  other.mutable_ = false;
}

Value& Value::operator=(const Value& other) noexcept { return *this = Value(other); }

Value& Value::operator=(Value&& other) noexcept {
  if (this == &other) return *this;
  // The old contents go last: freeing them may free the container that `other` lives in.
  Value old(std::move(*this));
  payload_ = other.payload_;
  type_ = std::exchange(other.type_, Type::nil);
  mutable_ = std::exchange(other.mutable_, false);
  return *this;
}

Value::~Value() { release(); }

void Value::retain() const noexcept {
  if (isShared()) payload_.shared->retain();
}

void Value::release() noexcept {
  if (!isShared() || !payload_.shared->releaseIsLast()) return;
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
  int deepest = 0;
  for (const Value& element : elements) deepest = std::max(deepest, element.depth());
  const int depth = Shared::Container::checkedDepth(deepest);
  auto* storage = new ArrayStorage;
  storage->elements = std::move(elements);
  storage->depth = depth;
  return {Type::array, storage};
}

Value Value::dictionary() { return {Type::dictionary, new DictionaryStorage}; }

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
  const auto isAscending = [](const Entry& a, const Entry& b) { return a.name() < b.name(); };
  const auto isNotAscending = [&](const Entry& a, const Entry& b) { return !isAscending(a, b); };
  if (std::adjacent_find(entries.begin(), entries.end(), isNotAscending) != entries.end()) {
    std::stable_sort(entries.begin(), entries.end(), isAscending);
    // Of a run of equal keys the last one stays: seen from the end, the first.
    const auto isSameKey = [](const Entry& a, const Entry& b) { return a.name() == b.name(); };
    const auto kept = std::unique(entries.rbegin(), entries.rend(), isSameKey);
    entries.erase(entries.begin(), kept.base());
  }
  int deepest = 0;  // of what stays: equal values have equal depths
  for (const Entry& entry : entries) deepest = std::max(deepest, entry.value.depth());
  const int depth = Shared::Container::checkedDepth(deepest);
  auto* storage = new DictionaryStorage;
  storage->entries = std::move(entries);
  storage->depth = depth;
  return {Type::dictionary, storage};
}

std::string_view Value::string() const noexcept {
  if (!isString()) return {};
  auto* storage = static_cast<StringStorage*>(payload_.shared);
  return {storage->text(), storage->size};
}

std::span<const std::uint8_t> Value::data() const noexcept {
  if (!isData()) return {};
  return static_cast<DataStorage*>(payload_.shared)->bytes;
}

std::span<const Value> Value::elements() const noexcept {
  if (!isArray()) return {};
  return static_cast<ArrayStorage*>(payload_.shared)->elements;
}

std::span<const Value::Entry> Value::entries() const noexcept {
  if (!isDictionary()) return {};
  return static_cast<DictionaryStorage*>(payload_.shared)->entries;
}

int Value::depth() const noexcept {
  return isContainer() ? static_cast<Shared::Container*>(payload_.shared)->depth : 0;
}

const Value& Value::operator[](std::string_view key) const noexcept {
  if (!isDictionary()) return nil;
  const auto& storage = *static_cast<DictionaryStorage*>(payload_.shared);
  const std::size_t index = storage.lowerBound(key);
  return storage.hasKeyAt(index, key) ? storage.entries[index].value : nil;
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

Value::ArrayStorage& Value::ownArray() {
  if (!isArray()) throw Exception("only an array can be appended to");
  auto* storage = static_cast<ArrayStorage*>(payload_.shared);
  if (storage->isUnique()) return *storage;
  Value copy = array(storage->elements);
  copy.mutable_ = mutable_;
  *this = std::move(copy);
  return *static_cast<ArrayStorage*>(payload_.shared);
}

Value::DictionaryStorage& Value::ownDictionary() {
  auto* storage = static_cast<DictionaryStorage*>(payload_.shared);
  if (storage->isUnique()) return *storage;
  Value copy = dictionary(storage->entries);
  copy.mutable_ = mutable_;
  *this = std::move(copy);
  return *static_cast<DictionaryStorage*>(payload_.shared);
}

void Value::setObjectNilHandled(Value value, std::string_view key) {
  if (!isDictionary()) throw Exception("only a dictionary takes a value under a key");
  if (value.isNil()) return;
  const int depth = Shared::Container::checkedDepth(value.depth());
  // Before the storage may change hands: the key may be a view into it.
  const std::size_t index = static_cast<DictionaryStorage*>(payload_.shared)->lowerBound(key);
  const bool replaces = static_cast<DictionaryStorage*>(payload_.shared)->hasKeyAt(index, key);
  Value newKey = replaces ? Value() : Value(key);
  DictionaryStorage& storage = ownDictionary();
  if (!replaces) {
    storage.entries.insert(storage.entries.begin() + static_cast<std::ptrdiff_t>(index),
                           Entry{std::move(newKey), std::move(value)});
    storage.depth = std::max(storage.depth, depth);
    return;
  }
  Value& place = storage.entries[index].value;
  const bool wasDeepest = place.depth() + 1 == storage.depth;
  std::swap(place, value);
  storage.depth = wasDeepest ? storage.deepestChild() + 1 : std::max(storage.depth, depth);
}

void Value::removeValidObjectForKey(std::string_view key) {
  if (!isDictionary()) throw Exception("only a dictionary has a key to remove");
  const auto* shared = static_cast<DictionaryStorage*>(payload_.shared);
  const std::size_t index = shared->lowerBound(key);
  if (!shared->hasKeyAt(index, key)) return;
  DictionaryStorage& storage = ownDictionary();
  const bool wasDeepest = storage.entries[index].value.depth() + 1 == storage.depth;
  storage.entries.erase(storage.entries.begin() + static_cast<std::ptrdiff_t>(index));
  if (wasDeepest) storage.depth = storage.deepestChild() + 1;
}

void Value::append(Value value) {
  if (!isArray()) throw Exception("only an array can be appended to");
  if (value.isNil()) return;
  const int depth = Shared::Container::checkedDepth(value.depth());
  ArrayStorage& storage = ownArray();
  storage.elements.push_back(std::move(value));
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
