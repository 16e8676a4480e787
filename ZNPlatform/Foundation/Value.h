#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ZNPlatform/Export.h"

namespace zn {

/// A point in time: seconds since 1970-01-01 00:00 UTC, with fractions.
struct Date {
  double secondsSince1970 = 0;
  friend auto operator<=>(const Date&, const Date&) = default;
};

using Data = std::vector<std::uint8_t>;

/// JSON-like value: what push payloads, server answers, property lists and archives are made of.
///
/// 16 bytes; a copy costs O(1), because strings, data and containers are shared and copied when one holder changes
/// them. So a Value that was handed out is a snapshot: later changes of the record it came from do not reach it.
///
/// Thread: different Values may be used from different threads even where they share storage; one Value object that
/// one thread changes must not be used by another at the same time (as with std::string).
///
/// nil (no value) and null (JSON's null) are different. nil is never stored in a container: adding it does nothing.
/// Numbers are equal by value: 1, 1.0 and true are equal. Dictionaries keep their entries sorted by key, in byte order.
/// Containers nest at most `maximumDepth` levels; going deeper throws, so no walk over a Value can exhaust the stack.
class ZN_EXPORT Value {
 public:
  enum class Type : std::uint8_t { nil, null, boolean, integer, real, string, date, data, array, dictionary };
  struct Entry;

  /// Levels that a Value may nest. Readers of files and texts stop at `maximumReadDepth`, so that what was read can
  /// still be put into another container.
  static constexpr int maximumDepth = 1024;
  static constexpr int maximumReadDepth = 512;

  Value() noexcept = default;
  template <std::same_as<bool> B>
  Value(B value) noexcept : type_(Type::boolean) {
    payload_.boolean = value;
  }
  template <std::integral I>
  requires(!std::same_as<I, bool> && !std::same_as<I, char>) Value(I value)
  noexcept {
    if constexpr (std::is_unsigned_v<I> && sizeof(I) >= sizeof(std::int64_t)) {
      if (value > static_cast<I>(INT64_MAX)) {
        type_ = Type::real;  // an integer beyond 64 signed bits becomes a real
        payload_.real = static_cast<double>(value);
        return;
      }
    }
    type_ = Type::integer;
    payload_.integer = static_cast<std::int64_t>(value);
  }
  template <std::floating_point F>
  Value(F value) noexcept : type_(Type::real) {
    payload_.real = static_cast<double>(value);
  }
  Value(Date date) noexcept : type_(Type::date) { payload_.real = date.secondsSince1970; }
  Value(std::string text);
  Value(std::string_view text);
  Value(const char* text);  ///< a null pointer gives nil

  Value(const Value& other) noexcept : payload_(other.payload_), type_(other.type_), mutable_(other.mutable_) {
    retain();
  }
  Value(Value&& other) noexcept
      : payload_(other.payload_),
        type_(std::exchange(other.type_, Type::nil)),
        mutable_(std::exchange(other.mutable_, false)) {}
  Value& operator=(const Value& other) noexcept { return *this = Value(other); }
  Value& operator=(Value&& other) noexcept {
    // The old contents go last: freeing them may free the container that `other` lives in.
    Value taken(std::move(other));
    std::swap(payload_, taken.payload_);
    std::swap(type_, taken.type_);
    std::swap(mutable_, taken.mutable_);
    return *this;
  }
  ~Value() { release(); }

  static Value null() noexcept;
  static Value data(Data bytes);
  static Value array(std::vector<Value> elements = {});  ///< nil elements are left out
  static Value dictionary();
  static Value dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);
  /// Entries in any order; of equal keys the last wins; nil values are left out. Keys must be strings.
  static Value dictionary(std::vector<Entry> entries);
  /// The same, taking what is there: it is of no use afterwards. No value may be nil, and keys must be strings.
  static Value arrayTaking(std::span<Value> elements);
  static Value dictionaryTaking(std::span<Entry> entries);

  Type type() const noexcept { return type_; }
  bool isNil() const noexcept { return type_ == Type::nil; }
  bool isNull() const noexcept { return type_ == Type::null; }
  bool isBoolean() const noexcept { return type_ == Type::boolean; }
  bool isNumber() const noexcept { return type_ == Type::boolean || type_ == Type::integer || type_ == Type::real; }
  bool isString() const noexcept { return type_ == Type::string; }
  bool isDate() const noexcept { return type_ == Type::date; }
  bool isData() const noexcept { return type_ == Type::data; }
  bool isArray() const noexcept { return type_ == Type::array; }
  bool isDictionary() const noexcept { return type_ == Type::dictionary; }
  bool isContainer() const noexcept { return isArray() || isDictionary(); }
  /// True for anything but nil.
  explicit operator bool() const noexcept { return !isNil(); }

  // What the value holds; a value of another type gives the empty answer (false, 0, "", time 0, no elements).
  bool boolean() const noexcept { return isBoolean() && payload_.boolean; }
  std::int64_t integer() const noexcept { return type_ == Type::integer ? payload_.integer : 0; }
  double real() const noexcept { return type_ == Type::real ? payload_.real : 0; }
  std::string_view string() const noexcept {
    if (!isString()) return {};
    return {reinterpret_cast<const char*>(payload_.shared + 1), payload_.shared->size};
  }
  Date date() const noexcept { return isDate() ? Date{payload_.real} : Date{}; }
  std::span<const std::uint8_t> data() const noexcept;
  inline std::span<const Value> elements()
      const noexcept;  ///< of an array; valid while this Value is neither changed nor gone
  inline std::span<const Entry> entries() const noexcept;  ///< of a dictionary, by ascending key; valid likewise
  /// Elements of an array, as `elements()` has them: 0 for anything else, dictionaries too (`entries().size()`).
  std::size_t size() const noexcept { return elements().size(); }
  /// Neither elements nor entries.
  bool isEmpty() const noexcept { return elements().empty() && entries().empty(); }

  // Conversions as Foundation makes them. Numbers and strings convert (a string by its leading number, blanks skipped);
  // nil gives 0 or false; null, dates, data and containers throw Exception, as they have no such conversion.
  std::int64_t longLongValue() const;  ///< reals are truncated toward zero; beyond 64 bits the nearest end
  int intValue() const;                ///< as longLongValue, then limited to 32 bits
  double doubleValue() const;
  bool boolValue() const;  ///< numbers: not 0; strings: begins with Y, y, T, t or, after sign and zeros, 1 to 9
  /// Length of a string in UTF-16 units, or of data in bytes; 0 for nil; anything else throws Exception.
  std::size_t length() const;

  /// The value under a key, or nil: for a missing key, for a null value, and for anything looked up in what is no
  /// dictionary.
  Value validObjectForKey(std::string_view key) const;
  /// The same along a dotted path, such as "aps.alert.title".
  Value validObjectForKeyPath(std::string_view path) const;
  /// The value under a key as it stands (null included), or nil.
  const Value& operator[](std::string_view key) const noexcept;

  /// Changes a dictionary; throws Exception for any other type. A nil value changes nothing (it is never stored).
  void setObjectNilHandled(Value value, std::string_view key);
  void removeValidObjectForKey(std::string_view key);  ///< does nothing where the key is missing
  /// Changes an array; throws Exception for any other type. nil is not added.
  void append(Value value);

  /// The same contents, marked as a mutable container: archives keep that difference in the class name. nil stays nil.
  Value mutableCopy() const noexcept;
  Value copy() const noexcept;  ///< the same contents, marked as immutable
  bool isMutable() const noexcept { return mutable_; }
  /// A mutable copy of a dictionary, or an empty mutable dictionary for anything else.
  Value mutableDictionaryCopy() const;

  friend ZN_EXPORT bool operator==(const Value& a, const Value& b) noexcept;
  std::size_t hash() const noexcept;  ///< equal values have equal hashes
  int depth() const noexcept;         ///< 0 for scalars, 1 for an empty container, …

  /// Bytes that this value's own storage takes on the heap, as allocators round them; not what its elements and keys
  /// take. 0 for scalars.
  std::size_t storageSize() const noexcept;

  /// Asks the processor for the memory of what a container holds, which lies scattered and is about to be looked at:
  /// one by one, each would be waited for. Nothing else happens.
  inline void prefetchContents() const noexcept;
  /// The same for a walk through a list whose elements are records, called before each place is looked at: while one
  /// record is worked on, the memory of the next ones comes, level by level.
  static void prefetchAhead(std::span<const Value> list, std::size_t place) noexcept;

  /// Tells shared storage: equal for copies that still share, different for others; null for scalars.
  const void* identity() const noexcept { return isShared() ? payload_.shared : nullptr; }

 private:
  /// What several Values may share: how many do, and how many characters or items follow.
  struct Shared {
    std::atomic<std::uint32_t> count{1};
    std::uint32_t size = 0;

    struct Container;
    void retain() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
    bool releaseIsLast() noexcept { return count.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    /// Nobody else holds it, and what others did with it before they let go is visible here.
    bool isUnique() const noexcept { return count.load(std::memory_order_acquire) == 1; }
  };
  struct StringStorage;
  struct DataStorage;
  template <class Item>
  struct Block;
  Value(Type type, Shared* shared) noexcept;
  bool isShared() const noexcept { return type_ >= Type::string && type_ != Type::date; }
  void retain() const noexcept {
    if (isShared()) payload_.shared->retain();
  }
  void release() noexcept {
    if (isShared() && payload_.shared->releaseIsLast()) destroy();
  }
  void destroy() noexcept;
  void prefetchLevel(int level) const noexcept;
  template <class Item>
  Block<Item>& owned(std::size_t room);

  union {
    bool boolean;
    std::int64_t integer;
    double real;
    Shared* shared;
  } payload_ = {.integer = 0};
  Type type_ = Type::nil;
  bool mutable_ = false;
};

static_assert(sizeof(Value) == 16);

/// One entry of a dictionary.
struct Value::Entry {
  Value key;  ///< always a string
  Value value;
  std::string_view name() const noexcept { return key.string(); }
};

/// What arrays and dictionaries share; the items follow.
struct Value::Shared::Container : Shared {
  inline Container(bool dictionary, std::size_t room) noexcept;
  const bool isDictionary;
  std::int16_t depth = 1;
  const std::uint32_t capacity;
  Container* next = nullptr;  ///< links what waits for its destruction

  static void destroy(Container* first) noexcept;
  static std::int16_t checkedDepth(int deepestChild);
};

inline std::span<const Value> Value::elements() const noexcept {
  if (!isArray()) return {};
  const auto* const container = static_cast<const Shared::Container*>(payload_.shared);
  return {reinterpret_cast<const Value*>(container + 1), container->size};
}

inline std::span<const Value::Entry> Value::entries() const noexcept {
  if (!isDictionary()) return {};
  const auto* const container = static_cast<const Shared::Container*>(payload_.shared);
  return {reinterpret_cast<const Entry*>(container + 1), container->size};
}

inline void Value::prefetchContents() const noexcept {
  for (const Value& element : elements()) __builtin_prefetch(element.identity());
  for (const Entry& entry : entries()) {
    __builtin_prefetch(entry.key.identity());
    __builtin_prefetch(entry.value.identity());
  }
}

inline const Value nil{};

/// Compares integers and reals by their exact values: an integer beyond 2^53 is not rounded. Values of another type
/// count as the real 0.
ZN_EXPORT std::partial_ordering compareNumbers(const Value& a, const Value& b);

struct ValueHash {
  std::size_t operator()(const Value& value) const noexcept { return value.hash(); }
};

}  // namespace zn
