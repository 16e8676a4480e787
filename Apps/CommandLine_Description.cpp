// A program's help in the forms that are installed beside it: the man page, and bash's completion.

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <sstream>

#include "Apps/CommandLine.h"

namespace apps {

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t kIndent = 2;  // of the help's sections

Lines linesOf(const std::string& text) {
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// The text as roff prints it, without line ends.
std::string roff(std::string_view text) {
  std::string result;
  for (const char each : text) {
    switch (each) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += "\\-";
        break;
      case '\'':
        result += "\\(aq";
        break;
      case '"':
        result += "\\(dq";
        break;
      case '`':
        result += "\\(ga";
        break;
      case '^':
        result += "\\(ha";
        break;
      case '~':
        result += "\\(ti";
        break;
      case '.':
        result += result.empty() ? "\\&." : ".";
        break;  // else it were a request
      case '\n':
        result += ' ';
        break;
      default:
        result += each;
    }
  }
  return result;
}

std::size_t indentOf(const std::string& line) { return line.find_first_not_of(' '); }

/// Where the second column begins in a line of two.
std::optional<std::size_t> secondColumn(const std::string& line) {
  const std::size_t gap = line.find("  ", indentOf(line));
  if (gap == std::string::npos) return std::nullopt;
  const std::size_t column = line.find_first_not_of(' ', gap);
  if (line.find("  ", column) != std::string::npos) return std::nullopt;
  return column;
}

bool isProse(const std::string& line) {
  return indentOf(line) == kIndent && line[kIndent] != '$' && line[kIndent] != '{' &&
         line.find("  ", kIndent) == std::string::npos;
}

/// Lines without a blank one between them, if they are nothing but prose and lists of what means what: the terminal
/// lays these out.
std::optional<std::string> flowing(const Lines& block) {
  std::string result;
  for (std::size_t at = 0; at < block.size();) {
    if (isProse(block[at])) {
      result += ".PP\n";
      for (; at < block.size() && isProse(block[at]); ++at) result += roff(block[at].substr(kIndent)) + "\n";
      continue;
    }
    const auto column = secondColumn(block[at]);
    if (!column) return std::nullopt;
    const std::size_t indent = indentOf(block[at]);
    const std::string term = block[at].substr(indent, block[at].find("  ", indent) - indent);
    result += ".TP\n" + roff(term) + "\n" + roff(block[at].substr(*column)) + "\n";
    while (++at < block.size() && indentOf(block[at]) == *column &&
           block[at].find("  ", *column) == std::string::npos) {
      result += roff(block[at].substr(*column)) + "\n";
    }
  }
  return result;
}

std::string asItStands(const Lines& block) {
  std::string result = ".PP\n.nf\n";
  for (const std::string& line : block) {
    const bool isIndented = line.starts_with("  ");
    result += roff(isIndented ? line.substr(kIndent) : line) + "\n";
  }
  return result + ".fi\n";
}

/// The help's own sections: what is not indented is a heading.
std::string sections(const std::string& text) {
  std::string result;
  Lines block;
  const auto endBlock = [&] {
    if (!block.empty()) result += flowing(block).value_or(asItStands(block));
    block.clear();
  };
  for (const std::string& line : linesOf(text)) {
    if (line.empty() || indentOf(line) == 0) endBlock();
    if (line.empty()) continue;
    if (indentOf(line) == 0) {
      result += ".SH " + roff(line) + "\n";
    } else {
      block.push_back(line);
    }
  }
  endBlock();
  return result;
}

std::string inCapitals(std::string text) {
  for (char& each : text) each = each >= 'a' && each <= 'z' ? static_cast<char>(each - 'a' + 'A') : each;
  return text;
}

std::string names(const CLI::Option& option) { return option.get_name(option.get_positional(), true); }

/// What the help calls an option's value; empty where it has none.
std::string valueOf(const CLI::Option& option) {
  const std::string& text = option.get_option_text();
  return text == " " || option.get_type_size() == 0 ? "" : text;
}

std::string entry(const CLI::Option& option) {
  const std::string value = valueOf(option);
  return ".TP\n\\fB" + roff(CLI::detail::find_and_replace(names(option), ",", ", ")) + "\\fR" +
         (value.empty() ? "" : " \\fI" + roff(value) + "\\fR") + "\n" + roff(option.get_description()) + "\n";
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app, bool positional) {
  return app.get_options([positional](const CLI::Option* option) { return option->get_positional() == positional; });
}

}  // namespace

std::string CommandLine::manPage() const {
  const std::string name = app_->get_name();
  const std::string about = app_->get_description();
  const std::size_t firstLine = about.find('\n');
  const std::string title = about.substr(0, firstLine);
  std::string page = ".TH " + inCapitals(name) + " 1 \"\" \"ZNMessaging " ZN_VERSION "\" \"User Commands\"\n.nh\n.ad l\n";
  page += ".SH NAME\n" + name + " \\- " + roff(title.substr(title.find(": ") + 2)) + "\n";
  page += ".SH SYNOPSIS\n\\fB" + name + "\\fR [\\fIOPTION\\fR]...";
  for (const CLI::Option* option : optionsOf(*app_, true)) page += " [\\fI" + roff(names(*option)) + "\\fR]";
  page += "\n";
  if (firstLine != std::string::npos && about.find_first_not_of('\n', firstLine) != std::string::npos) {
    page += ".SH DESCRIPTION\n" + sections(about.substr(firstLine));
  }
  page += ".SH OPTIONS\n";
  for (const bool positional : {true, false}) {
    for (const CLI::Option* option : optionsOf(*app_, positional)) page += entry(*option);
  }
  return page + sections(app_->get_footer());
}

std::string CommandLine::completion() const {
  const std::string name = app_->get_name();
  std::string all;
  std::string cases;
  for (const CLI::Option* option : optionsOf(*app_, false)) {
    for (const std::string& each : option->get_lnames()) {
      all += (all.empty() ? "--" : " --") + each;
      const std::string value = valueOf(*option);
      if (value.empty()) continue;
      const bool isChoice = value.find('|') != std::string::npos;
      const std::string what = isChoice ? "-W '" + CLI::detail::find_and_replace(value, "|", " ") + "'"
                                        : std::string(value == "DIR" ? "-d" : "-f");
      cases += "    --" + each + ") what=(" + what + ") ;;\n";
    }
  }
  return "# bash completion of " + name + "\n_" + name + R"(() {
  local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} what=()
  if [[ $word == '=' ]]; then
    word=
  elif [[ $option == '=' ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $option in
)" + cases +
         R"(  esac
  if ((${#what[@]} == 0)); then
    if [[ $word == -* ]]; then what=(-W ')" +
         all + R"('); else what=(-f); fi
  fi
  [[ ${what[0]} == -W ]] || compopt -o filenames
  mapfile -t COMPREPLY < <(compgen "${what[@]}" -- "$word")
}
complete -F _)" +
         name + " " + name + "\n";
}

}  // namespace apps
