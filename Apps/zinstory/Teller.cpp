#include "Apps/zinstory/Teller.h"

#include <ctime>
#include <utility>

#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNRichNotification/ZNPushPayload.h"

namespace zinstory {

namespace {

std::string utcText(double secondsSince1970, const char* pattern) {
  const auto moment = static_cast<std::time_t>(secondsSince1970);
  std::tm parts{};
  char text[64] = "";
  if (!gmtime_r(&moment, &parts) || std::strftime(text, sizeof text, pattern, &parts) == 0) return "-";
  return text;
}

std::string valueText(const zn::Value& value) {
  return value.isString() ? std::string(value.string()) : zn::jsonText(value);
}

std::string attributesText(const zn::Value& attributes) {
  std::string text;
  for (const auto& entry : attributes.entries()) {
    if (!text.empty()) text += ", ";
    text += std::string(entry.name()) + "=" + valueText(entry.value);
  }
  return text;
}

/// Where the analytics module takes the user to have come from.
std::string sourceText(const zn::Value& source) {
  const zn::Value& value = source["value"];
  if (source["kind"] == zn::Value("url")) return valueText(value);
  if (source["kind"] == zn::Value("zinPush")) {
    return "campaign " + valueText(ZNPushPayload::initWithPushPayload(value)->campaignID());
  }
  return source["kind"] == zn::Value("push") ? "another sender's push" : valueText(value);
}

std::string ownText(const zn::Effect& effect) { return valueText(effect.value()); }

std::string alertText(const zn::Effect& effect) {
  std::string text = ownText(effect) + ": " + valueText(effect.fields["message"]);
  for (const zn::Value& button : effect.fields["buttons"].elements()) text += " [" + valueText(button["title"]) + "]";
  return text;
}

/// How effects of one kind are told.
struct Telling {
  const char* kind;
  const char* label;
  std::string (*text)(const zn::Effect& effect);
};

using E = const zn::Effect&;

const Telling kTellings[] = {
    {"broadcast", "broadcast", ownText},
    {"log", "log", ownText},
    {"error", "error", ownText},
    {"saved", "saved", [](E effect) { return ownText(effect) + " file"; }},
    {"flush", "flush", [](E) { return std::string("queued events are to be sent now"); }},
    {"open", "opened", [](E effect) { return ownText(effect) + " " + valueText(effect.fields["url"]); }},
    {"alert", "alert", alertText},
    {"pasteboard", "copied", ownText},
    {"userAttribute", "attribute", [](E effect) { return ownText(effect) + "=" + valueText(effect.fields["value"]); }},
    {"analytics", "sent", [](E) { return std::string("the device's record, with its token and attributes"); }},
    {"request", "asked", [](E effect) { return zn::format("the server's service %@", effect.value()); }}};

}  // namespace

std::string dateText(double secondsSince1970) { return utcText(secondsSince1970, "%-d %B %Y, %H:%M:%S UTC"); }

std::string timeText(const zn::Value& date) {
  return date.isDate() ? utcText(date.date().secondsSince1970, "%H:%M:%S") : "-";
}

Teller::Teller(std::shared_ptr<zn::Simulator> device, Page& page) : device_(std::move(device)), page_(page) {
  device_->setEffectObserver([this](const zn::Effect& effect) { show(effect); });
}

Teller::~Teller() { device_->setEffectObserver(nullptr); }

void Teller::step(const std::string& name, const std::function<void()>& action) {
  constexpr double minute = 60;
  if (!std::exchange(isFirstStep_, false)) device_->advance(minute);
  page_.beginStep(timeText(zn::Date{device_->now()}), name);
  badge_ = device_->badge();
  action();
  device_->runUntilIdle();
  page_.endStep();
}

void Teller::show(const zn::Effect& effect) {
  // These are of no interest to who reads the story.
  if (effect.kind == "optOutEvents" || effect.kind == "responded" || effect.kind == "host") return;
  if (effect.kind == "event") return showEvent(effect);
  if (effect.kind == "badge") return showBadge(effect);
  if (effect.kind == "sources") {
    for (const zn::Value& source : effect.value().elements()) page_.effect("came from", sourceText(source));
    return;
  }
  for (const Telling& telling : kTellings) {
    if (effect.kind == telling.kind) return page_.effect(telling.label, telling.text(effect));
  }
  page_.effect(effect.kind, effect.line());
}

void Teller::showEvent(const zn::Effect& effect) {
  const bool interactive = effect.fields["interactive"].boolean();
  page_.effect("tracked", valueText(effect.value()) + (interactive ? "" : " (not interactive)"));
  const std::string attributes = attributesText(effect.fields["attributes"]);
  if (!attributes.empty()) page_.effect("", attributes);
}

void Teller::showBadge(const zn::Effect& effect) {
  const long after = static_cast<long>(effect.value().integer());
  page_.effect("badge",
               after == badge_ ? zn::format("stays %ld", after) : zn::format("from %ld to %ld", badge_, after));
  badge_ = after;
}

}  // namespace zinstory
