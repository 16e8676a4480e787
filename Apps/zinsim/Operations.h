#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Apps/zinsim/Session.h"
#include "Apps/zinsim/Shapes.h"
#include "ZNAnalytics/ZNProperties.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Runtime/Runtime.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UIKit/UIFont.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZNRichNotification/ZNPushPayload.h"

namespace zinsim {

/// For a parameter that takes a record, which is never missing.
template <class T>
struct Record {
  std::shared_ptr<T> record = std::make_shared<T>();
  operator const T&() const { return *record; }
  operator const std::shared_ptr<T>&() const { return record; }
};

/// The arguments of one call, checked against what the operation takes.
class Arguments {
 public:
  /// null stands for nil, and for what is left out at the end; a boolean cannot be null. Throws UsageError for too
  /// many, or one of a wrong shape.
  Arguments(const std::string& selector, const std::vector<Shape>& parameters, const zn::Value& list, Session& session);

  /// The argument as a parameter of that type takes it: nil, nothing or an empty one for null. Completions print what
  /// they are called with.
  template <class T>
  T as(std::size_t index) const {
    T made{};
    if (!values_[index].isNull()) read(values_[index], made);
    return made;
  }
  zn::Value value(std::size_t index) const { return as<zn::Value>(index); }

 private:
  void read(const zn::Value& given, zn::Value& into) const { into = given; }
  void read(const zn::Value& given, bool& into) const { into = given.boolean(); }
  void read(const zn::Value& given, double& into) const { into = given.doubleValue(); }
  void read(const zn::Value& given, std::int64_t& into) const { into = given.longLongValue(); }
  void read(const zn::Value& given, std::string& into) const { into = given.string(); }
  void read(const zn::Value& given, zn::Data& into) const { into.assign(given.data().begin(), given.data().end()); }
  void read(const zn::Value& given, zn::Selector& into) const { into = zn::NSSelectorFromString(given.string()); }
  void read(const zn::Value& given, std::shared_ptr<UIApplication>& into) const;
  void read(const zn::Value& given, std::shared_ptr<UNUserNotificationCenter>& into) const;
  void read(const zn::Value& given, UNNotificationResponse& into) const;
  void read(const zn::Value& given, UNNotification& into) const;
  void read(const zn::Value& given, zn::CategorySet& into) const;
  void read(const zn::Value& given, std::shared_ptr<zn::Object>& into) const;
  void read(const zn::Value& given, std::shared_ptr<ZNPushPayload>& into) const {
    into = ZNPushPayload::initWithPushPayload(given);
  }
  void read(const zn::Value& given, std::vector<zn::CardAction>& into) const { into = zn::cardActionsWithArray(given); }
  void read(const zn::Value& given, Record<ZNDeviceTriggerCampaign>& into) const;
  void read(const zn::Value& given, Record<ZNDeviceTriggerPayload>& into) const;
  void read(const zn::Value& given, zn::CampaignList& into) const;
  void read(const zn::Value& given, std::shared_ptr<ZNDeviceTriggers>& into) const;
  void read(const zn::Value& given, std::shared_ptr<ZNDTPostInfo>& into) const;
  void read(const zn::Value& given, UNNotificationRequest& into) const;
  void read(const zn::Value& given, std::optional<std::vector<std::string>>& into) const;
  void read(const zn::Value& given, std::optional<UNTimeIntervalNotificationTrigger>& into) const;
  template <class... T>
  void read(const zn::Value& given, std::function<void(T...)>& into) const;

  std::vector<zn::Value> values_;
  Session& session_;
};

// For the tables of operations.
namespace P = shape;
using A = const Arguments&;

// How what the module hands out, or calls completions with, is printed. nil stays nil (it prints as null).

/// Of an object that is printed as its class's name.
template <class T>
zn::Value className(const std::shared_ptr<T>& object, const char* name) {
  return object ? zn::Value(name) : zn::nil;
}

inline zn::Value printed() { return zn::nil; }
inline zn::Value printed(const zn::Value& value) { return value; }
inline zn::Value printed(bool success, const zn::Value& value) { return zn::Value::array({success, orNull(value)}); }
zn::Value printed(const std::shared_ptr<ZNInboxModel>& entry);
zn::Value printed(const zn::InboxListPtr& list);
zn::Value printed(const zn::CampaignList& campaigns);  ///< ids
zn::Value printed(const zn::CampaignListPtr& campaigns);
zn::Value printed(const std::shared_ptr<const ZNDeviceTriggerStatus>& status);
zn::Value printed(const std::shared_ptr<ZNDeviceTriggerPayload>& payload);
zn::Value printed(const UIFont& font);
zn::Value printed(const std::shared_ptr<zn::Object>& object);
inline zn::Value printed(const zn::MethodPtr& method) { return className(method, "Method"); }
inline zn::Value printed(const std::shared_ptr<ZNProperties>& all) { return className(all, "ZNProperties"); }
inline zn::Value printed(const UNNotificationRequest&) { return "UNNotificationRequest"; }

template <class... T>
void Arguments::read(const zn::Value&, std::function<void(T...)>& into) const {
  into = [&session = session_](const T&... values) { session.print("completion", printed(values...)); };
}

/// Throws UsageError for too many arguments, or one of a wrong shape.
void refuseUnfit(const std::string& selector, const std::vector<Shape>& parameters, const zn::Value& list);

/// What an argument for a parameter of that type is made into.
template <class Parameter, class T = std::remove_cvref_t<Parameter>>
using Taken = std::conditional_t<std::is_base_of_v<ZNModelObject, T>, Record<T>, T>;

/// Calls a function with arguments for parameters of those types.
template <class... T, class Function>
auto applied(const Function& function, const Arguments& arguments) {
  return [&]<std::size_t... index>(std::index_sequence<index...>) {
    return std::invoke(function, arguments.as<Taken<T>>(index)...);
  }
  (std::index_sequence_for<T...>{});
}

/// The one of that class that all share.
template <class Owner>
const auto& shared() {
  if constexpr (requires { Owner::sharedProxy(); }) {
    return Owner::sharedProxy();
  } else {
    return Owner::sharedInstance();
  }
}

// What takes the arguments of a call: a function of the module, and a body that takes them as they are.

template <class Owner, class Result, class... T>
auto taking(Result (Owner::*function)(T...)) {
  return [function](const Arguments& all) { return applied<T...>(std::bind_front(function, shared<Owner>()), all); };
}
template <class Owner, class Result, class... T>
auto taking(Result (Owner::*function)(T...) const) {
  return [function](const Arguments& all) { return applied<T...>(std::bind_front(function, shared<Owner>()), all); };
}
template <class Result, class... T>
auto taking(Result (*function)(T...)) {
  return [function](const Arguments& all) { return applied<T...>(function, all); };
}
template <class Body>
Body taking(Body body) {
  return body;
}

/// One operation that `call` can call. A new one is one more entry in its class's table.
struct Operation {
  const char* selector;
  std::vector<Shape> parameters;
  /// What it returns; nothing where it returns nothing.
  std::function<std::optional<zn::Value>(const Arguments&)> run;
};

/// An entry of a table: a function of the module, whose parameters say what the arguments are made into and whose
/// result is printed, or a body that takes the Arguments.
template <class Function>
Operation operation(const char* selector, std::vector<Shape> parameters, Function function) {
  return {selector, std::move(parameters),
          [body = taking(function)](const Arguments& arguments) -> std::optional<zn::Value> {
            if constexpr (std::is_void_v<decltype(body(arguments))>) {
              body(arguments);
              return std::nullopt;
            } else {
              return printed(body(arguments));
            }
          }};
}

struct OperationTable {
  const char* className;
  std::vector<Operation> operations;
};

std::vector<OperationTable> messagingOperations();
std::vector<OperationTable> notificationOperations();
std::vector<OperationTable> proxyOperations();
std::vector<OperationTable> inboxOperations();
std::vector<OperationTable> triggerOperations();

const std::vector<OperationTable>& allOperations();

/// Throws UsageError where there is no such class or operation.
const Operation& operationNamed(std::string_view className, std::string_view selector);
/// The operation that sets a property, one that can be read and set.
const Operation& setterNamed(std::string_view className, std::string_view property);

}  // namespace zinsim
