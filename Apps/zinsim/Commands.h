#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Apps/Check/Check.h"
#include "Apps/zinsim/Session.h"
#include "Apps/zinsim/Shapes.h"

namespace zinsim {

enum Need { required, optional };

/// One field of a command.
struct Field {
  const char* name;
  Need need;
  Shape shape;
  std::vector<const char*> choices{};  ///< the texts that it may be; empty: any
};

/// The texts that a field may be, for messages.
std::string choicesText(const Field& field);

/// The fields of one line, checked against what its command takes.
class Fields {
 public:
  /// Throws UsageError for a field that is missing or of a wrong type. null counts as absent where a field may be.
  /// Fields that the command does not know are left out.
  Fields(std::string_view command, const std::vector<Field>& known, const zn::Value& line, Session& session);

  Session& session() const { return session_; }
  zn::Simulator& device() const { return session_.device(); }

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
  Session& session_;
  zn::Value line_;
  std::vector<std::string> ignored_;
};

using F = const Fields&;

/// One command of a scenario. A new command is one more entry in its group's table.
struct Command {
  const char* name;
  std::vector<Field> fields;
  const char* about;  ///< for the help text, lines separated by line feeds
  void (*run)(F fields);
};

inline Command command(const char* name, std::vector<Field> fields, const char* about, void (*run)(F)) {
  return {name, std::move(fields), about, run};
}

/// What is said of a field that the command does not know.
std::string unknownField(const Command& command, const std::string& name);

std::vector<Command> deviceCommands();
std::vector<Command> fileCommands();
std::vector<Command> hostCommands();
std::vector<Command> inboxScreenCommands();
std::vector<Command> checkCommands();

const std::vector<Command>& allCommands();

/// What this program would refuse in a line, or ignore with a warning, without running it: what depends on what ran
/// before is not known.
std::vector<apps::check::LineProblem> problemsIn(const zn::Value& line);

/// The command that a line names; throws UsageError where it names none.
const Command& commandIn(const zn::Value& line);
/// The command of that name; throws UsageError where there is none.
const Command& commandNamed(std::string_view name);

}  // namespace zinsim
