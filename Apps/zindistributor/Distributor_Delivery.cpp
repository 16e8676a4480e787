#include <algorithm>
#include <future>

#include "Apps/Push/Message.h"
#include "Apps/Push/Vapid.h"
#include "Apps/zindistributor/Distributor.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/RetryPolicy_p.h"

namespace zindistributor {

using zn::BusMessage;
using zn::Value;

namespace {

constexpr const char* kPath = "/org/unifiedpush/Connector";
constexpr zn::RetryPause kPause{0.25, 60};

/// Neither is it running nor can the bus start it.
bool isAbsence(const std::string& error) {
  return error == SD_BUS_ERROR_SERVICE_UNKNOWN || error == SD_BUS_ERROR_NAME_HAS_NO_OWNER;
}

}  // namespace

Distributor::Receipt Distributor::post(const Post& message) {
  const auto answer = std::make_shared<std::promise<Receipt>>();
  bus_.perform([this, answer, message] {
    try {
      answer->set_value(take(message));
    } catch (...) {
      answer->set_exception(std::current_exception());
    }
  });
  return answer->get_future().get();
}

std::optional<Distributor::Receipt> Distributor::refusalOf(const Post& message,
                                                           const Registration& registration) const {
  constexpr std::size_t kMost = 4096;
  const auto refused = [](int status, const std::string& why) { return Receipt{.status = status, .error = why}; };
  if (!registration.vapid.empty()) {
    const auto key = zn::dataFromBase64UrlText(registration.vapid).value_or(zn::Data());
    if (const auto refusal = push::vapidRefusal(message.authorization, key, address_, now())) {
      return refused(refusal->status, refusal->reason);
    }
    if (!message.secondsToLive) return refused(400, "TTL is needed");
  }
  try {
    if (!message.topic.empty()) push::checkTopic(message.topic);
  } catch (const zn::Exception& problem) {
    return refused(400, problem.reason());
  }
  if (message.body.empty()) return refused(400, "the message is empty");
  if (message.body.size() > kMost) return refused(413, "the message has more than 4096 bytes");
  return std::nullopt;
}

Distributor::Receipt Distributor::take(const Post& message) {
  const Shared registration = store_.withPath(message.path);
  if (!registration) return {.status = 404, .error = "there is no such endpoint"};
  if (const auto refusal = refusalOf(message, *registration)) {
    log("not taken", *registration, Value::dictionary({{"status", refusal->status}, {"why", refusal->error}}));
    return *refusal;
  }
  const std::string id = randomText();
  const double expires = now() + message.secondsToLive.value_or(kLongestLife);
  store_.append(*registration, {.id = id,
                                .body = zn::Data(message.body.begin(), message.body.end()),
                                .expires = expires,
                                .topic = message.topic});
  log("received", *registration, Value::dictionary({{"id", id}, {"bytes", message.body.size()}}));
  removeReplaced(registration);
  bus_.perform([this, registration] { deliver(registration); });
  return {.id = id};
}

void Distributor::removeReplaced(const Shared& registration) {
  const auto& waiting = registration->waiting;
  const std::string topic = waiting.back().topic;
  if (topic.empty()) return;
  for (std::size_t index = registration->isCalling ? 1 : 0; index + 1 < waiting.size();) {
    if (waiting[index].topic != topic) {
      ++index;
      continue;
    }
    log("replaced", *registration, Value::dictionary({{"id", waiting[index].id}}));
    store_.remove(*registration, index);
  }
}

void Distributor::deliver(const Shared& registration) {
  if (!store_.holds(registration) || !bus_.isConnected()) return;
  if (registration->isCalling || registration->isPausing) return;
  if (registration->known != endpointOf(*registration)) return announce(registration);
  auto& waiting = registration->waiting;
  while (!waiting.empty()) {
    const Message& first = waiting.front();
    const bool isOver = first.wasTried && now() >= first.expires;
    // It was on its way when another one took its place.
    const bool isReplaced =
        !first.topic.empty() &&
        std::any_of(waiting.begin() + 1, waiting.end(), [&](const auto& each) { return each.topic == first.topic; });
    if (!isOver && !isReplaced) return sendFirst(registration);
    log(isOver ? "expired" : "replaced", *registration, Value::dictionary({{"id", first.id}}));
    store_.remove(*registration, 0);
  }
}

BusMessage Distributor::callTo(const Registration& registration, const char* member) {
  const char* const interface = registration.version == 1 ? "org.unifiedpush.Connector1" : "org.unifiedpush.Connector2";
  return bus_.makeCall(registration.service.c_str(), kPath, interface, member);
}

BusMessage Distributor::messageCall(const Registration& registration, const std::string& token,
                                    const Message& message) {
  BusMessage call = callTo(registration, "Message");
  if (registration.version == 1) {
    return call.append("s", token.c_str()).appendBytes(message.body).append("s", message.id.c_str());
  }
  return call.appendDictionary(
      Value::dictionary({{"token", token}, {"message", Value::data(message.body)}, {"id", message.id}}));
}

void Distributor::sendOnly(BusMessage call) {
  bus_.call(std::move(call), options_.patience, [](BusMessage&, const std::string&) {});
}

void Distributor::announce(const Shared& registration) {
  const std::string endpoint = endpointOf(*registration);
  BusMessage call = callTo(*registration, "NewEndpoint");
  if (registration->version == 1) {
    call.append("ss", registration->token.c_str(), endpoint.c_str());
  } else {
    call.appendDictionary(Value::dictionary({{"token", registration->token}, {"endpoint", endpoint}}));
  }
  registration->isCalling = true;
  bus_.call(std::move(call), options_.patience, [this, registration, endpoint](BusMessage&, const std::string& error) {
    registration->isCalling = false;
    if (!store_.holds(registration)) return;
    if (!error.empty()) return hasFailed(registration, error);
    registration->failures = 0;
    registration->known = endpoint;
    store_.save();
    log("new endpoint", *registration, Value::dictionary({{"endpoint", shown(endpoint)}}));
    deliver(registration);
  });
}

void Distributor::sendFirst(const Shared& registration) {
  if (faults_.unknownToken) {
    Message stray = registration->waiting.front();
    stray.id = randomText();
    sendOnly(messageCall(*registration, randomText(), stray));
  }
  Message& first = registration->waiting.front();
  first.wasTried = true;
  registration->isCalling = true;
  const bool hasVersion2 = registration->version == 2;
  bus_.call(messageCall(*registration, registration->token, first), options_.patience,
            [this, registration, hasVersion2, id = first.id](BusMessage& answer, const std::string& error) {
              registration->isCalling = false;
              if (!store_.holds(registration)) return;
              if (!error.empty()) return hasFailed(registration, error);
              if (hasVersion2 && answer.readValue()["id"] != id)
                return hasFailed(registration, "answered without its id");
              wasDelivered(registration);
            });
  if (faults_.twice) sendOnly(messageCall(*registration, registration->token, first));
}

void Distributor::wasDelivered(const Shared& registration) {
  registration->failures = 0;
  const std::string id = registration->waiting.front().id;
  store_.remove(*registration, 0);
  log("delivered", *registration, Value::dictionary({{"id", id}}));
  const std::int64_t count = ++registration->delivered;
  if (faults_.unregisterAfter && count % faults_.unregisterAfter == 0) return tellUnregistered(registration);
  if (faults_.newEndpointAfter && count % faults_.newEndpointAfter == 0) {
    registration->path = randomText();
    store_.save();
  }
  deliver(registration);
}

void Distributor::tellUnregistered(const Shared& registration) {
  BusMessage call = callTo(*registration, "Unregistered");
  if (registration->version == 1) {
    call.append("s", registration->token.c_str());
  } else {
    call.appendDictionary(Value::dictionary({{"token", registration->token}}));
  }
  store_.remove(registration);
  log("unregistered", *registration);
  sendOnly(std::move(call));
}

void Distributor::hasFailed(const Shared& registration, const std::string& why) {
  if (isAbsence(why)) {
    log("kept", *registration, Value::dictionary({{"messages", registration->waiting.size()}}));
    return;  // until its name appears
  }
  const double pause = kPause.after(++registration->failures, 0, device_.random->fraction());
  log("failed", *registration, Value::dictionary({{"why", why}, {"nextTryInSeconds", pause}}));
  registration->isPausing = true;
  bus_.performAfter(pause, [this, registration, mine = ++registration->pauses] {
    if (registration->pauses != mine) return;
    registration->isPausing = false;
    deliver(registration);
  });
}

}  // namespace zindistributor
