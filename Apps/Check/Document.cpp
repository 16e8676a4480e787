#include "Apps/Check/Document.h"

#include <algorithm>

namespace apps::check {

namespace {

constexpr std::size_t kLongestText = std::size_t{256} << 20;
constexpr std::size_t kMostMemory = std::size_t{4} << 30;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

/// Walks over a text that is known to be well-formed, or sketches one that may not be.
class Document::Scanner {
 public:
  explicit Scanner(Document& document) : document_(document), text_(document.text_) {}

  void run() {
    document_.lineStarts_.push_back(0);
    for (std::size_t at = 0; at < text_.size(); ++at) {
      if (text_[at] == '\n') document_.lineStarts_.push_back(static_cast<std::uint32_t>(at + 1));
    }
    if (text_.starts_with(kByteOrderMark)) at_ = kByteOrderMark.size();
    while (at_ < text_.size()) step();
    while (!open_.empty()) close();
  }

 private:
  void step() {
    const std::size_t begin = at_;
    const char c = text_[at_];
    if (isBlank(c)) {
      ++at_;
      return;
    }
    if (c == '/') return skipComment();
    if (c == '"') {
      skipText();
      if (isInObject() && !hasKey_) {
        key_ = {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(at_)};
        hasKey_ = true;
      } else {
        add(begin, Type::text);
      }
    } else if (c == '{' || c == '[') {
      ++at_;
      open_.push_back(add(begin, c == '{' ? Type::object : Type::array));
    } else if (c == '}' || c == ']') {
      ++at_;
      close();
    } else if (c == ',' || c == ':') {
      ++at_;
    } else {
      skipWord();
      add(begin, c == 't' || c == 'f' ? Type::boolean : c == 'n' ? Type::null : Type::number);
    }
    document_.sizeWithoutBlanks_ += at_ - begin;
  }

  bool isInObject() const { return !open_.empty() && document_.nodes_[open_.back()].type == Type::object; }

  std::uint32_t add(std::size_t begin, Type type) {
    const auto index = static_cast<std::uint32_t>(document_.nodes_.size());
    Node node{.begin = static_cast<std::uint32_t>(begin), .end = static_cast<std::uint32_t>(at_), .next = index + 1};
    node.type = type;
    if (hasKey_ && isInObject()) {
      node.keyBegin = key_.first;
      node.keyEnd = key_.second;
    }
    hasKey_ = false;
    document_.nodes_.push_back(node);
    return index;
  }

  void close() {
    if (open_.empty()) return;
    Node& node = document_.nodes_[open_.back()];
    node.end = static_cast<std::uint32_t>(at_);
    node.next = static_cast<std::uint32_t>(document_.nodes_.size());
    open_.pop_back();
  }

  void skipText() {
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\') ++at_;
    }
    at_ = std::min(at_ + 1, text_.size());
  }

  void skipWord() {
    while (at_ < text_.size() && !isBlank(text_[at_]) && std::string_view(",:]}/").find(text_[at_]) == text_.npos)
      ++at_;
  }

  void skipComment() {
    if (!document_.firstComment_) document_.firstComment_ = at_;
    const bool isBlock = text_.substr(at_, 2) == "/*";
    const std::size_t end = isBlock ? text_.find("*/", at_ + 2) : text_.find_first_of("\r\n", at_);
    at_ = end == text_.npos ? text_.size() : end + (isBlock ? 2 : 1);
  }

  Document& document_;
  const std::string_view text_;
  std::size_t at_ = 0;
  std::vector<std::uint32_t> open_;
  std::pair<std::uint32_t, std::uint32_t> key_;
  bool hasKey_ = false;
};

std::optional<Document> Document::read(std::string_view text, bool allowComments, zn::JsonError& error, int firstLine) {
  if (text.size() > kLongestText) {
    error = {"line 1, column 1: the text is longer than 256 MB", 1, 1, true};
    return std::nullopt;
  }
  if (!zn::parseJson(text, &error, {.allowComments = allowComments, .maximumMemory = kMostMemory})) {
    error.line += firstLine - 1;
    return std::nullopt;
  }
  Document document;
  document.text_ = text;
  document.firstLine_ = firstLine;
  Scanner(document).run();
  return document;
}

Document Document::sketch(std::string_view text) {
  Document document;
  document.text_ = text;
  Scanner(document).run();
  return document;
}

Document::Item Document::root() const { return nodes_.empty() ? Item() : Item(*this, 0); }
Document::Item Document::at(std::size_t index) const { return Item(*this, static_cast<std::uint32_t>(index)); }

Place Document::placeOf(std::size_t offset) const {
  const auto after = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
  const auto line = static_cast<int>(after - lineStarts_.begin());
  return {firstLine_ + line - 1, static_cast<int>(offset - *(after - 1)) + 1};
}

std::string Document::Item::decoded(std::size_t begin, std::size_t end) const {
  const std::string_view quoted = document_->text_.substr(begin, end - begin);
  if (quoted.size() < 2) return "";  // of a sketch
  const std::string_view plain = quoted.substr(1, quoted.size() - 2);
  if (plain.find('\\') == plain.npos) return std::string(plain);
  return std::string(zn::parseJson(quoted).value_or(zn::nil).string());
}

std::string Document::Item::key() const { return node().keyEnd ? decoded(node().keyBegin, node().keyEnd) : ""; }
std::string Document::Item::text() const { return is(Type::text) ? decoded(node().begin, node().end) : ""; }

std::string_view Document::Item::written() const {
  return document_->text_.substr(node().begin, node().end - node().begin);
}

zn::Value Document::Item::value() const {
  return zn::parseJson(written(), nullptr, {.allowComments = true}).value_or(zn::nil);
}

Document::Item Document::Item::firstInside() const {
  const bool holdsSome = document_ && node().next > index_ + 1;
  return holdsSome ? Item(*document_, index_ + 1) : Item();
}

Document::Item Document::Item::next(const Item& container) const {
  return node().next < container.node().next ? Item(*document_, node().next) : Item();
}

Document::Item Document::Item::operator[](std::string_view key) const {
  Item found;
  if (!is(Type::object)) return found;
  for (Item each = firstInside(); each; each = each.next(*this)) {
    if (each.key() == key) found = each;
  }
  return found;
}

Document::Item Document::Item::element(std::size_t index) const {
  Item each = is(Type::array) ? firstInside() : Item();
  for (; each && index > 0; --index) each = each.next(*this);
  return each;
}

std::vector<Document::Item> inside(const Document::Item& container) {
  std::vector<Document::Item> all;
  for (auto each = container.firstInside(); each; each = each.next(container)) all.push_back(each);
  return all;
}

}  // namespace apps::check
