#include "Apps/zinsim/Options.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "Apps/zinsim/Fields.h"
#include "ZNDevices/Simulator/Simulator.h"

namespace zinsim {

namespace {

void addKinds(const std::string& list, std::set<std::string>& only) {
  const auto& known = zn::effectKinds();
  for (std::size_t start = 0; start <= list.size();) {
    const std::size_t end = std::min(list.find(',', start), list.size());
    const std::string kind = list.substr(start, end - start);
    if (std::find(known.begin(), known.end(), kind) == known.end()) {
      throw UsageError("--only: there is no kind of effect \"" + kind + "\"");
    }
    only.insert(kind);
    start = end + 1;
  }
}

/// The value of an option that is written "--name value" or "--name=value".
std::optional<std::string> valueOf(const std::string& name, const std::vector<std::string>& arguments,
                                   std::size_t& index) {
  const std::string& argument = arguments[index];
  if (argument.starts_with(name + "=")) return argument.substr(name.size() + 1);
  if (argument != name) return std::nullopt;
  if (++index == arguments.size()) throw UsageError("option " + name + " needs a value");
  return arguments[index];
}

}  // namespace

Options parsedOptions(const std::vector<std::string>& arguments) {
  Options options;
  bool hasFile = false;
  bool onlyFiles = false;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string& argument = arguments[index];
    if (onlyFiles || argument == "-" || !argument.starts_with('-')) {
      if (hasFile) throw UsageError("more than one file: \"" + argument + "\"");
      hasFile = true;
      options.file = argument == "-" && !onlyFiles ? "" : argument;
      if (argument.empty()) throw UsageError("the file's name is empty");
    } else if (argument == "--") {
      onlyFiles = true;
    } else if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (const auto home = valueOf("--home", arguments, index)) {
      if (home->empty()) throw UsageError("option --home needs a folder");
      options.home = *home;
    } else if (const auto kinds = valueOf("--only", arguments, index)) {
      addKinds(*kinds, options.only);
    } else {
      throw UsageError("unknown option " + argument);
    }
  }
  return options;
}

}  // namespace zinsim
