// This and CommandLine_Description.cpp alone include the library for command lines, which takes seconds to compile.

#include "Apps/CommandLine.h"

#include <errno.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdio>
#include <cstring>
#include <vector>

namespace apps {

namespace {

std::string called(const std::string& name) { return name.starts_with('-') ? "option " + name : name; }

/// The library takes the next argument for the value that is missing here.
void checkForMissingValues(int count, char** arguments) {
  for (int index = 1; index < count; ++index) {
    const std::string argument = arguments[index];
    if (argument == "--") return;
    if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
      throw UsageError(called(argument.substr(0, argument.size() - 1)) + " needs a value");
    }
  }
}

std::string reason(const CLI::Error& problem, const CLI::App& app) {
  const auto unexpected = app.remaining();
  if (!unexpected.empty()) {
    const std::string& argument = unexpected.front();
    if (argument.starts_with('-')) return "unknown option " + argument;
    const auto isFile = [](const CLI::Option* option) { return option->get_positional(); };
    return (app.get_options(isFile).empty() ? "unknown argument \"" : "more than one file: \"") + argument + "\"";
  }
  const std::string text = problem.what();
  const std::string option = called(text.substr(0, text.find_first_of(": ")));  // it begins with the name
  if (problem.get_name() == "RequiredError") return option + " is needed";
  if (problem.get_name() == "ArgumentMismatch") return option + " needs a value";
  return text;
}

std::string nameIn(const std::string& spec) { return spec.substr(0, spec.find(' ')); }

CLI::Option* explain(CLI::Option& option, const std::string& spec) {
  const std::string name = nameIn(spec);
  const auto refuseEmpty = [name](const std::string& text) {
    if (text.empty()) throw UsageError(called(name) + " needs a value");
    return std::string();
  };
  return option.option_text(spec == name ? " " : spec.substr(name.size() + 1))->check(refuseEmpty);
}

}  // namespace

int complain(const std::string& text, int status) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, text.c_str());
  return status;
}

int wrongUsage(const std::string& text) {
  return complain(text + "\nTry '" + program_invocation_short_name + " --help' for more information.", kUnusable);
}

int finishOutput() {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return 0;
  return complain(std::string("standard output: ") + std::strerror(errno), kFailed);
}

CommandLine::CommandLine(const std::string& about, std::function<std::string()> more)
    : app_(std::make_unique<CLI::App>(about, program_invocation_short_name)) {
  constexpr std::size_t kColumn = 20;
  const auto formatter = std::make_shared<CLI::Formatter>();
  formatter->column_width(kColumn);
  formatter->label("Usage", "USAGE");
  formatter->label("Positionals", "ARGUMENTS");
  app_->formatter(formatter);
  app_->footer(std::move(more));
  app_->option_defaults()->group("OPTIONS")->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_->set_help_flag("-h,--help", "Print this text.")->group("OPTIONS");
}

CommandLine::~CommandLine() = default;

void CommandLine::text(const std::string& spec, const std::string& about, std::string& into, Need need) {
  explain(*app_->add_option(nameIn(spec), into, about), spec)->required(need == Need::required);
}

void CommandLine::number(const std::string& spec, const std::string& about, int& into, int lowest, int highest) {
  explain(*app_->add_option(nameIn(spec), into, about), spec)->check(CLI::Range(lowest, highest));
}

void CommandLine::flag(const std::string& spec, const std::string& about, bool& into) {
  app_->add_flag(spec, into, about);
}

void CommandLine::pair(const std::string& spec, const std::string& about, std::pair<std::string, std::string>& into) {
  explain(*app_->add_option(nameIn(spec), into, about), spec);
}

void CommandLine::each(const std::string& spec, const std::string& about, Take take, char separator) {
  const auto takeAll = [take = std::move(take)](const std::vector<std::string>& values) {
    for (const std::string& value : values) take(value);
  };
  explain(*app_->add_option_function<std::vector<std::string>>(nameIn(spec), takeAll, about), spec)
      ->delimiter(separator)
      ->allow_extra_args(!spec.starts_with('-'))  // several without a name follow one another
      ->trigger_on_parse();
}

void CommandLine::check(std::function<void()> check) { app_->final_callback(std::move(check)); }

std::optional<int> CommandLine::read(int count, char** arguments) {
  try {
    if (count == 3 && arguments[1] == std::string("--describe")) {
      const std::string form = arguments[2];
      if (form != "man" && form != "bash") return wrongUsage("--describe takes \"man\" or \"bash\"");
      std::fputs((form == "man" ? manPage() : completion()).c_str(), stdout);
      return finishOutput();
    }
    checkForMissingValues(count, arguments);
    app_->parse(count, arguments);
    return std::nullopt;
  } catch (const CLI::CallForHelp&) {
    std::string help = app_->help();
    help.erase(help.find_last_not_of('\n') + 1);
    std::puts(help.c_str());
    return finishOutput();
  } catch (const UsageError& problem) {
    return wrongUsage(problem.what());
  } catch (const CLI::Error& problem) {
    return wrongUsage(reason(problem, *app_));
  }
}

}  // namespace apps
