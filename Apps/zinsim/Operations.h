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
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UIKit/UIFont.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zinsim {

/// The arguments of one call, checked against what the operation takes.
class Arguments {
 public:
  /// null stands for nil, and for what is left out at the end; a boolean cannot be null. Throws UsageError for too
  /// many, or one of a wrong shape.
  Arguments(const std::string& selector, const std::vector<Shape>& parameters, const zn::Value& list, Session& session);

  zn::Value value(std::size_t index) const;  ///< nil for null
  bool boolean(std::size_t index) const { return values_[index].boolean(); }
  zn::Data data(std::size_t index) const;
  std::shared_ptr<UIApplication> application(std::size_t index) const;
  std::shared_ptr<UNUserNotificationCenter> center(std::size_t index) const;
  UNNotificationResponse response(std::size_t index) const;
  UNNotification notification(std::size_t index) const;
  /// Completions print what they are called with; empty for null.
  std::function<void()> completion(std::size_t index) const;
  std::function<void(bool)> booleanCompletion(std::size_t index) const;
  std::function<void(unsigned)> optionsCompletion(std::size_t index) const;
  std::function<void(const zn::Value&)> valueCompletion(std::size_t index) const;
  zn::CategorySet categories(std::size_t index) const;
  std::shared_ptr<zn::Object> object(std::size_t index) const;
  std::shared_ptr<ZNDeviceTriggerCampaign> campaign(std::size_t index) const;       ///< an empty one for null
  std::shared_ptr<ZNDeviceTriggerPayload> triggerPayload(std::size_t index) const;  ///< an empty one for null
  zn::CampaignList campaigns(std::size_t index) const;
  std::shared_ptr<ZNDeviceTriggers> container(std::size_t index) const;  ///< null for null, and so below
  std::shared_ptr<ZNDTPostInfo> postInfo(std::size_t index) const;
  UNNotificationRequest request(std::size_t index) const;  ///< an empty one for null
  std::optional<std::vector<std::string>> texts(std::size_t index) const;
  std::optional<UNTimeIntervalNotificationTrigger> trigger(std::size_t index) const;  ///< of a number of seconds

 private:
  bool isGiven(std::size_t index) const { return !values_[index].isNull(); }

  std::vector<zn::Value> values_;
  Session& session_;
};

// How what the module hands out is printed. nil stays nil (it prints as null).

zn::Value printed(const std::shared_ptr<ZNInboxModel>& entry);
zn::Value printed(const zn::InboxListPtr& list);
zn::Value printed(const zn::CampaignList& campaigns);  ///< ids
zn::Value printed(const zn::CampaignListPtr& campaigns);
zn::Value printed(const std::shared_ptr<const ZNDeviceTriggerStatus>& status);
zn::Value printed(const UIFont& font);
inline zn::Value printed(const zn::Value& value) { return value; }
inline zn::Value printed(bool value) { return value; }
inline zn::Value printed(std::size_t value) { return value; }
inline zn::Value printed(const std::string& value) { return value; }

/// Any other object is printed as its class's name.
template <class T>
zn::Value className(const std::shared_ptr<T>& object, const char* name) {
  return object ? zn::Value(name) : zn::nil;
}

/// One operation that `call` can call. A new one is one more entry in its class's table.
struct Operation {
  const char* selector;
  std::vector<Shape> parameters;
  /// What it returns; nothing where it returns nothing.
  std::function<std::optional<zn::Value>(const Arguments&)> run;
};

/// The operations of one class of the module.
struct OperationTable {
  const char* className;
  std::vector<Operation> operations;
};

std::vector<OperationTable> messagingOperations();
std::vector<OperationTable> notificationOperations();
std::vector<OperationTable> proxyOperations();
std::vector<OperationTable> inboxOperations();
std::vector<OperationTable> triggerOperations();

/// Those of all classes.
const std::vector<OperationTable>& allOperations();

/// Throws UsageError where there is no such class or operation.
const Operation& operationNamed(std::string_view className, std::string_view selector);
/// The operation that sets a property, one that can be read and set.
const Operation& setterNamed(std::string_view className, std::string_view property);

/// An entry of a table: a body that returns something is printed.
template <class Body>
Operation operation(const char* selector, std::vector<Shape> parameters, Body body) {
  return {selector, std::move(parameters),
          [body = std::move(body)](const Arguments& arguments) -> std::optional<zn::Value> {
            if constexpr (std::is_void_v<std::invoke_result_t<Body, const Arguments&>>) {
              body(arguments);
              return std::nullopt;
            } else {
              return printed(body(arguments));
            }
          }};
}

}  // namespace zinsim
