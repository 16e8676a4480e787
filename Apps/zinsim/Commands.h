#pragma once

#include <string_view>
#include <vector>

#include "Apps/zinsim/Fields.h"
#include "Apps/zinsim/Session.h"

namespace zinsim {

/// One command of a scenario. A new command is one more entry in its group's table.
struct Command {
  const char* name;
  std::vector<Field> fields;
  const char* about;  ///< for the help text, lines separated by line feeds
  void (*run)(const Fields& fields, Session& session);
};

const std::vector<Command>& deviceCommands();
const std::vector<Command>& fileCommands();
const std::vector<Command>& hostCommands();
const std::vector<Command>& inboxScreenCommands();

/// The command of that name; throws UsageError where there is none.
const Command& commandNamed(std::string_view name);

}  // namespace zinsim
