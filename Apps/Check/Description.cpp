#include "Apps/Check/Description.h"

#include <algorithm>
#include <unordered_map>

#include "Apps/NearMiss.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "check_description.h"

namespace apps::check {

using zn::Value;

namespace {

std::vector<std::string> texts(const Value& array) {
  std::vector<std::string> all;
  for (const Value& each : array.elements()) all.emplace_back(each.string());
  return all;
}

KeyType typeIn(std::string_view text) {
  const std::size_t blank = std::min(text.find(' '), text.size());
  return {std::string(text.substr(0, blank)), std::string(text.substr(std::min(blank + 1, text.size())))};
}

Key keyIn(const Value& value) {
  const auto text = [&](const char* name) { return std::string(value[name].string()); };
  Key key{.name = text("key"),
          .isStrict = value["strict"].boolean(),
          .otherwise = text("otherwise"),
          .missing = text("missing"),
          .isNeededOnlyWhenSent = value["needed in"].isString(),
          .plainName = plainWord(value["key"].string()),
          .near = texts(value["near"]),
          .astray = texts(value["astray"]),
          .values = texts(value["values"]),
          .isOpen = value["open"].boolean(),
          .past = text("past"),
          .longest = value["longest"].doubleValue(),
          .example = text("example"),
          .about = text("about")};
  for (std::string& near : key.near) near = plainWord(near);
  for (const std::string& type : texts(value["is"])) key.types.push_back(typeIn(type));
  if (const Value& needed = value["needed"]) {
    key.needed = needed == Value("error") ? Finding::Severity::error : Finding::Severity::warning;
  }
  return key;
}

/// In the description's order, which a dictionary does not keep: the reference has a list of its own.
std::vector<ObjectKind> readDescription() {
  zn::JsonError error;
  const auto described = zn::parseJson(kDescription, &error, {.allowComments = true});
  if (!described) throw zn::Exception("description.json: " + error.text);
  std::vector<ObjectKind> kinds;
  for (const auto& [name, value] : described->entries()) {
    ObjectKind kind{
        std::string(name.string()), std::string(value["title"].string()), std::string(value["about"].string()), {}};
    for (const Value& key : value["keys"].elements()) kind.keys.push_back(keyIn(key));
    kinds.push_back(std::move(kind));
  }
  return kinds;
}

bool contains(const std::vector<std::string>& all, std::string_view text) {
  return std::find(all.begin(), all.end(), text) != all.end();
}

using AstrayKeys = std::unordered_multimap<std::string, Astray>;

/// By their plain names. Short ones of other spellings, such as "link", are too common to tell.
AstrayKeys readAstrayKeys() {
  constexpr std::size_t kTelling = 8;
  AstrayKeys all;
  for (const ObjectKind& home : objectKinds()) {
    for (const Key& key : home.keys) {
      if (key.astray.empty()) continue;
      all.emplace(key.plainName, Astray{&home, &key});
      for (const std::string& near : key.near) {
        if (near.size() >= kTelling && near != key.plainName) all.emplace(near, Astray{&home, &key});
      }
    }
  }
  return all;
}

}  // namespace

bool Key::takes(std::string_view type) const {
  return std::any_of(types.begin(), types.end(), [&](const KeyType& each) { return each.name == type; });
}

const Key* ObjectKind::key(std::string_view named) const {
  const auto found = std::find_if(keys.begin(), keys.end(), [&](const Key& each) { return each.name == named; });
  return found == keys.end() ? nullptr : &*found;
}

const Key* ObjectKind::nearest(std::string_view written) const {
  const std::string plain = plainWord(written);
  const auto isListed = [&](const Key& key) { return contains(key.near, plain); };
  const auto listed = std::find_if(keys.begin(), keys.end(), isListed);
  if (listed != keys.end()) return &*listed;
  const auto found =
      std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return isSlip(plain, key.plainName); });
  return found == keys.end() ? nullptr : &*found;
}

std::vector<Astray> astrayKeys(std::string_view plainName, std::string_view kind) {
  static const zn::NeverDestroyed all(readAstrayKeys());
  std::vector<Astray> found;
  const auto [first, last] = all->equal_range(std::string(plainName));
  for (auto each = first; each != last; ++each) {
    if (contains(each->second.key->astray, kind)) found.push_back(each->second);
  }
  return found;
}

const std::vector<ObjectKind>& objectKinds() {
  static const zn::NeverDestroyed all(readDescription());
  return *all;
}

const ObjectKind& objectKind(std::string_view name) {
  const auto& all = objectKinds();
  const auto found = std::find_if(all.begin(), all.end(), [&](const ObjectKind& each) { return each.name == name; });
  if (found == all.end()) throw zn::Exception("description.json has no \"" + std::string(name) + "\"");
  return *found;
}

}  // namespace apps::check
