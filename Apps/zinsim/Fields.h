#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Apps/CommandLine.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinsim {

using apps::UsageError;

/// What a value must be.
struct Shape {
  bool (*fits)(const zn::Value& value);
  const char* expected;
};

namespace shape {
extern const Shape anything;
extern const Shape boolean;
extern const Shape number;
extern const Shape integer;
extern const Shape text;
extern const Shape name;  ///< a text that is not empty
extern const Shape texts;
extern const Shape array;
extern const Shape dictionary;
extern const Shape booleanOrText;
// Or null.
extern const Shape nameOrNull;
extern const Shape textOrNull;
extern const Shape textsOrNull;
extern const Shape dictionaryOrNull;
}  // namespace shape

enum class Need { required, optional };

/// One field of a command.
struct Field {
  const char* name;
  Need need;
  Shape shape;
  std::vector<const char*> choices{};  ///< the texts that it may be; empty: any
};

/// The fields of one line, checked against what its command takes.
class Fields {
 public:
  /// Throws UsageError for a field that is missing or of a wrong type. null counts as absent where a field may be.
  /// Fields that the command does not know are left out.
  Fields(std::string_view command, const std::vector<Field>& known, const zn::Value& line);

  /// The field as it stands in the line; nil when it is absent.
  const zn::Value& operator[](std::string_view name) const { return line_[name]; }
  /// nil for an absent field and for null.
  zn::Value orNil(std::string_view name) const { return line_.validObjectForKey(name); }
  std::string text(std::string_view name, std::string_view otherwise = "") const;
  bool boolean(std::string_view name, bool otherwise) const;
  double number(std::string_view name) const { return line_[name].doubleValue(); }
  long integer(std::string_view name) const { return static_cast<long>(line_[name].longLongValue()); }
  std::vector<std::string> texts(std::string_view name) const;
  const zn::Value& line() const { return line_; }
  /// Unknown fields, but for the writer's own: those named "comment" or beginning with '_'.
  const std::vector<std::string>& ignored() const { return ignored_; }

 private:
  zn::Value line_;
  std::vector<std::string> ignored_;
};

/// A value for a message, shortened.
std::string shown(const zn::Value& value);

}  // namespace zinsim
