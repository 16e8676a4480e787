#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "Tests/Devices/ScriptedParty.h"
#include "Tests/Support/Awaited.h"

namespace zn::test {

/// A notification server that can do what it is told to, and records what it is asked for.
class ScriptedServer final : private ScriptedParty {
 public:
  enum class Manner { answers, hangs };

  ScriptedServer(const std::string& address, std::vector<std::string> capabilities, Manner how = Manner::answers)
      : ScriptedParty(address, "org.freedesktop.Notifications"), manner(how), capabilities_(std::move(capabilities)) {
    appear();
  }
  ~ScriptedServer() override { bus_.stop(); }

  /// What Notify was called with: {"id" (as answered), "replaces", "title", "body", "actions", "hints"}
  Awaited<Value> shown;
  Awaited<std::int64_t> closed;  ///< by CloseNotification
  std::atomic<Manner> manner;

  void click(const Value& notification, const std::string& action) {
    signal("ActionInvoked", notification, [action](BusMessage& signal) { signal.append("s", action.c_str()); });
  }
  /// 1: it expired, 2: the user dismissed it, 3: it was closed by a call.
  void close(const Value& notification, unsigned reason) {
    signal("NotificationClosed", notification, [reason](BusMessage& signal) { signal.append("u", reason); });
  }

 private:
  static constexpr const char* kPath = "/org/freedesktop/Notifications";

  void exportObjects() override {
    bus_.exportMethods(
        kPath, name_.c_str(),
        {{"GetCapabilities", "", "as",
          [this](BusCall call) {
            if (manner == Manner::hangs) return held_.push_back(std::move(call));
            call.answer([this](BusMessage& answer) {
              answer.container('a', "s", [&] {
                for (const std::string& each : capabilities_) answer.append("s", each.c_str());
              });
            });
          }},
         {"GetServerInformation", "", "ssss",
          [](BusCall call) {
            call.answer([](BusMessage& answer) { answer.append("ssss", "scripted", "tests", "1", "1.2"); });
          }},
         {"CloseNotification", "u", "",
          [this](BusCall call) {
            closed.add(call.arguments().readValue().integer());
            call.answer();
          }},
         {"Notify", "susssasa{sv}i", "u", [this](BusCall call) { notify(std::move(call)); }}});
  }

  void notify(BusCall call) {
    BusMessage& arguments = call.arguments();
    arguments.readString();
    const std::int64_t replaced = arguments.readValue().integer();
    arguments.readString();
    const std::string title = arguments.readString();
    const std::string body = arguments.readString();
    const Value actions = arguments.readValue();
    const std::int64_t id = replaced ? replaced : ++last_;
    const bool isHanging = manner == Manner::hangs;
    if (!isHanging) call.answer([id](BusMessage& answer) { answer.append("u", static_cast<std::uint32_t>(id)); });
    shown.add(Value::dictionary({{"id", id},
                                 {"replaces", replaced},
                                 {"title", title},
                                 {"body", body},
                                 {"actions", actions},
                                 {"hints", arguments.readValue()}}));
    if (isHanging) held_.push_back(std::move(call));
  }

  void signal(const char* member, const Value& notification, const std::function<void(BusMessage&)>& fill) {
    bus_.perform([this, member, id = notification["id"].integer(), fill] {
      BusMessage message = bus_.makeSignal(kPath, name_.c_str(), member);
      message.append("u", static_cast<std::uint32_t>(id));
      fill(message);
      bus_.send(message);
    });
  }

  const std::vector<std::string> capabilities_;
  std::vector<BusCall> held_;  // this and the next are the bus's thread's
  std::int64_t last_ = 0;
};

}  // namespace zn::test
