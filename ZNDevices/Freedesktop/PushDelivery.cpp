#include "ZNDevices/Freedesktop/PushDelivery_p.h"

#include <chrono>
#include <memory>
#include <string_view>
#include <utility>

#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ExtensionList_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Once.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zn {

namespace {

constexpr std::size_t kMostMemory = std::size_t{1} << 20;  // bytes that 4 KB of JSON may take
/// Of an extension that is stopped while it has the list; this thread has other things to do.
constexpr std::chrono::milliseconds kPatienceWithExtension(500);
constexpr double kPatienceToShow = 2;  // seconds, after which the application gets a push that waits to be shown

/// What "aps" says; without a text there is nothing to show.
UNNotificationContent contentOf(const Value& payload) {
  const Value aps = payload.validObjectForKey(payload::aps);
  const Value alert = aps.validObjectForKey(payload::alert);
  const auto textAt = [](const Value& dictionary, const char* key) {
    const Value text = dictionary.validObjectForKey(key);
    return text.isString() ? text : nil;
  };
  UNNotificationContent content;
  content.userInfo = payload;
  content.title = textAt(alert, payload::title);
  content.subtitle = textAt(alert, payload::subtitle);
  content.body = alert.isString() ? alert : textAt(alert, payload::body);
  content.categoryIdentifier = textAt(aps, payload::category);
  const Value sound = textAt(aps, payload::sound);
  if (sound.length() > 0) {
    content.sound = sound.string() == "default" ? UNNotificationSound::defaultSound()
                                                : UNNotificationSound::soundNamed(std::string(sound.string()));
  }
  return content;
}

bool isToBeShown(const Value& payload, const UNNotificationContent& content) {
  const Value zintar = payload.validObjectForKey(kNotificationPayloadKeyZintar);
  if (!zintar.validObjectForKey(kNotificationPayloadKeySilentPush).isNil()) return false;
  return content.title.length() > 0 || content.body.length() > 0;
}

}  // namespace

bool PushDelivery::received(std::string_view message, const std::string& identifier, bool isRepeated) {
  JsonError malformed;
  const auto payload = parseJson(message, &malformed, {.maximumMemory = kMostMemory});
  if (!payload || !payload->isDictionary()) {
    device_.systemLog->diagnostic("push: a message that is no JSON object is left unused" +
                                  (payload ? "" : ": " + malformed.text));
    return true;
  }
  const bool isKept = keep(*payload);
  if (!isRepeated) show(*payload, identifier);
  return isKept;
}

bool PushDelivery::keep(const Value& payload) const {
  const auto& configuration = ZNConfigDataManager::sharedInstance();
  const Value group = configuration->getAppGroupID();
  if (group.length() == 0 || !configuration->hasZinAppID()) return true;  // such an account has no list
  std::string problem;
  try {
    const auto store = NSUserDefaults::initWithSuiteName(std::string(group.string()));
    const std::string application(configuration->getZinAppID().string());
    if (appendToExtensionList(*store, application, payload, problem, kPatienceWithExtension)) return true;
  } catch (const Exception& unusable) {
    device_.systemLog->diagnostic("push: a message cannot be kept for the inbox: " + unusable.reason());
    return true;  // nor can it be later
  }
  device_.systemLog->diagnostic("push: a message cannot be kept for the inbox now: " + problem);
  return false;
}

void PushDelivery::show(const Value& payload, const std::string& identifier) {
  const Value badge = payload.validObjectForKeyPath("aps.badge");
  if (badge.isNumber()) device_.application->setBadge(static_cast<long>(badge.longLongValue()));
  const Task delivering = once(Task([this, payload] { deliver(payload); }));
  const UNNotificationContent content = contentOf(payload);
  if (!isToBeShown(payload, content)) return delivering();
  UNNotificationRequest request;
  request.identifier = "push-" + (identifier.empty() ? std::to_string(device_.random->fraction()) : identifier);
  request.content = content;
  notifications_.showPush(request, delivering);
  bus_.performAfter(kPatienceToShow, delivering);
}

void PushDelivery::deliver(const Value& payload) const {
  device_.queues->async(Queue::main, [payload] {
    const auto application = UIApplication::sharedApplication();
    const auto delegate = application->delegate();
    const Selector fetching(kSelectorDidReceiveRemoteNotificationFetch);
    if (!delegate || boundImplementation(*delegate, fetching)) {
      application->deliverRemoteNotification(payload, [](unsigned) {});
    } else {
      application->deliverRemoteNotification(payload);
    }
  });
}

}  // namespace zn
