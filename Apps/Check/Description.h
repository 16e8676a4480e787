#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Apps/Check/Check.h"

namespace apps::check {

/// A type that a key may have, such as "objects card": an array of objects that are cards.
struct KeyType {
  std::string name;
  std::string of;  ///< the kind of object, "s" or "ms"
};

/// One key of a kind of object, as description.json says.
struct Key {
  std::string name;
  std::vector<KeyType> types = {};
  bool isStrict = false;
  std::string otherwise;
  std::string missing;
  std::optional<Finding::Severity> needed = {};
  bool isNeededOnlyWhenSent = false;
  std::string plainName;
  std::vector<std::string> near;  ///< as plain words
  std::vector<std::string> astray;
  std::vector<std::string> values;
  bool isOpen = false;  ///< it may have other values, too
  std::string past;
  double longest = 0;
  std::string example;
  std::string about;

  bool takes(std::string_view type) const;
};

struct ObjectKind {
  std::string name;
  std::string title;
  std::string about;
  std::vector<Key> keys;

  const Key* key(std::string_view named) const;
  /// The one that is meant by that name, which is none of them.
  const Key* nearest(std::string_view written) const;
};

const std::vector<ObjectKind>& objectKinds();
/// The keys that are written into objects of that kind by mistake and cannot be anything else, with where they belong.
struct Astray {
  const ObjectKind* home;
  const Key* key;
};
std::vector<Astray> astrayKeys(std::string_view plainName, std::string_view kind);
const ObjectKind& objectKind(std::string_view name);

/// docs/payload.md or docs/campaign.md; nothing for other kinds.
std::optional<std::string> reference(Kind kind);

}  // namespace apps::check
