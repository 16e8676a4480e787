#pragma once

#include <memory>
#include <string>

#include "Tests/Support/PrivateSession.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zn::test {

/// desktop_host, an application with one home for all its starts.
class HostProcess {
 public:
  explicit HostProcess(const PrivateSession& session) : session_(session) {}

  void start() {
    std::vector<std::string> command = launcher;
    command.insert(command.end(), {ZN_DESKTOP_HOST, home()});
    command.insert(command.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<Process>(command, session_.environment());
    told("ready");
  }
  std::vector<std::string> arguments;  ///< more of them
  std::vector<std::string> launcher;   ///< what it is started with, such as a sandbox
  /// As it ends by itself; the exit status.
  int end() {
    process_->endInput();
    const int status = process_->end(0);
    process_.reset();
    return status;
  }
  void kill() { process_.reset(); }
  bool isRunning() const { return process_ != nullptr; }
  std::string home() const { return session_.path("home/host"); }

  void run(const std::string& command) { process_->say(command); }
  /// The next event of that kind; nil where none comes. Those before it are gone.
  Value told(const std::string& event) {
    return parseJson(process_->lineWith("\"event\":\"" + event + "\"")).value_or(nil);
  }
  bool tellsOf(const std::string& text) { return !process_->lineWith(text).empty(); }
  /// Runs a command without arguments, and returns the event that it leads to.
  Value ask(const std::string& name, const std::string& event) {
    run(R"({"do": ")" + name + "\"}");
    return told(event);
  }
  Value ask(const std::string& name) { return ask(name, name); }

 private:
  const PrivateSession& session_;
  std::unique_ptr<Process> process_;
};

}  // namespace zn::test
