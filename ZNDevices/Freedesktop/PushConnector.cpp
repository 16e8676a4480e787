#include "ZNDevices/Freedesktop/PushConnector_p.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace zn {

namespace {

constexpr const char* kDistributorPrefix = "org.unifiedpush.Distributor.";
constexpr const char* kDistributorPath = "/org/unifiedpush/Distributor";
constexpr const char* kConnectorPath = "/org/unifiedpush/Connector";
constexpr const char* kDistributors[] = {"org.unifiedpush.Distributor2", "org.unifiedpush.Distributor1"};
constexpr double kPatience = 30;   // seconds; a distributor may have to ask its server first
constexpr double kFirstPause = 5;  // between attempts to register
constexpr double kLongestPause = 3600;
constexpr std::size_t kLongestEndpoint = 1000;
constexpr std::size_t kMostFormer = 16;

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

std::optional<webpush::Secrets> secretsOf(const Value& kept) {
  const auto bytes = [&](const char* key) { return dataFromBase64UrlText(kept[key].string()).value_or(Data()); };
  auto key = P256Key::ofPair(bytes("private"), bytes("p256dh"));
  Data auth = bytes("auth");
  if (!key || auth.size() != webpush::kAuthSize) return std::nullopt;
  return webpush::Secrets{*std::move(key), std::move(auth)};
}

Value textsOf(const std::deque<std::string>& list) {
  Value texts = Value::array();
  for (const std::string& each : list) texts.append(each);
  return texts;
}

}  // namespace

PushConnector::PushConnector(Device& device, SessionBus& bus, const std::string& file, Options options,
                             Receiver receiver)
    : device_(device),
      bus_(bus),
      options_(std::move(options)),
      receiver_(std::move(receiver)),
      store_(device, bus, file, [this] { return state(); }) {
  load();  // at once: an application asks at its start whether it is registered
}

Value PushConnector::state() const {
  std::deque<std::string> seen = seen_;
  for (const std::string& each : unkept_) std::erase(seen, each);
  Value keys;
  if (keys_) {
    keys = Value::dictionary({{"private", base64UrlText(keys_->key.privateKey())},
                              {"p256dh", base64UrlText(keys_->key.publicKey())},
                              {"auth", base64UrlText(keys_->auth)}});
  }
  return Value::dictionary({{"owner", owner_},
                            {"token", token_},
                            {"keys", keys},
                            {"former", textsOf(former_)},
                            {"distributor", distributor_},
                            {"endpoint", endpoint_},
                            {"seen", textsOf(seen)}});
}

void PushConnector::load() {
  const Value state = store_.load();
  owner_ = state["owner"].string();
  token_ = state["token"].string();
  distributor_ = state["distributor"].string();
  endpoint_ = state["endpoint"].string();
  for (const Value& each : state["former"].elements()) former_.emplace_back(each.string());
  for (const Value& each : state["seen"].elements()) seen_.emplace_back(each.string());
  keptKeys_ = state["keys"];
  isRegistered_ = !endpoint_.empty();
}

void PushConnector::start(const std::string& owner) {
  keys_ = secretsOf(std::exchange(keptKeys_, nil));
  if (!token_.empty() && !keys_) {
    device_.systemLog->diagnostic("push: the keys of the registration are lost; it is made anew");
    forget();
  }
  belongsTo(owner);
  // What the module gave to the server is dead then, and it registers by itself only where there is a registration.
  if (!isRegistered_ && !ZNCoreUtils::getDeviceToken().isNil()) registerForPush();
}

void PushConnector::registerForPush() {
  bus_.perform([this] {
    isWanted_ = true;
    lastFailure_.clear();  // every request is answered
    if (!hindrance_.empty()) return fail(hindrance_);
    if (!told_.empty() && told_ == subscription()) return receiver_.registered(told_);
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
    const std::string& name = options_.applicationID;
    const bool isName = sd_bus_service_name_is_valid(name.c_str()) > 0;
    return hinder(isName ? "another process has the name " + name + " on the session's bus"
                         : "\"" + name + "\" cannot be a name on the session's bus");
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
    keys_ = webpush::Secrets::make();
    token_ = randomToken();
    return store_.changed([this, distributor, version, attempt = attempts_] {
      if (attempt == attempts_) registerWith(distributor, version);
    });
  }
  const char* interface = kDistributors[version == Version::second ? 0 : 1];
  BusMessage call = bus_.makeCall(distributor.c_str(), kDistributorPath, interface, "Register");
  if (version == Version::second) {
    Value wanted = Value::dictionary(
        {{"service", options_.applicationID}, {"token", token_}, {"description", options_.description}});
    if (!options_.vapidKey.empty()) wanted.setObjectNilHandled(options_.vapidKey, "vapid");
    call.appendDictionary(wanted);
  } else {
    call.append("sss", options_.applicationID.c_str(), token_.c_str(), options_.description.c_str());
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
    const bool lacksKey = reason.string() == "VAPID_REQUIRED" && options_.vapidKey.empty();
    return fail("the push distributor " + distributor_ + " refuses: " + std::string(reason.string()) +
                (lacksKey ? "; FreedesktopDevice::Options::vapidKey names the sender" : ""));
  }
  if (result.string() != "REGISTRATION_SUCCEEDED" && result.string() != "NEW_ENDPOINT") {
    return fail("the push distributor " + distributor_ + " gives an answer that is none");
  }
  endFormer(version);
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
  const std::string now = subscription();
  if (isWanted_ && std::exchange(told_, now) != now) receiver_.registered(now);
}

std::string PushConnector::subscription() const {
  const Value keys =
      Value::dictionary({{"auth", base64UrlText(keys_->auth)}, {"p256dh", base64UrlText(keys_->key.publicKey())}});
  return jsonText(Value::dictionary({{"endpoint", endpoint_}, {"keys", keys}}));
}

void PushConnector::unregistered(const std::string& token) {
  if (token_.empty() || token != token_) return;
  forget();
  former_.pop_back();  // it has ended
  store_.changed();
  if (isWanted_) tryLater();
}

/// A new registration has a token and keys of its own.
void PushConnector::forget() {
  former_.push_back(std::exchange(token_, ""));
  if (former_.size() > kMostFormer) former_.pop_front();
  keys_.reset();
  endpoint_.clear();
  told_.clear();
  isRegistered_ = false;
  ++attempts_;
  isAsking_ = false;
}

void PushConnector::endFormer(Version version) {
  for (const std::string& token : std::exchange(former_, {})) {
    BusMessage call = bus_.makeCall(distributor_.c_str(), kDistributorPath,
                                    kDistributors[version == Version::second ? 0 : 1], "Unregister");
    if (version == Version::second) {
      call.appendDictionary(Value::dictionary({{"token", token}}));
    } else {
      call.append("s", token.c_str());
    }
    bus_.call(std::move(call), kPatience, [](BusMessage&, const std::string&) {});
  }
}

void PushConnector::belongsTo(const std::string& owner) {
  if (owner == owner_) return;
  const bool isAnother = !std::exchange(owner_, owner).empty() && !token_.empty();
  if (isAnother) {
    isWanted_ = isWanted_ || isRegistered_;
    forget();
    findDistributor();
  }
  if (isAnother || !token_.empty()) store_.changed();
}

}  // namespace zn
