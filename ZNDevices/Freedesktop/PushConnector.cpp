#include "ZNDevices/Freedesktop/PushConnector_p.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

constexpr const char* kDistributorPrefix = "org.unifiedpush.Distributor.";
constexpr const char* kDistributorPath = "/org/unifiedpush/Distributor";
constexpr const char* kConnectorPath = "/org/unifiedpush/Connector";
constexpr const char* kDistributors[] = {"org.unifiedpush.Distributor2", "org.unifiedpush.Distributor1"};
constexpr double kPatience = 30;   // seconds; a distributor may have to ask its server first
constexpr double kFirstPause = 5;  // between attempts to register
constexpr double kLongestPause = 3600;
constexpr std::size_t kLongestMessage = 4096;
constexpr std::size_t kLongestEndpoint = 1000;
constexpr std::size_t kMostSeen = 1000;

/// A UUID of version 4, of the system's random numbers.
std::string randomToken() {
  std::array<std::uint8_t, 16> bytes{};
  if (::getentropy(bytes.data(), bytes.size()) != 0) return "";
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  std::string text = hexText(bytes);
  for (const std::size_t at : {8u, 13u, 18u, 23u}) text.insert(at, "-");
  return text;
}

bool isMissing(const std::string& error) {
  return error == SD_BUS_ERROR_UNKNOWN_METHOD || error == SD_BUS_ERROR_UNKNOWN_INTERFACE ||
         error == SD_BUS_ERROR_UNKNOWN_OBJECT || error == SD_BUS_ERROR_INVALID_ARGS;
}

bool contains(const std::deque<std::string>& list, const std::string& wanted) {
  return std::find(list.begin(), list.end(), wanted) != list.end();
}

}  // namespace

PushConnector::PushConnector(Device& device, SessionBus& bus, const std::string& file, std::string applicationID,
                             std::string description, Receiver receiver)
    : device_(device),
      bus_(bus),
      applicationID_(std::move(applicationID)),
      description_(std::move(description)),
      receiver_(std::move(receiver)),
      store_(device, bus, file, [this] { return state(); }) {
  load();  // at once: an application asks at its start whether it is registered
}

Value PushConnector::state() const {
  Value seen = Value::array();
  for (const std::string& each : seen_) {
    if (!contains(unkept_, each)) seen.append(each);
  }
  return Value::dictionary({{"token", token_}, {"distributor", distributor_}, {"endpoint", endpoint_}, {"seen", seen}});
}

void PushConnector::load() {
  const Value state = store_.load();
  token_ = state["token"].string();
  distributor_ = state["distributor"].string();
  endpoint_ = state["endpoint"].string();
  for (const Value& each : state["seen"].elements()) seen_.emplace_back(each.string());
  isRegistered_ = !endpoint_.empty();
}

void PushConnector::registerForPush() {
  bus_.perform([this] {
    isWanted_ = true;
    lastFailure_.clear();  // every request is answered
    if (!hindrance_.empty()) return fail(hindrance_);
    if (isRegistered_ && told_ == endpoint_) return receiver_.registered(endpoint_);
    findDistributor();
  });
}

void PushConnector::connected() {
  exportConnector();
  const auto appeared = [this](BusMessage& signal) {
    const std::string name = signal.readString();
    signal.readString();
    if (signal.readString().empty() || !name.starts_with(kDistributorPrefix)) return;
    pause_ = 0;
    findDistributor();  // also the one in use, which may have forgotten
  };
  bus_.watchSignals(
      "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
      "arg0namespace='org.unifiedpush.Distributor'",
      appeared);
}

void PushConnector::disconnected() {
  isAsking_ = false;
  ++attempts_;
  hinder("this session has no bus");
}

void PushConnector::nameIsOurs(bool isOurs) {
  if (!isOurs) {
    const bool isName = sd_bus_service_name_is_valid(applicationID_.c_str()) > 0;
    return hinder(isName ? "another process has the name " + applicationID_ + " on the session's bus"
                         : "\"" + applicationID_ + "\" cannot be a name on the session's bus");
  }
  isNameOurs_ = true;
  hindrance_.clear();
  findDistributor();
}

void PushConnector::hinder(const std::string& why) {
  isNameOurs_ = false;
  hindrance_ = why;
  if (isWanted_ && !isRegistered_) fail(why);  // a registration outlives a bus
}

/// Version 2 has all in one dictionary, version 1 one argument after the other.
void PushConnector::exportConnector() {
  const auto second = [](auto take) {
    return [take](BusCall call) {
      const Value given = call.arguments().readValue();
      take(call, given);
      call.answer([&](BusMessage& answer) {
        const Value identifier = given["id"];
        answer.appendDictionary(identifier.isString() ? Value::dictionary({{"id", identifier}}) : Value::dictionary());
      });
    };
  };
  const auto textAt = [](const Value& given, const char* key) { return std::string(given[key].string()); };
  bus_.exportMethods(kConnectorPath, "org.unifiedpush.Connector2",
                     {{"Message", "a{sv}", "a{sv}", second([this, textAt](BusCall call, const Value& given) {
                         const auto bytes = given["message"].data();
                         message(call, textAt(given, "token"), Data(bytes.begin(), bytes.end()), textAt(given, "id"));
                       })},
                      {"NewEndpoint", "a{sv}", "a{sv}", second([this, textAt](const BusCall&, const Value& given) {
                         newEndpoint(textAt(given, "token"), textAt(given, "endpoint"));
                       })},
                      {"Unregistered", "a{sv}", "a{sv}", second([this, textAt](const BusCall&, const Value& given) {
                         unregistered(textAt(given, "token"));
                       })}});
  bus_.exportMethods(kConnectorPath, "org.unifiedpush.Connector1",
                     {{"Message", "says", "",
                       [this](BusCall call) {
                         const std::string token = call.arguments().readString();
                         const Data bytes = call.arguments().readBytes();
                         message(call, token, bytes, call.arguments().readString());
                         call.answer();
                       }},
                      {"NewEndpoint", "ss", "",
                       [this](BusCall call) {
                         const std::string token = call.arguments().readString();
                         newEndpoint(token, call.arguments().readString());
                         call.answer();
                       }},
                      {"Unregistered", "s", "", [this](BusCall call) {
                         unregistered(call.arguments().readString());
                         call.answer();
                       }}});
}

void PushConnector::findDistributor() {
  if (!isWanted_ || !isNameOurs_ || isAsking_) return;
  isAsking_ = true;
  const std::uint64_t attempt = ++attempts_;
  listNames("ListNames", {}, [this, attempt](std::vector<std::string> running) {
    listNames("ListActivatableNames", std::move(running), [this, attempt](std::vector<std::string> names) {
      if (attempt != attempts_) return;  // a bus that went away meanwhile names nobody
      isAsking_ = false;
      if (names.empty()) return fail("this session has no push distributor");
      const bool isThere = std::find(names.begin(), names.end(), distributor_) != names.end();
      const std::string chosen = isThere ? distributor_ : *std::min_element(names.begin(), names.end());
      if (chosen != distributor_) endpoint_.clear();  // that one knows another
      distributor_ = chosen;
      registerWith(chosen, Version::second);
    });
  });
}

void PushConnector::listNames(const char* method, std::vector<std::string> found,
                              std::function<void(std::vector<std::string>)> then) {
  constexpr const char* kBus = "org.freedesktop.DBus";
  bus_.call(bus_.makeCall(kBus, "/org/freedesktop/DBus", kBus, method), kPatience,
            [found = std::move(found), then = std::move(then)](BusMessage& answer, const std::string& error) mutable {
              const Value names = error.empty() ? answer.readValue() : nil;
              for (const Value& name : names.elements()) {
                if (name.string().starts_with(kDistributorPrefix)) found.emplace_back(name.string());
              }
              then(std::move(found));
            });
}

void PushConnector::registerWith(const std::string& distributor, Version version) {
  isAsking_ = true;
  if (token_.empty()) {
    // On the disk first: what is sent to an endpoint whose token a crash made unknown would be lost.
    token_ = randomToken();
    return store_.changed([this, distributor, version, attempt = attempts_] {
      if (attempt == attempts_) registerWith(distributor, version);
    });
  }
  const char* interface = kDistributors[version == Version::second ? 0 : 1];
  BusMessage call = bus_.makeCall(distributor.c_str(), kDistributorPath, interface, "Register");
  if (version == Version::second) {
    call.appendDictionary(
        Value::dictionary({{"service", applicationID_}, {"token", token_}, {"description", description_}}));
  } else {
    call.append("sss", applicationID_.c_str(), token_.c_str(), description_.c_str());
  }
  bus_.call(std::move(call), kPatience,
            [this, version, attempt = attempts_](BusMessage& answer, const std::string& error) {
              if (attempt == attempts_) answered(version, answer, error);
            });
}

void PushConnector::answered(Version version, BusMessage& answer, const std::string& error) {
  isAsking_ = false;
  if (version == Version::second && isMissing(error)) return registerWith(distributor_, Version::first);
  if (!error.empty()) return fail("the push distributor " + distributor_ + " does not answer: " + error);
  const Value given = answer.readValue();
  const bool isSecond = version == Version::second;
  const Value result = isSecond ? given["success"] : given;
  const Value reason = isSecond ? given["reason"] : answer.readValue();
  if (result.string() == "REGISTRATION_FAILED") {
    return fail("the push distributor " + distributor_ + " refuses: " + std::string(reason.string()));
  }
  if (result.string() != "REGISTRATION_SUCCEEDED" && result.string() != "NEW_ENDPOINT") {
    return fail("the push distributor " + distributor_ + " gives an answer that is none");
  }
  store_.changed();
  // The endpoint comes by itself; one that this distributor gave before still holds.
  if (!endpoint_.empty()) return newEndpoint(token_, endpoint_);
  bus_.performAfter(kPatience, [this, attempt = attempts_] {
    if (attempt == attempts_ && endpoint_.empty()) fail("the push distributor " + distributor_ + " gives no endpoint");
  });
}

/// Tells every reason once, until there is another or it worked.
void PushConnector::fail(const std::string& why) {
  isRegistered_ = false;
  told_.clear();
  if (std::exchange(lastFailure_, why) != why) {
    device_.systemLog->diagnostic("push: " + why);
    receiver_.failed(why);
  }
  tryLater();
}

void PushConnector::tryLater() {
  pause_ = std::clamp(pause_ * 2, kFirstPause, kLongestPause);
  bus_.performAfter(pause_, [this, attempt = attempts_] {
    if (attempt == attempts_) findDistributor();
  });
}

void PushConnector::newEndpoint(const std::string& token, const std::string& endpoint) {
  if (token_.empty() || token != token_ || endpoint.empty()) return;
  if (endpoint.size() > kLongestEndpoint)
    return fail("the push distributor " + distributor_ + " gives no usable endpoint");
  if (endpoint_ != endpoint) {
    endpoint_ = endpoint;
    store_.changed();
  }
  isRegistered_ = true;
  lastFailure_.clear();
  pause_ = 0;
  if (isWanted_ && std::exchange(told_, endpoint) != endpoint) receiver_.registered(endpoint);
}

void PushConnector::unregistered(const std::string& token) {
  if (token_.empty() || token != token_) return;
  token_.clear();  // a new registration has a token of its own
  endpoint_.clear();
  isRegistered_ = false;
  ++attempts_;
  isAsking_ = false;
  store_.changed();
  if (isWanted_) tryLater();
}

void PushConnector::message(BusCall call, const std::string& token, const Data& bytes, const std::string& identifier) {
  if (token_.empty() || token != token_) return;
  if (bytes.empty() || bytes.size() > kLongestMessage) {
    device_.systemLog->diagnostic("push: a message of " + std::to_string(bytes.size()) + " bytes is left unused");
    return;
  }
  const bool isRepeated = !identifier.empty() && contains(unkept_, identifier);
  if (!identifier.empty() && contains(seen_, identifier) && !isRepeated) return;
  if (!identifier.empty() && !isRepeated) {
    seen_.push_back(identifier);
    if (seen_.size() > kMostSeen) seen_.pop_front();
  }
  if (receiver_.received(bytes, identifier, isRepeated)) {
    std::erase(unkept_, identifier);
    store_.changed();
    return;
  }
  if (!identifier.empty() && !isRepeated) unkept_.push_back(identifier);
  call.fail(SD_BUS_ERROR_FAILED, "it cannot be kept now");
}

}  // namespace zn
