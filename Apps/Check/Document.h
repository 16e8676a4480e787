#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/Json.h"

namespace apps::check {

struct Place {
  int line;
  int column;
};

/// A JSON text, and where each of its keys and values stands, which zn::Value does not know. Takes 24 bytes a value
/// beside the text, which must outlive it.
class Document {
 public:
  enum class Type : std::uint8_t { object, array, text, number, boolean, null };
  class Item;

  /// Nothing, with the error, for what is no JSON. `firstLine`: the number of the text's first line.
  static std::optional<Document> read(std::string_view text, bool allowComments, zn::JsonError& error,
                                      int firstLine = 1);

  /// What can be seen of a text that may be no JSON, or its beginning only.
  static Document sketch(std::string_view text);

  Item root() const;  ///< none where a sketch shows nothing
  /// All values, in the text's order.
  std::size_t size() const { return nodes_.size(); }
  Item at(std::size_t index) const;
  Place placeOf(std::size_t offset) const;
  std::optional<std::size_t> firstComment() const { return firstComment_; }
  std::size_t sizeWithoutBlanks() const { return sizeWithoutBlanks_; }

 private:
  struct Node {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::uint32_t keyBegin = 0;  // of its opening quote
    std::uint32_t keyEnd = 0;    // 0: no key
    std::uint32_t next = 0;      // the first value after this one and all that is inside
    Type type = Type::null;
  };
  class Scanner;

  std::string_view text_;
  std::vector<Node> nodes_;
  std::vector<std::uint32_t> lineStarts_;
  int firstLine_ = 1;
  std::optional<std::size_t> firstComment_;
  std::size_t sizeWithoutBlanks_ = 0;
};

/// One value of a document, which must outlive it; or none.
class Document::Item {
 public:
  Item() = default;
  Item(const Document& document, std::uint32_t index) : document_(&document), index_(index) {}

  explicit operator bool() const { return document_ != nullptr; }
  bool is(Type type) const { return document_ && node().type == type; }
  /// null counts as missing.
  bool isPresent() const { return document_ && node().type != Type::null; }
  Type type() const { return node().type; }
  bool operator==(const Item& other) const { return document_ == other.document_ && index_ == other.index_; }

  std::size_t begin() const { return node().begin; }
  std::size_t keyBegin() const { return node().keyEnd ? node().keyBegin : node().begin; }
  std::string key() const;
  std::string text() const;  ///< of a text; "" for anything else
  std::string_view written() const;
  zn::Value value() const;

  Item firstInside() const;  ///< none where there is none
  Item next(const Item& container) const;
  /// The last one of that key, as those who read it take it; none where there is none.
  Item operator[](std::string_view key) const;
  Item element(std::size_t index) const;

 private:
  const Node& node() const { return document_->nodes_[index_]; }
  std::string decoded(std::size_t begin, std::size_t end) const;

  const Document* document_ = nullptr;
  std::uint32_t index_ = 0;
};

/// All values directly inside an object or array.
std::vector<Document::Item> inside(const Document::Item& container);

}  // namespace apps::check
