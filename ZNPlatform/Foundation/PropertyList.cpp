#include "ZNPlatform/Foundation/PropertyList.h"

#include <unordered_map>
#include <vector>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/XmlPropertyList_p.h"

namespace zn {

namespace {

/// Makes the values of a binary property list. An object that several containers hold is made once and shared.
class ListTree {
 public:
  using Token = BinaryListReader::Token;
  using Kind = BinaryListReader::Kind;
  using Ref = BinaryListReader::Ref;

  ListTree(const BinaryListReader& reader, std::size_t fileSize)
      : reader_(reader),
        nodes_(reader.objectCount()),
        largestWeight_(kLargestUnfolded + 16 * static_cast<double>(fileSize)) {}

  std::optional<Value> run(std::string& error) {
    const Node* node = make(reader_.top(), 0);
    if (node && (node->value.isNil() || node->value.isNull())) fail("the property list is empty", reader_.top());
    error = error_;
    if (!error_.empty()) return std::nullopt;
    return node->value;
  }

 private:
  enum class State : std::uint8_t { fresh, inProgress, done };
  struct Node {
    Value value;
    double weight = 0;
    State state = State::fresh;
  };

  bool fail(const char* reason, Ref object) {
    if (error_.empty()) error_ = std::string(reason) + " (at byte " + std::to_string(reader_.offsetOf(object)) + ")";
    return false;
  }

  /// Null once something is wrong.
  const Node* make(Ref object, int depth) {
    Token token;
    if (!reader_.read(object, token)) return fail("an object that reaches beyond the file", object), nullptr;
    Node& node = nodes_[static_cast<std::size_t>(object)];
    if (node.state == State::inProgress) return fail("an object that contains itself", object), nullptr;
    if (node.state == State::fresh) {
      node.state = State::inProgress;
      if (!fill(node, token, object, depth)) return nullptr;
      node.state = State::done;
    }
    if (depth + node.value.depth() > Value::maximumReadDepth) {
      return fail("containers that nest too deep", object), nullptr;
    }
    return &node;
  }

  bool fill(Node& node, const Token& token, Ref object, int depth) {
    node.weight = token.weight();
    if (!token.isList() && token.kind != Kind::dictionary) {
      node.value = reader_.scalar(token);
      return !node.value.isNil() || token.kind == Kind::uid || fail("objects that overlap", object);
    }
    if (depth >= Value::maximumReadDepth) return fail("containers that nest too deep", object);
    if (!reader_.charge(token)) return fail("objects that overlap", object);
    if (!(token.isList() ? fillArray(node, token, depth) : fillDictionary(node, token, depth))) return false;
    return node.weight <= largestWeight_ || fail("shared objects that unfold beyond measure", object);
  }

  bool fillArray(Node& node, const Token& token, int depth) {
    std::vector<Value> elements;
    elements.reserve(token.count);
    for (std::size_t i = 0; i < token.count; ++i) {
      const Node* element = make(reader_.elementAt(token, i), depth + 1);
      if (!element) return false;
      elements.push_back(element->value);
      node.weight += element->weight;
    }
    node.value = Value::array(std::move(elements));
    return true;
  }

  bool fillDictionary(Node& node, const Token& token, int depth) {
    std::vector<Value::Entry> entries;
    entries.reserve(token.count);
    for (std::size_t i = 0; i < token.count; ++i) {
      const Ref keyObject = reader_.elementAt(token, i);
      const Node* key = make(keyObject, depth + 1);
      const Node* value = key ? make(reader_.valueAt(token, i), depth + 1) : nullptr;
      if (!value) return false;
      if (!key->value.isString()) return fail("a dictionary's key that is no string", keyObject);
      if (!reader_.chargeKey(key->value.string().size())) return fail("objects that overlap", keyObject);
      entries.push_back({key->value, value->value});
      node.weight += key->weight + value->weight;
    }
    node.value = Value::dictionary(std::move(entries));
    return true;
  }

  BinaryListReader reader_;
  std::vector<Node> nodes_;
  double largestWeight_;
  std::string error_;
};

std::optional<Value> parseBinary(std::span<const std::uint8_t> bytes, std::string& error) {
  const auto reader = BinaryListReader::open(bytes, error);
  if (!reader) return std::nullopt;
  return ListTree(*reader, bytes.size()).run(error);
}

/// Writes containers after what they hold. Recurses: the depth was checked.
class ListWriter {
 public:
  Data run(const Value& value) { return writer_.finish(write(value)); }

 private:
  using Ref = BinaryListWriter::Ref;

  Ref write(const Value& value) {
    switch (value.type()) {
      case Value::Type::boolean:
        return writer_.boolean(value.boolean());
      case Value::Type::integer:
        return writer_.integer(value.integer());
      case Value::Type::real:
        return writer_.real(value.real());
      case Value::Type::string:
        return writer_.string(value.string());
      case Value::Type::date:
        return writer_.date(value.date());
      case Value::Type::data:
        return writer_.data(value.data());
      default:
        return writeContainer(value);
    }
  }

  Ref writeContainer(const Value& value) {
    if (const auto known = written_.find(value.identity()); known != written_.end()) return known->second;
    const std::size_t base = pending_.size();
    for (const Value::Entry& entry : value.entries()) {
      if (!entry.value.isNull()) pending_.push_back(writer_.string(entry.name()));
    }
    const std::size_t keys = pending_.size() - base;
    for (const Value& element : value.elements()) add(element);
    for (const Value::Entry& entry : value.entries()) add(entry.value);
    const auto all = std::span<const Ref>(pending_).subspan(base);
    const Ref object = value.isArray() ? writer_.array(all) : writer_.dictionary(all.first(keys), all.subspan(keys));
    pending_.resize(base);
    written_.emplace(value.identity(), object);
    return object;
  }

  void add(const Value& value) {
    if (value.isNull()) return;
    const Ref object = write(value);
    pending_.push_back(object);
  }

  BinaryListWriter writer_;
  std::vector<Ref> pending_;                      // of the containers that are being written, the innermost last
  std::unordered_map<const void*, Ref> written_;  // containers, which several places may share
};

}  // namespace

std::optional<Value> parsePropertyList(std::span<const std::uint8_t> bytes, std::string* error) {
  std::string problem;
  auto value = BinaryListReader::isBinary(bytes) ? parseBinary(bytes, problem) : parseXmlPropertyList(bytes, problem);
  if (error) *error = std::move(problem);
  return value;
}

Data binaryPropertyList(const Value& value) {
  if (value.isNil() || value.isNull()) throw Exception("a property list cannot be nil or null");
  if (value.depth() > Value::maximumReadDepth) throw Exception("a value nests too deep for a property list");
  return ListWriter().run(value);
}

Value dictionaryWithContentsOfFile(const std::string& path, std::string* error) {
  std::string problem;
  Value result;
  const StateFile file = readStateFile(path, kMaximumMessageFile);
  problem = file.error;
  if (file.outcome == StateFile::Outcome::read) {
    if (auto value = parsePropertyList(file.bytes, &problem)) {
      if (value->isDictionary()) {
        result = std::move(*value);
      } else {
        problem = "the property list is no dictionary";
      }
    }
  }
  if (error) *error = std::move(problem);
  return result;
}

}  // namespace zn
