#pragma once

#include <string>
#include <vector>

namespace zinstory {

/// Path of a program of this project, which stands beside this one. Throws zn::Exception when it cannot be run.
std::string programBeside(const std::string& name);

/// Runs such a program with one line on its standard input and waits for its end. Throws zn::Exception when it fails.
void feedProgram(const std::string& name, const std::vector<std::string>& arguments, const std::string& line);

}  // namespace zinstory
