#include "Apps/zindistributor/Distributor.h"

#include <cstdio>
#include <utility>

#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zindistributor {

using zn::BusCall;
using zn::BusMessage;
using zn::Value;

namespace {

constexpr const char* kPath = "/org/unifiedpush/Distributor";
constexpr const char* kSucceeded = "REGISTRATION_SUCCEEDED";
constexpr const char* kFailed = "REGISTRATION_FAILED";

}  // namespace

std::string busName(const Options& options) { return "org.unifiedpush.Distributor." + options.name; }

Distributor::Distributor(zn::Device& device, const Options& options, std::string address)
    : device_(device),
      options_(options),
      address_(std::move(address)),
      faults_(options.faults),
      store_(options.folder),
      bus_(device, "") {}

void Distributor::connected() {
  if (options_.onlyVersion != 1) exportVersion2();
  if (options_.onlyVersion != 2) exportVersion1();
  const std::string name = busName(options_);
  bus_.requestName(name, [this, name](bool isOurs) {
    log(isOurs ? "on the bus" : "its name on the bus is taken", Value::dictionary({{"name", name}}));
  });
  for (const auto& [token, each] : store_.registrations()) {
    watch(each->service);
    deliver(each);
  }
}

void Distributor::disconnected() {
  watched_.clear();
  log("off the bus", Value::dictionary());
}

void Distributor::exportVersion1() {
  bus_.exportMethods(kPath, "org.unifiedpush.Distributor1",
                     {{"Register", "sss", "ss",
                       [this](BusCall call) {
                         BusMessage& arguments = call.arguments();
                         const std::string service = arguments.readString();
                         const std::string token = arguments.readString();
                         // The endpoint follows in a call of its own, also for one that is registered already.
                         registerService(
                             {1, service, token}, [call](const char* result, const std::string& reason) mutable {
                               const char* const told = result == kSucceeded ? "NEW_ENDPOINT" : result;
                               call.answer([&](BusMessage& answer) { answer.append("ss", told, reason.c_str()); });
                             });
                       }},
                      {"Unregister", "s", "", [this](BusCall call) {
                         unregister(call.arguments().readString());
                         call.answer();
                       }}});
}

void Distributor::exportVersion2() {
  const auto text = [](const Value& arguments, const char* key) { return std::string(arguments[key].string()); };
  bus_.exportMethods(kPath, "org.unifiedpush.Distributor2",
                     {{"Register", "a{sv}", "a{sv}",
                       [this, text](BusCall call) {
                         const Value arguments = call.arguments().readValue();
                         registerService(
                             {2, text(arguments, "service"), text(arguments, "token"), text(arguments, "vapid")},
                             [call](const char* result, const std::string& reason) mutable {
                               Value told = Value::dictionary({{"success", result}});
                               if (!reason.empty()) told.setObjectNilHandled(reason, "reason");
                               call.answer([&](BusMessage& answer) { answer.appendDictionary(told); });
                             });
                       }},
                      {"Unregister", "a{sv}", "a{sv}", [this, text](BusCall call) {
                         unregister(text(call.arguments().readValue(), "token"));
                         call.answer([](BusMessage& answer) { answer.appendDictionary(Value::dictionary()); });
                       }}});
}

void Distributor::registerService(const Request& request,
                                  std::function<void(const char* result, const std::string& reason)> answer) {
  if (faults_.silent) return bus_.performAfter(24 * 3600, [answer] {});  // the caller gives up before
  const auto refuse = [&](const std::string& reason) {
    log("refused", Value::dictionary({{"service", request.service}, {"reason", reason}}));
    bus_.performAfter(faults_.delaySeconds, [answer, reason] { answer(kFailed, reason); });
  };
  if (faults_.refusesNow()) return refuse(faults_.refuse);
  if (!sd_bus_service_name_is_valid(request.service.c_str()) || request.token.empty()) return refuse("INTERNAL_ERROR");
  const auto vapid = zn::dataFromBase64UrlText(request.vapid);
  if (!request.vapid.empty() && !(vapid && zn::P256Key::ofPublic(*vapid))) return refuse("INTERNAL_ERROR");

  Shared registration = store_.withToken(request.token);
  if (!registration) {
    registration =
        std::make_shared<Registration>(Registration{.token = request.token, .service = {}, .path = randomText()});
  }
  registration->service = request.service;
  registration->version = request.version;
  registration->vapid = request.vapid;
  registration->known.clear();
  store_.add(registration);
  log("registered", *registration, Value::dictionary({{"endpoint", shown(endpointOf(*registration))}}));
  watch(request.service);
  bus_.performAfter(faults_.delaySeconds, [this, registration, answer] {
    answer(kSucceeded, "");
    deliver(registration);
  });
}

void Distributor::unregister(const std::string& token) {
  const Shared registration = store_.withToken(token);
  if (!registration) return;
  store_.remove(registration);
  log("unregistered", *registration);
}

void Distributor::watch(const std::string& service) {
  if (!watched_.insert(service).second) return;
  bus_.watchOwner(service, [this, service](const std::string& owner) {
    if (owner.empty()) return;
    for (const auto& [token, each] : Store::Registrations(store_.registrations())) {
      if (each->service != service) continue;
      each->failures = 0;
      each->isPausing = false;
      ++each->pauses;
      deliver(each);
    }
  });
}

void Distributor::log(const char* event, Value more) const {
  more.setObjectNilHandled(event, "event");
  std::puts(zn::jsonText(more, zn::JsonStyle::spaced).c_str());
  std::fflush(stdout);
}

void Distributor::log(const char* event, const Registration& registration, Value more) const {
  more.setObjectNilHandled(registration.service, "service");
  log(event, std::move(more));
}

Value Distributor::shown(const std::string& endpoint) const {
  constexpr std::size_t kShown = 4;  // digits of the path
  return options_.showEndpoints ? endpoint : endpoint.substr(0, address_.size() + 1 + kShown) + "…";
}

}  // namespace zindistributor
