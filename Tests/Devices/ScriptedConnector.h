#pragma once

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "Tests/Devices/ScriptedParty.h"
#include "Tests/Support/Awaited.h"

namespace zn::test {

/// An application as a distributor sees it, which records how it is called and answers as it is told to.
class ScriptedConnector final : private ScriptedParty {
 public:
  enum class Manner { answers, fails, answersWithoutID, hangs };

  ScriptedConnector(const std::string& address, std::string name) : ScriptedParty(address, std::move(name)) {
    appear();
  }
  ~ScriptedConnector() override { bus_.stop(); }

  /// {"call": MEMBER, "version": 1 or 2, "token": …, and "endpoint", or "message" (data) and "id"}
  Awaited<Value> calls;
  std::atomic<Manner> manner = Manner::answers;

  /// The distributor's answer: {"success": …}, with its "reason"; {"error": NAME} where it fails.
  Value registerWith(int version, const std::string& token, double patience = 60) {
    return ask(version, "Register", token, patience);
  }
  void unregister(int version, const std::string& token) { ask(version, "Unregister", token, 60); }

 private:
  static constexpr const char* kConnector[] = {"org.unifiedpush.Connector1", "org.unifiedpush.Connector2"};
  static constexpr const char* kPath = "/org/unifiedpush/Connector";

  void exportObjects() override {
    const auto text = [](BusCall& call) { return Value(call.arguments().readString()); };
    bus_.exportMethods(kPath, kConnector[0],
                       {{"Message", "says", "",
                         [this, text](BusCall call) {
                           const Value token = text(call);
                           const Value message = Value::data(call.arguments().readBytes());
                           answer(1, "Message", call, {{"token", token}, {"message", message}, {"id", text(call)}});
                         }},
                        {"NewEndpoint", "ss", "",
                         [this, text](BusCall call) {
                           const Value token = text(call);
                           answer(1, "NewEndpoint", call, {{"token", token}, {"endpoint", text(call)}});
                         }},
                        {"Unregistered", "s", "", [this, text](BusCall call) {
                           answer(1, "Unregistered", call, {{"token", text(call)}});
                         }}});
    std::vector<BusMethod> methods;
    for (const char* member : {"Message", "NewEndpoint", "Unregistered"}) {
      methods.push_back({member, "a{sv}", "a{sv}",
                         [this, member](BusCall call) { answer(2, member, call, call.arguments().readValue()); }});
    }
    bus_.exportMethods(kPath, kConnector[1], methods);
  }

  using Entries = std::initializer_list<std::pair<std::string_view, Value>>;
  void answer(int version, const char* member, BusCall call, Entries arguments) {
    answer(version, member, std::move(call), Value::dictionary(arguments));
  }
  void answer(int version, const char* member, BusCall call, Value arguments) {
    const Value id = arguments["id"];
    arguments.setObjectNilHandled(member, "call");
    arguments.setObjectNilHandled(version, "version");
    const Manner how = manner;  // a test that hears of this call may change it for the next
    calls.add(arguments);
    if (how == Manner::hangs) return held_.push_back(std::move(call));
    if (how == Manner::fails) return call.fail("org.example.Error", "as asked for");
    call.answer([&](BusMessage& answer) {
      const bool hasID = how == Manner::answers && !id.isNil();
      if (version == 2) answer.appendDictionary(hasID ? Value::dictionary({{"id", id}}) : Value::dictionary());
    });
  }

  Value ask(int version, const char* member, const std::string& token, double patience) {
    std::promise<Value> answered;
    bus_.perform([&] {
      BusMessage call =
          bus_.makeCall("org.unifiedpush.Distributor.zindistributor", "/org/unifiedpush/Distributor",
                        version == 1 ? "org.unifiedpush.Distributor1" : "org.unifiedpush.Distributor2", member);
      if (version == 2) {
        call.appendDictionary(Value::dictionary({{"service", name_}, {"token", token}}));
      } else {
        if (std::string_view(member) == "Register") call.append("s", name_.c_str());
        call.append("s", token.c_str());
        if (std::string_view(member) == "Register") call.append("s", "for a test");
      }
      bus_.call(call, patience, [&answered, version](BusMessage& answer, const std::string& error) {
        if (!error.empty()) return answered.set_value(Value::dictionary({{"error", error}}));
        if (version == 2) return answered.set_value(answer.readValue());
        const Value success = answer.readValue();
        answered.set_value(Value::dictionary({{"success", success}, {"reason", answer.readValue()}}));
      });
    });
    return answered.get_future().get();
  }

  std::vector<BusCall> held_;  // the bus's thread
};

}  // namespace zn::test
