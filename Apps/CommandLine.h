#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace CLI {
class App;
}  // namespace CLI

namespace apps {

// Exit statuses of all programs here.
constexpr int kFailed = 1;
constexpr int kUnusable = 2;

/// An option, or a line of input, that cannot be used: the program ends with kUnusable.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Says on standard error what went wrong, after all that was printed so far. Returns `status`.
int complain(const std::string& text, int status);

/// The same with a hint at --help. Returns kUnusable.
int wrongUsage(const std::string& text);

/// Sees to it that all that was printed is written. Returns the exit status: 0, or kFailed after a complaint.
int finishOutput();

/// The options of a program. A `spec` is an option's name and what the help calls its value, such as "--home DIR"; the
/// one without dashes is the argument that needs no name. A value is never empty.
class CommandLine {
 public:
  /// `about` says what the program does; `more` makes what follows the options in the help.
  CommandLine(const std::string& about, std::function<std::string()> more);
  ~CommandLine();

  enum class Need { optional, required };

  // Of what is given more than once the last one counts.
  void text(const std::string& spec, const std::string& about, std::string& into, Need need = Need::optional);
  void number(const std::string& spec, const std::string& about, int& into, int lowest, int highest);
  void flag(const std::string& spec, const std::string& about, bool& into);  ///< has no value
  void pair(const std::string& spec, const std::string& about, std::pair<std::string, std::string>& into);
  using Take = std::function<void(const std::string&)>;
  /// Takes each value when it is met; may throw UsageError. `separator`: stands between several values in one.
  void each(const std::string& spec, const std::string& about, Take take, char separator = '\0');
  /// Runs when everything was read; may throw UsageError.
  void check(std::function<void()> check);

  /// Nothing where the program shall go on, its exit status where it shall end: the help was printed, or an option
  /// cannot be used, which standard error says. "--describe man" and "--describe bash" alone print the man page and the
  /// shell's completion, which are made so when the programs are built.
  std::optional<int> read(int count, char** arguments);

 private:
  std::string manPage() const;
  std::string completion() const;

  std::unique_ptr<CLI::App> app_;
};

}  // namespace apps
