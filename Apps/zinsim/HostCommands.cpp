// What the host application does.

#include "Apps/zinsim/Commands.h"
#include "Apps/zinsim/Delegates.h"
#include "Apps/zinsim/Operations.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace zinsim {

using zn::Value;

namespace {

std::shared_ptr<zn::Object> hostObject(F fields) {
  return fields.device().hostObject({.name = fields.text("class"),
                                     .implements = fields.texts("implements"),
                                     .inherits = fields.text("inherits"),
                                     .conforms = fields.boolean("conforms", true),
                                     .throws = fields.texts("throws")});
}

void centerDelegate(F fields) {
  const auto delegate = fields["class"].isNull() ? nullptr : hostObject(fields);
  UNUserNotificationCenter::currentNotificationCenter()->setDelegate(delegate);
}

void delegate(F fields) {
  std::shared_ptr<ZNMessagingDelegate> made;
  if (!fields["implements"].isNull()) {
    made = messagingDelegate(fields.session(), fields.texts("implements"), fields.texts("throws"));
  }
  ZNMessaging::sharedInstance()->setMessagingDelegate(made);
  fields.session().messagingDelegate = made;
}

void set(F fields) {
  const Operation& setter = setterNamed(fields.text("on"), fields.text("property"));
  setter.run(Arguments(setter.selector, setter.parameters, Value::array({fields["value"]}), fields.session()));
}

void call(F fields) {
  const Operation& called = operationNamed(fields.text("on"), fields.text("operation"));
  const Arguments arguments(called.selector, called.parameters, fields["arguments"], fields.session());
  const auto run = [&] {
    if (const auto returned = called.run(arguments)) {
      fields.session().print("returned",
                             returned->isString()
                                 ? Value(fields.device().withoutTemporaryHome(std::string(returned->string())))
                                 : *returned);
    }
  };
  try {
    if (fields.text("thread") == "background") {
      fields.device().runInBackground(run);
    } else {
      run();
    }
  } catch (const UsageError&) {
    throw;
  } catch (...) {
    // Nothing may come back to a host: what does is shown, and the scenario goes on.
    fields.session().print("error", zn::currentExceptionText(), {{"operation", called.selector}});
  }
}

void triggers(F fields) {
  const auto all = ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields();
  Value status = all.deviceTriggerStatus ? Value::array() : Value::null();
  for (const auto& each : all.statuses()) status.append(printed(each));
  fields.session().print("triggers", Value::dictionary({{"campaigns", orNull(printed(all.deviceTriggers))},
                                                        {"events", orNull(all.deviceTriggerEvents)},
                                                        {"status", status},
                                                        {"globalDelay", orNull(all.globalDelay)},
                                                        {"dndStart", orNull(all.dndStartTime)},
                                                        {"dndEnd", orNull(all.dndEndTime)},
                                                        {"lastSync", orNull(all.deviceTriggerLastUpdatedTime)},
                                                        {"lastPosted", orNull(all.deviceTriggerLastPostedTime)}}));
}

std::vector<Field> objectFields(Shape className) {
  return {{"class", required, className},
          {"implements", optional, shape::texts},
          {"inherits", optional, shape::name},
          {"conforms", optional, shape::boolean},
          {"throws", optional, shape::texts}};
}

}  // namespace

std::vector<Command> hostCommands() {
  return {
      command("object", objectFields(shape::name),
              "Makes a host object of a class of that name with these operations; each prints a \"host\" line and\n"
              "calls the completion handler it is given, or raises an exception if it is named in throws.\n"
              "inherits: a class made before. conforms (true): to the notification-centre delegate protocol. A\n"
              "known class name stands for the same object.",
              [](F fields) { hostObject(fields); }),
      command("appDelegate", objectFields(shape::name),
              "The same, and makes it the application's delegate (at the start, one of class \"AppDelegate\" that\n"
              "implements nothing).",
              [](F fields) { UIApplication::sharedApplication()->setDelegate(hostObject(fields)); }),
      command("centerDelegate", objectFields(shape::nameOrNull),
              "The same, and makes it the notification centre's delegate; class null sets none.", centerDelegate),
      command("delegate", {{"implements", required, shape::textsOrNull}, {"throws", optional, shape::texts}},
              "Sets the module's messaging delegate to one that implements these operations; null sets none.",
              delegate),
      command("track", {{"event", required, shape::text}, {"attributes", optional, shape::dictionary}},
              "The host tracks an event with the analytics module.",
              [](F fields) {
                ZNAnalytics::sharedInstance()->trackEvent(fields.text("event"),
                                                          ZNProperties::initWithAttributes(fields["attributes"]));
              }),
      command("post", {{"name", required, shape::text, {"update", "reset"}}},
              "The core posts its module-update or user-reset notification.",
              [](F fields) {
                NSNotificationCenter::defaultCenter()->postNotificationName(
                    fields.text("name") == "update" ? kNotificationNameUpdateModules : kNotificationNameUserReset);
              }),
      command("set",
              {{"on", required, shape::text, {"ZNMessaging", "ZNNotificationHandler"}},
               {"property", required, shape::name},
               {"value", required, shape::anything}},
              "Sets a public property.", set),
      command("call",
              {{"on", required, shape::name},
               {"operation", required, shape::name},
               {"arguments", optional, shape::array},
               {"thread", optional, shape::text, {"main", "background"}}},
              "Calls one operation by its full selector and prints what it returns; see OPERATIONS.", call),
      command("inbox", {}, "Prints the inbox, in its order.",
              [](F fields) {
                const Value entries = printed(ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs());
                fields.session().print("inbox", entries ? entries : Value::array());
              }),
      command("explain", {{"event", required, shape::text}, {"attributes", optional, shape::dictionary}},
              "Prints what device triggers would do for that event now, and why: gates, the global delay, and\n"
              "every stored campaign with every rule. The gate \"event\" also says which test of a condition\n"
              "fails, and which campaigns the last synchronisation dropped and why. Without any effect.",
              [](F fields) {
                ZNDeviceTriggersHandler::sharedInstance()->explainEvent(
                    fields.text("event"), zn::trackedDictionary(fields.orNil("attributes")),
                    [&session = fields.session()](const Value& explanation) { session.print("explain", explanation); });
              }),
      command("triggers", {}, "Prints what device triggers keep: campaigns, showings, limits and times.", triggers),
  };
}

}  // namespace zinsim
