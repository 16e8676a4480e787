#include "Platform/Foundation/XmlPropertyListScan.h"

#include <algorithm>
#include <array>
#include <vector>

#include "Platform/Foundation/Value.h"

namespace zn {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::array<std::string_view, 3> kContainers{"plist", "dict", "array"};
constexpr std::array<std::string_view, 8> kLeaves{"key", "string", "integer", "real", "date", "data", "true", "false"};

bool contains(std::span<const std::string_view> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

class XmlScan {
 public:
  explicit XmlScan(std::string_view text) : text_(text) {}

  std::string run() {
    for (at_ = text_.find('<'); at_ != std::string_view::npos; at_ = text_.find('<', at_)) {
      const char* problem = markup();
      if (problem) return std::string(problem) + " (at byte " + std::to_string(at_) + ")";
    }
    if (!open_.empty()) return "the element " + std::string(open_.back()) + " is not closed";
    return {};
  }

 private:
  /// Steps over what begins with '<'.
  const char* markup() {
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with("<!--")) return skipTo("-->", 4);
    if (rest.starts_with("<![CDATA[")) return isInLeaf() ? skipTo("]]>", 9) : "text outside of a string";
    if (isInLeaf() && !rest.starts_with("</")) return "markup inside of a text";
    if (rest.starts_with("<?")) return skipTo("?>", 2);
    if (rest.starts_with("<!DOCTYPE")) return documentType();
    if (rest.starts_with("<!")) return "a definition of a kind that property lists do not have";
    return rest.starts_with("</") ? closingTag() : openingTag();
  }

  bool isInLeaf() const { return !open_.empty() && contains(kLeaves, open_.back()); }

  const char* skipTo(std::string_view end, std::size_t from) {
    const auto found = text_.find(end, at_ + from);
    if (found == std::string_view::npos) return "markup that does not end";
    at_ = found + end.size();
    return nullptr;
  }

  const char* documentType() {
    const auto end = text_.find_first_of("[>", at_);
    if (end == std::string_view::npos || text_[end] == '[') return "a document type that defines something";
    at_ = end + 1;
    return nullptr;
  }

  const char* closingTag() {
    const auto end = text_.find('>', at_);
    if (end == std::string_view::npos) return "markup that does not end";
    std::string_view name = text_.substr(at_ + 2, end - at_ - 2);
    name = name.substr(0, name.find_last_not_of(kBlanks) + 1);
    if (open_.empty() || open_.back() != name) return "an element closed that was not open";
    open_.pop_back();
    at_ = end + 1;
    return nullptr;
  }

  const char* openingTag() {
    const auto end = text_.find('>', at_ + 1);
    if (end == std::string_view::npos) return "markup that does not end";
    std::string_view tag = text_.substr(at_ + 1, end - at_ - 1);
    const bool isEmpty = tag.ends_with('/');
    if (isEmpty) tag.remove_suffix(1);
    const std::string_view name = tag.substr(0, tag.find_first_of(kBlanks));
    const bool hasAttributes = tag.find_first_not_of(kBlanks, name.size()) != std::string_view::npos;
    if (!contains(kContainers, name) && !contains(kLeaves, name)) return "an element that property lists do not have";
    if (hasAttributes && (name != "plist" || tag.find('<') != std::string_view::npos)) return "an unknown attribute";
    if (!isEmpty) {
      if (open_.size() > static_cast<std::size_t>(Value::maximumReadDepth)) {  // plist itself is no level
        if (!contains(kLeaves, name)) return "containers that nest too deep";
      }
      open_.push_back(name);
    }
    at_ = end + 1;
    return nullptr;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<std::string_view> open_;
};

}  // namespace

std::string problemOfXmlPropertyList(std::string_view text) { return XmlScan(text).run(); }

}  // namespace zn
