#include "Platform/Foundation/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

namespace zn {

namespace {

/// Reads the text and tells how far the parser has come: its events do not carry their place.
class Cursor {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Cursor() = default;
  Cursor(const char* at, const char** observer) : at_(at), observer_(observer) {}
  reference operator*() const { return *at_; }
  Cursor& operator++() {
    *observer_ = ++at_;
    return *this;
  }
  Cursor operator++(int) {
    Cursor old = *this;
    ++*this;
    return old;
  }
  friend bool operator==(const Cursor& a, const Cursor& b) { return a.at_ == b.at_; }

 private:
  const char* at_ = nullptr;
  const char** observer_ = nullptr;
};

struct Rule {
  std::string_view sign;  ///< a piece of the parser's message
  std::string_view text;
};

constexpr std::string_view kHalfSurrogate = "a \\u escape is half of a surrogate pair";

/// The first rule that fits wins. The parser names the error only in its message, which is far too long for a log line.
constexpr Rule kRules[] = {
    {"number overflow", "the number is too large"},
    {"missing closing quote", "the string is not closed"},
    {"missing closing '*/'", "the comment is not closed"},
    {"unexpected end of input", "the text ends too early"},
    {"invalid literal", "unexpected characters"},
    {"expected end of input", "something follows after the end of the value"},
    {"ill-formed UTF-8", "the string is not valid UTF-8"},
    {"control character", "a control character in a string must be escaped"},
    {"surrogate", kHalfSurrogate},
    {"4 hex digits", "\\u needs four hex digits"},
    {"after backslash", "unknown escape in a string"},
    {"invalid number", "malformed number"},
    {"invalid comment", "malformed comment"},
    {"invalid BOM", "malformed byte order mark"},
    {"while parsing object key", "a key in double quotes is missing"},
    {"while parsing object separator", "':' is missing after the key"},
    {"while parsing object", "',' or '}' is missing"},
    {"while parsing array", "',' or ']' is missing"},
    {"while parsing value", "a value is missing"},
};

/// Takes the parser's events and builds the value: what is open waits on two stacks, and each container is made with
/// its exact size when it closes. Counts the memory of all that, and stops before there is too much.
class Builder {
 public:
  Builder(std::string_view text, std::size_t maximumMemory)
      : text_(text), maximum_(maximumMemory), reached_(text.data()) {}

  const char** observer() { return &reached_; }
  Value takeResult() { return std::move(elements_.back()); }
  std::size_t failedAt() const { return failedAt_; }
  std::string_view failure() const { return failure_; }
  bool isTooLarge() const { return isTooLarge_; }

  bool null() { return add(Value::null()); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t number) { return add(number); }
  bool number_unsigned(std::uint64_t number) { return add(number); }
  bool number_float(double number, const std::string&) { return add(number); }
  bool string(const std::string& text) {
    return add(text.empty() ? emptyText_ : counted(Value(std::string_view(text)))) && hasRoomForToken(text);
  }
  bool binary(const nlohmann::json::binary_t&) { return false; }  // not in JSON texts
  bool start_object(std::size_t) { return open(true); }
  bool start_array(std::size_t) { return open(false); }

  bool key(const std::string& name) { return push(entries_, {sharedKey(name), Value()}) && hasRoomForToken(name); }

  bool end_object() {
    const std::span<Value::Entry> members(entries_.begin() + frames_.back().start, entries_.end());
    // Half as much again is for sorting.
    if (!hasRoomFor(members.size_bytes() + members.size_bytes() / 2)) return false;
    Value object = members.empty() ? emptyObject_ : counted(Value::dictionaryTaking(members));
    entries_.resize(frames_.back().start);
    frames_.pop_back();
    return add(std::move(object));
  }

  bool end_array() {
    const std::span<Value> elements(elements_.begin() + frames_.back().start, elements_.end());
    if (!hasRoomFor(elements.size_bytes())) return false;
    Value array = elements.empty() ? emptyArray_ : counted(Value::arrayTaking(elements));
    elements_.resize(frames_.back().start);
    frames_.pop_back();
    return add(std::move(array));
  }

  bool parse_error(std::size_t position, const std::string& token, const nlohmann::json::exception& error) {
    const std::string_view message = error.what();
    const auto fits = [&](const Rule& rule) { return message.find(rule.sign) != std::string_view::npos; };
    const auto* rule = std::find_if(std::begin(kRules), std::end(kRules), fits);
    failure_ = rule != std::end(kRules) ? rule->text : "malformed JSON";
    const bool isWholeToken = message.find("unexpected") != std::string_view::npos || failure_ == kRules[0].text;
    const std::size_t back = isWholeToken ? tokenSize(position, token) : 1;
    failedAt_ = std::min(position - std::min(back, position), text_.size());
    return false;
  }

 private:
  struct Frame {
    std::ptrdiff_t start;  ///< of its items, on the stack of its kind
    bool isObject;
  };

  /// A token in the wrong place is named by its begin, not its end. The parser's copy of it is exact for strings and
  /// numbers only.
  std::size_t tokenSize(std::size_t end, const std::string& token) const {
    if (end == 0 || end > text_.size()) return 1;
    const char last = text_[end - 1];
    if (last == '"' || (last >= '0' && last <= '9')) return token.size();
    const auto isLetter = [&](std::size_t at) { return text_[at] >= 'a' && text_[at] <= 'z'; };
    std::size_t begin = end;
    while (begin > 0 && isLetter(begin - 1)) --begin;
    return std::max<std::size_t>(end - begin, 1);
  }

  bool open(bool isObject) {
    if (frames_.size() >= Value::maximumReadDepth) return fail("the value nests too deeply");
    frames_.push_back({isObject ? std::ssize(entries_) : std::ssize(elements_), isObject});
    return true;
  }

  bool add(Value value) {
    if (frames_.empty() || !frames_.back().isObject) return push(elements_, std::move(value));
    entries_.back().value = std::move(value);
    return hasRoomFor(0);
  }

  template <class Item>
  bool push(std::vector<Item>& stack, Item item) {
    if (stack.size() == stack.capacity()) {
      constexpr std::size_t kFirst = 64;
      const std::size_t capacity = std::max(kFirst, 2 * stack.capacity());
      if (!hasRoomFor(capacity * sizeof(Item))) return false;
      stack.reserve(capacity);
    }
    stack.push_back(std::move(item));
    return hasRoomFor(0);
  }

  Value counted(Value value) {
    kept_ += value.storageSize();
    return value;
  }

  /// Beside all that there is.
  bool hasRoomFor(std::size_t bytes) {
    bytes += kept_ + elements_.capacity() * sizeof(Value) + entries_.capacity() * sizeof(Value::Entry);
    if (bytes <= maximum_) return true;
    isTooLarge_ = true;
    return fail("the value needs more than is allowed");
  }

  /// The parser keeps each key and string twice while it reads it, and never gives back what the longest one took.
  bool hasRoomForToken(const std::string& token) { return hasRoomFor(2 * token.capacity()); }

  bool fail(std::string_view why) {
    failure_ = why;
    failedAt_ = static_cast<std::size_t>(reached_ - text_.data()) - 1;
    return false;
  }

  /// Records of one kind repeat their keys: most keys share the storage of the one before.
  const Value& sharedKey(std::string_view name) {
    Value& slot = keys_[std::hash<std::string_view>()(name) % keys_.size()];
    if (!slot.isString() || slot.string() != name) slot = counted(Value(name));
    return slot;
  }

  const std::string_view text_;
  const std::size_t maximum_;
  const char* reached_;
  std::vector<Value> elements_;        // of open arrays; at the end the result
  std::vector<Value::Entry> entries_;  // of open objects
  std::vector<Frame> frames_;
  std::size_t kept_ = 0;  // bytes that what is on the stacks holds
  std::array<Value, 128> keys_;
  const Value emptyText_ = "";
  const Value emptyArray_ = Value::array();
  const Value emptyObject_ = Value::dictionary();
  std::size_t failedAt_ = 0;
  bool isTooLarge_ = false;
  std::string_view failure_;
};

JsonError errorAt(std::string_view text, std::size_t offset, std::string_view reason) {
  const std::string_view before = text.substr(0, offset);
  const auto lineStart = before.rfind('\n') + 1;  // 0 on the first line
  JsonError error;
  error.line = static_cast<int>(std::count(before.begin(), before.end(), '\n')) + 1;
  error.column = static_cast<int>(offset - lineStart) + 1;
  error.text = "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) + ": ";
  error.text += reason;
  return error;
}

/// The UTF-16 unit of a \u escape that begins there.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t at) {
  constexpr std::size_t kLength = 6;
  if (at + kLength > text.size() || text.substr(at, 2) != "\\u") return std::nullopt;
  unsigned unit = 0;
  const char* const end = text.data() + at + kLength;
  return std::from_chars(text.data() + at + 2, end, unit, 16).ptr == end ? std::optional(unit) : std::nullopt;
}

/// The text with U+FFFD for what is left of an escaped pair. Every other byte stays where it is.
std::string withoutHalfSurrogates(std::string_view text) {
  const auto isHigh = [](std::optional<unsigned> unit) { return unit && *unit >= 0xD800 && *unit < 0xDC00; };
  const auto isLow = [](std::optional<unsigned> unit) { return unit && *unit >= 0xDC00 && *unit < 0xE000; };
  std::string mended(text);
  std::size_t at = 0;
  while ((at = mended.find('\\', at)) != std::string::npos) {
    const auto unit = escapedUnit(mended, at);
    if (isHigh(unit) && isLow(escapedUnit(mended, at + 6))) {
      at += 12;
    } else {
      if (isHigh(unit) || isLow(unit)) mended.replace(at, 6, "\\ufffd");
      at += unit ? 6 : 2;
    }
  }
  return mended;
}

/// Empty, with the error, when the text cannot be read as it stands.
std::optional<Value> read(std::string_view text, JsonReadOptions options, JsonError& error, bool& isHalfSurrogate) {
  Builder builder(text, options.maximumMemory);
  const Cursor first(text.data(), builder.observer());
  const Cursor last(text.data() + text.size(), builder.observer());
  const bool isRead = nlohmann::json::sax_parse(first, last, &builder, nlohmann::json::input_format_t::json, true,
                                                options.allowComments);
  // The parser takes a NUL for the end of its input.
  const auto nul = text.find('\0');
  if (nul != std::string_view::npos && (isRead || builder.failedAt() >= nul)) {
    error = errorAt(text, nul, "unexpected NUL character");
    return std::nullopt;
  }
  if (isRead) return builder.takeResult();
  isHalfSurrogate = builder.failure() == kHalfSurrogate;
  error = errorAt(text, builder.failedAt(), builder.failure());
  error.isTooLarge = builder.isTooLarge();
  return std::nullopt;
}

std::optional<Value> parse(std::string_view text, JsonReadOptions options, JsonError& error) {
  bool isHalfSurrogate = false;
  JsonError problem;
  auto value = read(text, options, problem, isHalfSurrogate);
  if (isHalfSurrogate) {
    // What was built up to there is gone.
    const std::string mended = withoutHalfSurrogates(text);
    options.maximumMemory -= std::min(options.maximumMemory, mended.size());
    value = read(mended, options, problem, isHalfSurrogate);
  }
  if (!value) error = problem;
  return value;
}

}  // namespace

std::optional<Value> parseJson(std::string_view text, JsonError* error, JsonReadOptions options) {
  JsonError ignored;
  JsonError& failure = error ? *error : ignored;
  try {
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
      failure = errorAt(text, text.size(), "the text is empty");
      return std::nullopt;
    }
    return parse(text, options, failure);
  } catch (const std::exception&) {
    failure = {"line 1, column 1: not enough memory to read the text", 1, 1, true};
    return std::nullopt;
  }
}

}  // namespace zn
