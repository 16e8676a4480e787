#pragma once

#include <string_view>

#include "Apps/Check/Checker.h"

namespace apps::check {

bool isSkippedLine(std::string_view line);
void checkScenario(std::string_view text, const Options& options, Findings& findings);
void addSyntaxError(const zn::JsonError& error, Findings& findings);

}  // namespace apps::check
