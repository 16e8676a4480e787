// The device, its user and its server.

#include <optional>

#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinsim {

using zn::Value;

namespace {

void state(F fields) {
  const std::string is = fields.text("is");
  fields.device().setApplicationState(is == "active"     ? UIApplicationState::active
                                      : is == "inactive" ? UIApplicationState::inactive
                                                         : UIApplicationState::background);
}

void settings(F fields) {
  const std::string alert = fields.text("alert");
  fields.device().setAlertSetting(alert == "enabled"    ? UNNotificationSetting::enabled
                                  : alert == "disabled" ? UNNotificationSetting::disabled
                                                        : UNNotificationSetting::notDetermined);
}

std::optional<std::string> errorIn(const Value& field) {
  return field.isString() ? std::optional(std::string(field.string())) : std::nullopt;
}

void authorization(F fields) {
  const Value& grants = fields["grants"];
  if (grants.isBoolean() && !grants.boolean()) return fields.device().setAuthorizationRefused();
  fields.device().setAuthorizationAnswer(errorIn(grants));
}

void server(F fields) {
  const int service = static_cast<int>(fields.integer("service"));
  if (fields.boolean("holds", false)) {
    fields.device().holdRequests(service);
  } else {
    fields.device().setServerAnswer(service, fields.orNil("answers"));
  }
}

void answer(F fields) {
  const int service = static_cast<int>(fields.integer("service"));
  if (!fields.device().answerOldestRequest(service, fields.orNil("with"))) {
    throw UsageError("no request of service " + std::to_string(service) + " is kept unanswered");
  }
}

void remoteToken(F fields) {
  if (fields["hex"].isNull()) return fields.device().remoteToken({});
  const auto token = zn::dataFromHexText(fields["hex"].string());
  if (!token) refuse("field \"hex\" of \"remoteToken\"", "pairs of hexadecimal digits", fields["hex"]);
  fields.device().remoteToken(*token);
}

void press(F fields) {
  if (!fields.device().press(fields.text("button"))) {
    throw UsageError("there is no alert with a button \"" + fields.text("button") + "\" on the screen");
  }
}

std::vector<Field> configuration() {
  return {{"accountActive", optional, shape::boolean},
          {"sdkEnabled", optional, shape::boolean},
          {"inboxServiceActive", optional, shape::boolean},
          {"realTimeTriggersEnabled", optional, shape::boolean},
          {"appDelegateProxyEnabled", optional, shape::boolean},
          {"appID", optional, shape::textOrNull},
          {"appGroupID", optional, shape::textOrNull},
          {"inboxDefaultExpiry", optional, shape::number},
          {"realTimeTriggerSyncInterval", optional, shape::number},
          {"appVersion", optional, shape::text},
          {"queryParams", optional, shape::dictionaryOrNull}};
}

std::vector<Command> deviceAndUser() {
  return {
      command("config", configuration(),
              "Sets the given ones of the core's configuration, and tells nobody (\"post\" does). At the start:\n"
              "accountActive, sdkEnabled, inboxServiceActive and realTimeTriggersEnabled true,\n"
              "appDelegateProxyEnabled false, appID \"app-1\", appGroupID \"group.zintar\", inboxDefaultExpiry 0,\n"
              "realTimeTriggerSyncInterval 3600, appVersion \"1.0\", queryParams {\"app\": \"app-1\"}.",
              [](F fields) { ZNConfigDataManager::sharedInstance()->applySilently(fields.line()); }),
      command("clock", {{"to", required, shape::number}, {"zone", optional, shape::name}},
              "Moves the clock to that second since 1970; forwards, delayed work runs as it falls due.\n"
              "zone: the device's time zone, as a POSIX TZ text such as \"IST-5:30\".",
              [](F fields) {
                if (fields["zone"]) fields.device().setTimeZone(fields.text("zone"));
                fields.device().moveClock(fields.number("to"));
              }),
      command("advance", {{"seconds", required, shape::number}},
              "Moves the clock forwards, by at most 1000000000 seconds; delayed work runs as it falls due.",
              [](F fields) { fields.device().advance(fields.number("seconds")); }),
      command("state", {{"is", required, shape::text, {"active", "inactive", "background"}}},
              "Sets the application's state, nothing else (active at the start).", state),
      command("foreground", {}, "The application comes to the foreground.",
              [](F fields) { fields.device().enterForeground(); }),
      command("badge", {{"is", required, shape::integer}}, "Sets the badge without printing it (0 at the start).",
              [](F fields) { fields.device().setBadge(fields.integer("is")); }),
      command("settings", {{"alert", required, shape::text, {"enabled", "disabled", "notDetermined"}}},
              "What the user allows (enabled at the start).", settings),
      command(
          "authorization", {{"grants", required, shape::booleanOrText}},
          "How permission requests are answered from now on (true at the start); false is a user's refusal, a text\n"
          "one with that error.",
          authorization),
      command("remoteRegistered", {{"is", required, shape::boolean}},
              "Whether the application is registered for remote notifications already (false at the start).",
              [](F fields) { fields.device().setRegisteredForRemoteNotifications(fields.boolean("is", false)); }),
  };
}

std::vector<Command> serverAndReports() {
  return {
      command("server",
              {{"service", required, shape::integer},
               {"answers", optional, shape::dictionaryOrNull},
               {"holds", optional, shape::boolean}},
              "From now on requests to this service get that answer (null: the request fails), or are kept\n"
              "unanswered with holds. At the start every service fails.",
              server),
      command("answer", {{"service", required, shape::integer}, {"with", optional, shape::dictionaryOrNull}},
              "Answers the oldest kept request of that service.", answer),
      command("notificationCenter", {{"fails", required, shape::textOrNull}},
              "Makes adding a notification request fail with this text; null for success.",
              [](F fields) { fields.device().setNotificationFailure(errorIn(fields["fails"])); }),
      command("richContent", {{"is", required, shape::text, {"passes", "nil"}}},
              "What the rich-notification library gives for a local notification: the contents, or nothing.",
              [](F fields) { fields.device().setRichContent(fields.text("is") == "passes"); }),
      command("deliver", {{"payload", required, shape::dictionary}, {"fetch", optional, shape::boolean}},
              "A remote notification arrives at the application; with fetch, through the callback that has a\n"
              "fetch completion handler.",
              [](F fields) { fields.device().deliver(fields["payload"], fields.boolean("fetch", false)); }),
      command("tap", {{"payload", required, shape::dictionary}, {"action", optional, shape::text}},
              "The user's response reaches the notification centre's delegate. action: \"default\" (also where\n"
              "it is absent), \"dismiss\" (the platform's own two) or an action identifier.",
              [](F fields) { fields.device().tap(fields["payload"], fields.text("action", "default")); }),
      command("present", {{"payload", required, shape::dictionary}},
              "A notification arrives in the foreground; the centre's delegate says how to present it.",
              [](F fields) { fields.device().present(fields["payload"]); }),
      command("remoteToken", {{"hex", required, shape::textOrNull}},
              "A device token arrives at the application; null stands for none.", remoteToken),
      command("remoteFailure", {{"error", required, shape::text}}, "The registration for remote notifications failed.",
              [](F fields) { fields.device().remoteFailure(fields.text("error")); }),
      command("expireBackgroundTasks", {}, "The expiration handler of each running background task runs.",
              [](F fields) { fields.device().expireBackgroundTasks(); }),
      command("press", {{"button", required, shape::text}},
              "The user presses that button of the newest alert, which then closes.", press),
  };
}

}  // namespace

std::vector<Command> deviceCommands() { return joined({deviceAndUser(), serverAndReports()}); }

}  // namespace zinsim
