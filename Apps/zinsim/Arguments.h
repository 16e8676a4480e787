#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Apps/zinsim/Session.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zinsim {

/// What an operation takes in one place. null stands for nil, but for a boolean.
enum class Parameter {
  anything,
  text,
  number,
  boolean,
  dictionary,      ///< a payload or attributes, as they are
  triggerPayload,  ///< its push dictionary
  array,           ///< of payloads or entries, as they are
  texts,           ///< an array of texts
  application,     ///< "application"
  center,          ///< "center"
  response,        ///< {"payload": …, "action": …}
  notification,    ///< {"payload": …}
  token,           ///< {"$data": "HEX"}
  completion,      ///< "completion"
  categories,  ///< an array of {"identifier": …, "actions": [{"identifier": …, "title": …}]}; another element stands
               ///< for something that is no category
  object,     ///< the class name of a host object, or "center"
  campaign,   ///< a stored campaign's id, or a campaign as the server sends it
  campaigns,  ///< an array of either
  container,  ///< what device triggers keep, as `archive` takes its root
  request,    ///< a notification request, as its effect is printed
  postInfo,   ///< {"campaign": …, "payload": …, "isOffline": …}
  nothing     ///< null only: an object that no argument can stand for
};

/// The arguments of one call, checked against what the operation takes.
class Arguments {
 public:
  /// Arguments that are left out at the end are null. Throws UsageError for too many, or one of a wrong type.
  Arguments(const std::string& selector, const std::vector<Parameter>& parameters, const zn::Value& list,
            Session& session);

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

}  // namespace zinsim
