#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/Runtime/KeyValueObserving.h"
#include "ZNPlatform/Runtime/Runtime.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZintarCore/GuardedFields.h"

/// Inserts the module into the host's delegates at run time, so that the host need not hand callbacks on.
///
/// The application delegate's callbacks about remote notifications arrive through ZNAppDelegateSwizzler, with which the
/// proxy registers as interceptor. Of the notification centre's delegate the two callbacks are replaced in its class:
/// the replacement does the module's work and then calls the implementation that was there before. The proxy observes
/// the centre's "delegate" and moves the replacement from class to class as the host assigns delegates; a response that
/// arrives meanwhile meets one delegate, intercepted once (see UNUserNotificationCenter). The facade starts all this.
///
/// Ownership: the module's one is sharedProxy, never destroyed; what replacements call is looked up there. The delegate
/// that is intercepted is held strongly. Thread: any. No operation throws; failures are logged.
class ZN_EXPORT ZNAppDelegateMessagingProxy : public zn::Object {
 public:
  static bool canSwizzleMethods();  ///< `canSwizzleMethods`: the host left the proxy switched on
  static const std::shared_ptr<ZNAppDelegateMessagingProxy>& sharedProxy();  ///< `sharedProxy`

  /// `swizzleMethodsIfPossible`: registers the interceptor, intercepts the centre's delegate and observes the centre,
  /// and records that the proxy is set up. Once a process; later calls do nothing.
  void swizzleMethodsIfPossible();
  /// `unswizzleAllMethods`: unregisters the interceptor and undoes the recorded replacements. These are no more than
  /// the last one of each class, see trackSwizzledSelector. The observation stays.
  void unswizzleAllMethods();

  // What the interceptor gets.

  /// `application:didReceiveRemoteNotification:`
  void didReceiveRemoteNotification(const std::shared_ptr<UIApplication>& application, const zn::Value& userInfo);
  /// `application:didReceiveRemoteNotification:fetchCompletionHandler:`; the completion is the application delegate's
  /// to call, and is not kept here.
  void didReceiveRemoteNotification(const std::shared_ptr<UIApplication>& application, const zn::Value& userInfo,
                                    const std::function<void(unsigned result)>& completion);
  /// `application:didFailToRegisterForRemoteNotificationsWithError:`
  void didFailToRegisterForRemoteNotificationsWithError(const std::shared_ptr<UIApplication>& application,
                                                        const std::string& error);
  /// `application:didRegisterForRemoteNotificationsWithDeviceToken:`
  void didRegisterForRemoteNotificationsWithDeviceToken(const std::shared_ptr<UIApplication>& application,
                                                        const zn::Data& token);

  // Observation of the centre's delegate.

  /// `listenForDelegateChangesInUserNotificationCenter:`: intercepts the centre's present delegate, if there is one
  /// that conforms, and observes the centre. Takes its turn with assignments of the delegate.
  void listenForDelegateChangesInUserNotificationCenter(const std::shared_ptr<zn::Object>& center);
  /// `addDelegateObserverToUserNotificationCenter:`: ends the observation in place, if any, and observes this centre.
  void addDelegateObserverToUserNotificationCenter(const std::shared_ptr<zn::Object>& center);
  /// `removeUserNotificationCenterDelegateObserver`
  void removeUserNotificationCenterDelegateObserver();
  /// `observeValueForKeyPath:ofObject:change:context:`: moves the interception from the old delegate to the new one.
  void observeValueForKeyPath(const std::string& keyPath, const std::shared_ptr<zn::Object>& object,
                              const zn::KeyValueChange& change, const void* context) override;

  /// `swizzleUserNotificationCenterDelegate:`: replaces those of the two callbacks that the delegate responds to.
  /// Nothing for the delegate that is intercepted already; one that does not conform to the protocol is logged instead.
  void swizzleUserNotificationCenterDelegate(const std::shared_ptr<zn::Object>& delegate);
  /// `unswizzleUserNotificationCenterDelegate:`: undoes it; only for the delegate that is intercepted.
  void unswizzleUserNotificationCenterDelegate(const std::shared_ptr<zn::Object>& delegate);

  // Replacing implementations.

  /// `swizzleSelector:inClass:withImplementation:inProtocol:`: replaces the implementation that the class has, own or
  /// inherited (then in the class that defines it), and saves the one before, or adds one where there is none, if it
  /// has the signature of the protocol's optional method. Without a protocol any signature will do.
  void swizzleSelector(zn::Selector selector, zn::Class& inClass, const zn::MethodPtr& implementation,
                       const zn::Protocol* protocol);
  /// `unswizzleSelector:inClass:`: puts the saved implementation back, or, where none is saved, the missing one: a
  /// method that was added behaves like a missing one from then on, though the class responds to it.
  void unswizzleSelector(zn::Selector selector, zn::Class& inClass);
  /// `saveOriginalImplementation:forSelector:`: under the selector's name only, so that a later save for another class
  /// overwrites it. Nothing without an implementation or a selector.
  void saveOriginalImplementation(const zn::MethodPtr& implementation, zn::Selector selector);
  /// `originalImplementationForSelector:`: the saved one, or null.
  zn::MethodPtr originalImplementationForSelector(zn::Selector selector) const;
  void removeImplementationForSelector(zn::Selector selector);  ///< `removeImplementationForSelector:`
  /// `trackSwizzledSelector:ofClass:`: a class's record holds the last selector only that was replaced in it, because
  /// what it is appended to is looked up under the selector's name and stored under the class's.
  void trackSwizzledSelector(zn::Selector selector, const zn::Class& ofClass);
  /// `nonExistantMethodImplementationForClass:`: what the class has for a selector that no class implements.
  zn::MethodPtr nonExistantMethodImplementationForClass(const zn::Class& ofClass) const;

  using SelectorsByClass = std::map<std::string, std::vector<std::string>>;
  bool didSwizzleMethods() const { return state_.get(&State::didSwizzleMethods); }
  bool hasSwizzledUserNotificationDelegate() const { return currentUserNotificationCenterDelegate() != nullptr; }
  bool isObservingUserNotificationDelegateChanges() const { return userNotificationCenter() != nullptr; }
  /// The observed one, or null.
  std::shared_ptr<zn::Object> userNotificationCenter() const { return state_.get(&State::userNotificationCenter); }
  /// The intercepted one, or null.
  std::shared_ptr<zn::Object> currentUserNotificationCenterDelegate() const {
    return state_.get(&State::currentUserNotificationCenterDelegate);
  }
  /// "" before the set-up.
  std::string appDelegateInterceptorID() const { return state_.get(&State::appDelegateInterceptorID); }
  SelectorsByClass swizzledSelectorsByClass() const;

  /// What a replacement that is called for this receiver has to call: the saved implementation, or, where that is for
  /// objects of another class, the receiver's own; null when there is none.
  zn::MethodPtr previousImplementationFor(const zn::Object& receiver, zn::Selector selector) const;

  const zn::Class& isa() const override;
  ~ZNAppDelegateMessagingProxy() override;

 private:
  /// What the exception guards log.
  static constexpr const char* kProxyFailure = "Exception in the delegate proxy : %@";

  struct State {
    bool didSwizzleMethods = false;
    bool isSettingUp = false;
    std::shared_ptr<zn::Object> userNotificationCenter;
    std::shared_ptr<zn::Object> currentUserNotificationCenterDelegate;
    std::string appDelegateInterceptorID;
  };

  void setUp();
  void listenTo(const std::shared_ptr<zn::Object>& center);
  void saveLocked(const zn::MethodPtr& implementation, zn::Selector selector) ZN_REQUIRES(mutex_);
  void trackLocked(zn::Selector selector, const zn::Class& ofClass) ZN_REQUIRES(mutex_);

  /// Held over what belongs together, a change of a class's table and of what is saved, so that a replacement never
  /// looks up one without the other. Nothing is called under it but the run time.
  mutable zn::Mutex mutex_;
  std::map<std::string, zn::MethodPtr> originalAppDelegateImps_ ZN_GUARDED_BY(mutex_);  // by selector name
  SelectorsByClass swizzledSelectorsByClass_ ZN_GUARDED_BY(mutex_);
  /// What was replaced where, for receivers that the saved implementation does not take.
  std::map<std::pair<const zn::Class*, std::string>, zn::MethodPtr> ownImplementations_ ZN_GUARDED_BY(mutex_);
  zn::GuardedFields<State> state_;
};

/// Context of the proxy's own observations.
ZN_EXPORT extern const void* const UserNotificationObserverContext;

/// The replacements: one implementation each for all classes, with the signature of what they replace. Both call the
/// implementation before, if there is one, whose affair the completion is; the one for responses hands the response to
/// ZNNotificationHandler first. They run on the thread on which the platform calls the delegate.
ZN_EXPORT const zn::MethodPtr& zin_swizzle_willPresentNotificationWithHandler();
ZN_EXPORT const zn::MethodPtr& zin_swizzle_didReceiveNotificationResponseWithHandler();

/// What the object's operation of that name, which takes no arguments and answers an object, answers, if it is of the
/// expected class (null: of any). Null for an object that has no such operation. Classes are objects too.
ZN_EXPORT std::shared_ptr<zn::Object> getNamedPropertyFromObject(zn::Object& object, const std::string& name,
                                                                 const zn::Class* expectedClass);
