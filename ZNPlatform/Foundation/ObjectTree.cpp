#include "ZNPlatform/Foundation/ObjectTree_p.h"

#include <algorithm>
#include <utility>

#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

namespace {

bool isAscii(std::string_view text) noexcept {
  unsigned char bits = 0;
  for (const char c : text) bits |= static_cast<unsigned char>(c);
  return bits < 0x80;
}

}  // namespace

ObjectTree::ObjectTree(const BinaryListReader& reader, const char* tooDeep)
    : reader_(reader),
      tooDeep_(tooDeep),
      budget_(2 * reader.size()),
      keyBudget_(64 * reader.size()),
      largestWeight_(64e6 + 16 * static_cast<double>(reader.size())) {}

void ObjectTree::fail(const char* reason, Ref object) {
  if (error_.empty()) error_ = std::string(reason) + " (at byte " + std::to_string(reader_.offsetOf(object)) + ")";
}

bool ObjectTree::take(std::size_t bytes, std::size_t& budget) noexcept {
  const bool affordable = bytes <= budget;
  budget -= std::min(bytes, budget);
  return affordable;
}

bool ObjectTree::mayNest(int depth, Ref object) {
  if (depth < Value::maximumReadDepth) return true;
  fail(tooDeep_, object);
  return false;
}

bool ObjectTree::mayRead(const Token& list, Ref object) {
  if (take(list.count * reader_.referenceSize() * (list.kind == Kind::dictionary ? 2 : 1), budget_)) return true;
  fail("objects that overlap", object);
  return false;
}

ObjectTree::Found ObjectTree::valueAt(Node& node, Ref object, int depth) {
  using State = Node::State;
  if (node.state == State::inProgress) {
    fail("an object that contains itself", object);
    return {};
  }
  if (node.state != State::done) {
    node.state = State::inProgress;
    make(node, object, depth);
    node.state = State::done;
    if (node.weight > largestWeight_) {
      node.value = nil;
      fail("shared objects that unfold beyond measure", object);
    }
  }
  if (depth + node.value.depth() > Value::maximumReadDepth) {
    fail(tooDeep_, object);
    return {};
  }
  return {&node.value, node.weight};
}

Value ObjectTree::scalar(const Token& token) {
  switch (token.kind) {
    case Kind::null:
      return Value::null();
    case Kind::boolean:
      return token.integer != 0;
    case Kind::integer:
      return token.integer;
    case Kind::real:
      return token.real;
    case Kind::date:
      return Date{token.real};
    case Kind::data:
      return take(token.count, budget_) ? Value::data(Data(token.bytes, token.bytes + token.count)) : Value();
    case Kind::ascii: {
      if (!take(token.count, budget_)) return {};
      const std::string_view text{reinterpret_cast<const char*>(token.bytes), token.count};
      return isAscii(text) ? Value(text) : Value(sanitizedUtf8(text));
    }
    case Kind::utf16:
      return take(2 * token.count, budget_) ? Value(utf8FromUtf16BigEndian({token.bytes, 2 * token.count})) : Value();
    default:
      return {};
  }
}

void ObjectTree::makeArray(Node& node, const Token& list, int depth) {
  std::vector<Value> elements;
  elements.reserve(list.count);
  for (std::size_t i = 0; i < list.count; ++i) {
    const Found element = valueOf(reader_.elementAt(list, i), depth + 1);
    if (element.value->isNil()) continue;
    elements.push_back(*element.value);
    node.weight += element.weight;
  }
  node.value = Value::array(std::move(elements));
}

void ObjectTree::makeDictionary(Node& node, const Token& keys, const Token& values, int depth) {
  std::vector<Value::Entry> entries;
  entries.reserve(keys.count);
  for (std::size_t i = 0; i < keys.count; ++i) {
    const Ref keyObject = reader_.elementAt(keys, i);
    const Found foundKey = valueOf(keyObject, depth + 1);
    Value key = *foundKey.value;
    if (!key.isString()) {
      fail("a dictionary's key that is no string", keyObject);
      continue;
    }
    if (!take(key.string().size(), keyBudget_)) {
      fail("objects that overlap", keyObject);
      continue;
    }
    const Found found = valueOf(reader_.elementAt(values, i), depth + 1);
    if (found.value->isNil()) continue;
    node.weight += foundKey.weight + found.weight;
    entries.push_back({std::move(key), *found.value});
  }
  node.value = Value::dictionary(std::move(entries));
}

}  // namespace zn
