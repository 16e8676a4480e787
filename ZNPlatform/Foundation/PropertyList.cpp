#include "ZNPlatform/Foundation/PropertyList.h"

#include <unordered_map>
#include <vector>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/ObjectTree_p.h"
#include "ZNPlatform/Foundation/XmlPropertyList_p.h"

namespace zn {

namespace {

/// Makes the values of a binary property list. What would be left out of it makes it unreadable.
class ListTree final : ObjectTree {
 public:
  explicit ListTree(const BinaryListReader& list)
      : ObjectTree(list, "containers that nest too deep"), nodes_(list.objectCount()) {}

  std::optional<Value> run(std::string& error) {
    const Value value = *valueOf(reader().top(), 0).value;
    if (value.isNil() || value.isNull()) fail("the property list is empty", reader().top());
    error = ObjectTree::error();
    return error.empty() ? std::optional(value) : std::nullopt;
  }

 private:
  Found valueOf(Ref object, int depth) override {
    if (object < nodes_.size()) return valueAt(nodes_[static_cast<std::size_t>(object)], object, depth);
    fail("an object that reaches beyond the file", object);
    return {};
  }

  void make(Node& node, Ref object, int depth) override {
    Token token;
    if (!reader().read(object, token)) return fail("an object that reaches beyond the file", object);
    node.weight = token.weight();
    if (!token.isList() && token.kind != Kind::dictionary) {
      node.value = scalar(token);
      if (node.value.isNil() && token.kind != Kind::uid) fail("objects that overlap", object);
    } else if (mayNest(depth, object) && mayRead(token, object)) {
      if (token.isList()) return makeArray(node, token, depth);
      Token values = token;  // they follow the keys
      values.bytes += token.count * reader().referenceSize();
      makeDictionary(node, token, values, depth);
    }
  }

  std::vector<Node> nodes_;
};

std::optional<Value> parseBinary(std::span<const std::uint8_t> bytes, std::string& error) {
  const auto reader = BinaryListReader::open(bytes, error);
  if (!reader) return std::nullopt;
  return ListTree(*reader).run(error);
}

/// Writes containers after what they hold. Recurses: the depth was checked.
class ListWriter {
 public:
  Data run(const Value& value) {
    const auto file = writer_.finish(write(value));
    return {file.begin(), file.end()};
  }

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

Value dictionaryWithContentsOfFile(const std::string& path) {
  const auto value = parsePropertyList(readStateFile(path, kMaximumMessageFile).bytes);
  return value && value->isDictionary() ? *value : nil;
}

}  // namespace zn
