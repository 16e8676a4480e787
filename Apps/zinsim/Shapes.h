#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "Apps/CommandLine.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinsim {

using apps::UsageError;

/// What a value must be: a field of a command, or an argument of a call.
struct Shape {
  bool (*fits)(const zn::Value& value);
  const char* expected;
};

namespace shape {
extern const Shape anything;
extern const Shape nothing;  ///< null: stands for an object that cannot be written
extern const Shape boolean;
extern const Shape number;
extern const Shape integer;
extern const Shape text;
extern const Shape name;  ///< a text that is not empty
extern const Shape texts;
extern const Shape array;
extern const Shape dictionary;
extern const Shape booleanOrText;
extern const Shape nameOrNull;
extern const Shape textOrNull;
extern const Shape textsOrNull;
extern const Shape dictionaryOrNull;
// Of arguments only.
extern const Shape application;   ///< "application"
extern const Shape center;        ///< "center"
extern const Shape completion;    ///< "completion"
extern const Shape object;        ///< the class name of a host object, or "center"
extern const Shape token;         ///< {"$data": "HEX"}
extern const Shape notification;  ///< {"payload": …}
extern const Shape response;      ///< {"payload": …, "action": …}
extern const Shape categories;  ///< an array of {"identifier": …, "actions": [{"identifier": …, "title": …}]}; another
                                ///< element stands for something that is no category
extern const Shape campaign;   ///< a stored campaign's id, or a campaign as the server sends it
extern const Shape campaigns;  ///< an array of either
extern const Shape container;  ///< what device triggers keep, as `archive` takes its root
extern const Shape request;    ///< a notification request, as its effect is printed
extern const Shape postInfo;   ///< {"campaign": …, "payload": …, "isOffline": …}
}  // namespace shape

/// A value for a message, shortened.
std::string shown(const zn::Value& value);

[[noreturn]] void refuse(const std::string& what, const std::string& expected, const zn::Value& value);

/// One table of several parts.
template <class Entry>
std::vector<Entry> joined(std::initializer_list<std::vector<Entry>> parts) {
  std::vector<Entry> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

}  // namespace zinsim
