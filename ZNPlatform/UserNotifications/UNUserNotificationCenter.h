#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Runtime/KeyValueObserving.h"
#include "ZNPlatform/Runtime/Runtime.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

/// The notification centre of the application: its delegate, what the user allows, categories and requests. It hands
/// everything that concerns the machine to the installed device. An object of the run time: its class has the name
/// "UNUserNotificationCenter", the class operation "currentNotificationCenter" and the operation "delegate".
///
/// Thread: any. Completions arrive on a queue of the device's choosing. The delegate is held weakly.
class ZN_EXPORT UNUserNotificationCenter : public zn::Object {
 public:
  using ErrorCompletion = std::function<void(const std::optional<std::string>& error)>;

  static std::shared_ptr<UNUserNotificationCenter> currentNotificationCenter();

  /// An object whose class conforms to "UNUserNotificationCenterDelegate" and answers the selectors below as it likes.
  /// The newest one that was assigned.
  std::shared_ptr<zn::Object> delegate() const;
  /// Assigns the delegate, tells the observers of the key path "delegate", on this thread and without a lock held, and
  /// then lets responses go to it. Against responses that is one step: until the observers have been told they go to
  /// the delegate before, just as they did. An assignment that an observer makes, or another thread while this one is
  /// being told, returns at once and takes its turn afterwards on the thread that is telling.
  void setDelegate(const std::shared_ptr<zn::Object>& delegate);
  /// Runs `step`, which must not throw, when no assignment is being told to observers: at once, or in its turn on the
  /// thread that is telling. Assignments made meanwhile wait for it, and so do responses for what it changes.
  void performBetweenAssignments(std::function<void()> step);

  /// `addObserver:forKeyPath:options:context:` and its counterpart, for the key path "delegate"
  void addObserver(const std::shared_ptr<zn::Object>& observer, const std::string& keyPath, unsigned options,
                   const void* context) override;
  void removeObserver(const zn::Object& observer, const std::string& keyPath, const void* context) override;

  /// `requestAuthorizationWithOptions:completionHandler:`
  void requestAuthorizationWithOptions(
      unsigned options, std::function<void(bool granted, const std::optional<std::string>& error)> completion);
  void getNotificationSettingsWithCompletionHandler(std::function<void(const UNNotificationSettings&)> completion);
  /// Replaces every category registered before.
  void setNotificationCategories(const std::vector<UNNotificationCategory>& categories);
  /// `addNotificationRequest:withCompletionHandler:`
  void addNotificationRequest(const UNNotificationRequest& request, ErrorCompletion completion);

  // Requests that wait for their trigger, and notifications that were delivered: also those that the host added. The
  // lists are those of the moment of the call. Identifiers that are not there do no harm.

  /// `getPendingNotificationRequestsWithCompletionHandler:`
  void getPendingNotificationRequestsWithCompletionHandler(
      std::function<void(const std::vector<UNNotificationRequest>& requests)> completion);
  /// `removePendingNotificationRequestsWithIdentifiers:`: they will not be delivered.
  void removePendingNotificationRequestsWithIdentifiers(const std::vector<std::string>& identifiers);
  void removeAllPendingNotificationRequests();  ///< `removeAllPendingNotificationRequests`
  /// `getDeliveredNotificationsWithCompletionHandler:`
  void getDeliveredNotificationsWithCompletionHandler(
      std::function<void(const std::vector<UNNotification>& notifications)> completion);
  /// `removeDeliveredNotificationsWithIdentifiers:`
  void removeDeliveredNotificationsWithIdentifiers(const std::vector<std::string>& identifiers);
  void removeAllDeliveredNotifications();  ///< `removeAllDeliveredNotifications`

  // What devices call, on the main thread, when the machine reports something.

  /// Hands the user's response to the delegate's
  /// "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:". Without a delegate that has it
  /// nothing happens. An exception that the delegate raises ends the callback. The delegate is kept alive meanwhile.
  zn::Delivery deliverResponse(const UNNotificationResponse& response, std::function<void()> completion);
  /// Asks the delegate's "userNotificationCenter:willPresentNotification:withCompletionHandler:" how to present a
  /// notification.
  zn::Delivery deliverWillPresent(const UNNotification& notification, std::function<void(unsigned options)> completion);

  const zn::Class& isa() const override;
  UNUserNotificationCenter();

 private:
  struct Recipient;
  using Step = std::function<void()>;

  void performInTurn(Step step, const std::shared_ptr<zn::Object>* assigned);
  void performSteps();
  Step nextStep();
  void announce(const std::shared_ptr<zn::Object>& delegate);
  std::shared_ptr<const Recipient> recipient();
  static std::shared_ptr<const Recipient> recipientFor(const std::shared_ptr<zn::Object>& delegate);

  zn::KeyValueObservers observers_;
  mutable zn::Mutex mutex_;
  std::weak_ptr<zn::Object> delegate_ ZN_GUARDED_BY(mutex_);   // the newest assigned
  std::weak_ptr<zn::Object> announced_ ZN_GUARDED_BY(mutex_);  // the newest that observers were told of
  std::shared_ptr<const Recipient> recipient_ ZN_GUARDED_BY(mutex_);
  std::deque<Step> steps_ ZN_GUARDED_BY(mutex_);
  bool isPerforming_ ZN_GUARDED_BY(mutex_) = false;
};

/// The delegate's selectors. Their implementations take (std::shared_ptr<UNUserNotificationCenter>,
/// UNNotificationResponse, std::function<void()>) and (std::shared_ptr<UNUserNotificationCenter>, UNNotification,
/// std::function<void(unsigned)>).
ZN_EXPORT extern const char* const kSelectorDidReceiveNotificationResponse;
ZN_EXPORT extern const char* const kSelectorWillPresentNotification;
ZN_EXPORT extern const char* const kProtocolUserNotificationCenterDelegate;
