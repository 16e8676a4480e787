#include "Apps/zinsim/Commands.h"

#include <algorithm>
#include <string>

namespace zinsim {

const Command& commandNamed(std::string_view name) {
  const auto hasName = [&](const auto& command) { return name == command.name; };
  for (const auto* table : {&deviceCommands(), &fileCommands(), &hostCommands(), &inboxScreenCommands()}) {
    const auto found = std::find_if(table->begin(), table->end(), hasName);
    if (found != table->end()) return *found;
  }
  throw UsageError("unknown command \"" + std::string(name) + "\"");
}

}  // namespace zinsim
