#include "ZNDevices/Simulator/Effects_p.h"

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

const std::vector<std::string>& effectKinds() {
  static const NeverDestroyed kinds(std::vector<std::string>{"alert",
                                                             "analytics",
                                                             "authorization",
                                                             "backgroundTask",
                                                             "badge",
                                                             "broadcast",
                                                             "categories",
                                                             "check",
                                                             "completion",
                                                             "config",
                                                             "defaults",
                                                             "delegate",
                                                             "error",
                                                             "event",
                                                             "exists",
                                                             "explain",
                                                             "flush",
                                                             "host",
                                                             "inbox",
                                                             "log",
                                                             "notification",
                                                             "notificationRemoved",
                                                             "open",
                                                             "optOutEvents",
                                                             "pasteboard",
                                                             "presentation",
                                                             "registered",
                                                             "request",
                                                             "responded",
                                                             "returned",
                                                             "saved",
                                                             "screen",
                                                             "sources",
                                                             "syslog",
                                                             "triggers",
                                                             "unhandled",
                                                             "userAttribute"});
  return *kinds;
}

std::string Effect::line() const {
  std::string text = "{";
  const auto add = [&](std::string_view key, const Value& entry) {
    if (text.size() > 1) text += ", ";
    appendJsonString(text, key);
    text += ": ";
    appendJson(text, entry, JsonStyle::spaced);
  };
  add(kind, value());
  for (const auto& entry : fields.entries()) {
    if (entry.name() != kind) add(entry.name(), entry.value);
  }
  text += '}';
  return text;
}

void EffectSink::setObserver(Observer observer) {
  auto published = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
  Lock lock(mutex_);
  observer_.swap(published);
}

void EffectSink::emit(std::string_view kind, const Value& value,
                      std::initializer_list<std::pair<std::string_view, Value>> others) const {
  std::shared_ptr<const Observer> observer;
  {
    Lock lock(mutex_);
    observer = observer_;
  }
  if (!observer) return;
  Effect effect{std::string(kind), Value::dictionary({{kind, orNull(value)}})};
  for (const auto& [key, other] : others) effect.fields.setObjectNilHandled(orNull(other), key);
  (*observer)(effect);
}

}  // namespace zn
