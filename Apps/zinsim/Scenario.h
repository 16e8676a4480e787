#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Apps/zinsim/Session.h"

namespace zinsim {

/// Runs one line of a scenario to its end: the command, then everything that is due afterwards. Blank lines and lines
/// that start with '#' do nothing. Throws UsageError, before anything is done, for a line that cannot be used; what it
/// ignores goes to `warn`.
void runLine(std::string_view line, Session& session, const std::function<void(const std::string&)>& warn);

}  // namespace zinsim
