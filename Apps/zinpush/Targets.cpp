#include "Apps/zinpush/Targets.h"

#include <httplib.h>

#include <memory>

#include "Apps/CommandLine.h"
#include "Apps/Push/VapidKeyFile.h"
#include "Apps/zinpush/Secrets.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinpush {

using push::Outcome;
using zn::Value;

namespace {

/// None of what it throws shows the text, which may be a token that was cut.
push::Subscription subscriptionOf(const std::string& to) {
  std::string text = to;
  if (!isToken(to)) {
    std::string error;
    const auto bytes = zn::readFile(to, &error);
    if (!bytes) throw apps::UsageError("option --to: neither a file that can be read, nor a hexadecimal device token");
    text.assign(bytes->begin(), bytes->end());
  }
  try {
    return push::Subscription::ofText(text);
  } catch (const zn::Exception& problem) {
    throw apps::UsageError("option --to: " + problem.reason());
  }
}

Target deviceOf(const Options& options) {
  const push::Subscription subscription = subscriptionOf(options.to);
  const auto sender = std::make_shared<push::Sender>(push::vapidKeyIn(keyFileOf(options)),
                                                     push::Sender::Options{.contact = options.contact});
  return [subscription, sender](const push::Message& message) {
    return std::vector<Report>{{.result = sender->send(subscription, message)}};
  };
}

Value requestFor(const Options& options, const push::Message& message) {
  Value request = Value::dictionary({{"payload", *zn::parseJson(message.text)}, {"ttl", message.secondsToLive}});
  if (options.all) request.setObjectNilHandled(true, "all");
  if (!options.device.empty()) request.setObjectNilHandled(options.device, "device");
  if (!message.urgency.empty()) request.setObjectNilHandled(message.urgency, "urgency");
  if (!message.topic.empty()) request.setObjectNilHandled(message.topic, "topic");
  return request;
}

std::vector<Report> reportsIn(const httplib::Response& response) {
  const auto answer = zn::parseJson(response.body);
  const std::string failed = "failed: zinserver answered with status " + std::to_string(response.status);
  if (!answer || response.status != 200) {
    const std::string why = answer ? std::string((*answer)["error"].string()) : "";
    return {{.result = {Outcome::failed, why.empty() ? failed : failed + ": " + why}}};
  }
  std::vector<Report> reports;
  for (const Value& each : (*answer)["results"].elements()) {
    const auto outcome = push::outcomeNamed(each["outcome"].string());
    reports.push_back({std::string(each["device"].string()),
                       {outcome.value_or(Outcome::failed), std::string(each["text"].string())}});
  }
  if (reports.empty()) reports.push_back({.result = {Outcome::failed, "failed: zinserver knows no device"}});
  return reports;
}

std::shared_ptr<httplib::Client> clientFor(const std::string& address) {
  try {
    const auto client = std::make_shared<httplib::Client>(push::Url(address).origin());
    constexpr int kPatience = 600;  // seconds: it answers when all devices' push servers have
    client->set_read_timeout(kPatience);
    client->set_keep_alive(true);
    return client;
  } catch (const zn::Exception& problem) {
    throw apps::UsageError("option --via: the address " + problem.reason());
  }
}

Target serverOf(const Options& options) {
  return [options, client = clientFor(options.via)](const push::Message& message) -> std::vector<Report> {
    const auto answer = client->Post("/push", zn::jsonText(requestFor(options, message)), "application/json");
    if (answer) return reportsIn(*answer);
    return {{.result = {Outcome::notReached,
                        "not reached: zinserver at " + options.via + " (" + httplib::to_string(answer.error()) + ")"}}};
  };
}

}  // namespace

std::string keyFileOf(const Options& options) {
  return options.keyFile.empty() ? push::usualVapidKeyFile() : options.keyFile;
}

Target targetOf(const Options& options) { return options.to.empty() ? serverOf(options) : deviceOf(options); }

}  // namespace zinpush
