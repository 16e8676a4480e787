#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Runtime/DelegateCall_p.h"

const char* const UNNotificationDefaultActionIdentifier = "UNNotificationDefaultActionIdentifier";
const char* const UNNotificationDismissActionIdentifier = "UNNotificationDismissActionIdentifier";

const char* const kSelectorDidReceiveNotificationResponse =
    "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";
const char* const kSelectorWillPresentNotification =
    "userNotificationCenter:willPresentNotification:withCompletionHandler:";
const char* const kProtocolUserNotificationCenterDelegate = "UNUserNotificationCenterDelegate";

namespace {

zn::DeviceNotifications& machine() { return *zn::Device::current().notifications; }

/// Devices call completions without asking whether there is one.
template <class... A>
std::function<void(A...)> callable(std::function<void(A...)> completion) {
  if (completion) return completion;
  return [](A...) {};
}

constexpr const char* kDelegateKeyPath = "delegate";

using Center = std::shared_ptr<UNUserNotificationCenter>;

std::shared_ptr<zn::Object> currentCenter() { return UNUserNotificationCenter::currentNotificationCenter(); }

const zn::Class& centerClass() {
  static const zn::Class* const mine = zn::ClassBuilder<UNUserNotificationCenter>("UNUserNotificationCenter")
                                           .implements(kDelegateKeyPath, &UNUserNotificationCenter::delegate)
                                           .implementsClassOperation("currentNotificationCenter", &currentCenter)
                                           .build();
  return *mine;
}

const zn::Selector kDidReceive(kSelectorDidReceiveNotificationResponse);
const zn::Selector kWillPresent(kSelectorWillPresentNotification);

const zn::Protocol& delegateProtocol() {
  static const zn::Protocol* const mine =
      zn::Protocol::define(kProtocolUserNotificationCenterDelegate,
                           {zn::optionalMethod<void, Center, UNNotificationResponse, std::function<void()>>(
                                kSelectorDidReceiveNotificationResponse),
                            zn::optionalMethod<void, Center, UNNotification, std::function<void(unsigned)>>(
                                kSelectorWillPresentNotification)});
  return *mine;
}

/// Both are found by name before there is a centre.
[[maybe_unused]] const bool areDefined = (centerClass(), delegateProtocol(), true);

}  // namespace

/// Where responses go, with the implementations that they reach there.
struct UNUserNotificationCenter::Recipient {
  std::weak_ptr<zn::Object> delegate;
  std::uint64_t version;  // of the run time's tables
  zn::MethodPtr didReceive;
  zn::MethodPtr willPresent;
};

UNUserNotificationCenter::UNUserNotificationCenter() : recipient_(recipientFor(nullptr)) {}

const zn::Class& UNUserNotificationCenter::isa() const { return centerClass(); }

std::shared_ptr<UNUserNotificationCenter> UNUserNotificationCenter::currentNotificationCenter() {
  static const zn::NeverDestroyed shared(std::make_shared<UNUserNotificationCenter>());
  return *shared;
}

std::shared_ptr<zn::Object> UNUserNotificationCenter::delegate() const {
  const zn::Lock lock(mutex_);
  return delegate_.lock();
}

// Why a response meets one delegate, intercepted once. Responses go by `recipient_`, which is immutable: a delegate
// together with the implementations that its class had for both selectors, each bound to the original that it stands in
// front of. Assignments take turns: one thread at a time takes them from the queue, tells the observers, who may
// replace implementations, restore them and drop originals, and only then publishes a recipient made from what they
// left. While it does, responses go by the recipient before, which holds its replacement and its original whatever
// becomes of the tables, and holds nothing of the next delegate. When nobody is telling, a recipient older than the
// tables is made anew. A response locks the delegate for as long as it is in flight. Observers run without a lock; what
// they assign is queued, so they wait for nobody.

void UNUserNotificationCenter::setDelegate(const std::shared_ptr<zn::Object>& delegate) {
  performInTurn([this, delegate] { announce(delegate); }, &delegate);
}

void UNUserNotificationCenter::performBetweenAssignments(std::function<void()> step) {
  performInTurn(std::move(step), nullptr);
}

void UNUserNotificationCenter::performInTurn(Step step, const std::shared_ptr<zn::Object>* assigned) {
  recipient();  // it must be up to date when the observers begin
  {
    const zn::Lock lock(mutex_);
    steps_.push_back(std::move(step));
    if (assigned) delegate_ = *assigned;
    if (isPerforming_) return;
    isPerforming_ = true;
  }
  try {
    performSteps();
  } catch (...) {
    // The thread is being cancelled, or out of memory: the next assignment goes on with what is queued.
    const zn::Lock lock(mutex_);
    isPerforming_ = false;
    throw;
  }
}

void UNUserNotificationCenter::performSteps() {
  while (const Step step = nextStep()) {
    step();
    std::shared_ptr<zn::Object> announced;
    {
      const zn::Lock lock(mutex_);
      announced = announced_.lock();
    }
    auto made = recipientFor(announced);
    const zn::Lock lock(mutex_);
    recipient_.swap(made);
  }
}

UNUserNotificationCenter::Step UNUserNotificationCenter::nextStep() {
  const zn::Lock lock(mutex_);
  isPerforming_ = !steps_.empty();
  if (!isPerforming_) return nullptr;
  Step next = std::move(steps_.front());
  steps_.pop_front();
  return next;
}

void UNUserNotificationCenter::announce(const std::shared_ptr<zn::Object>& delegate) {
  std::shared_ptr<zn::Object> previous;
  {
    const zn::Lock lock(mutex_);
    previous = announced_.lock();
    announced_ = delegate;
  }
  observers_.tell(shared_from_this(), kDelegateKeyPath, previous, delegate);
}

std::shared_ptr<const UNUserNotificationCenter::Recipient> UNUserNotificationCenter::recipientFor(
    const std::shared_ptr<zn::Object>& delegate) {
  const auto made = std::make_shared<Recipient>();
  made->version = zn::implementationsVersion();
  made->delegate = delegate;
  if (delegate) {
    made->didReceive = zn::boundImplementation(*delegate, kDidReceive);
    made->willPresent = zn::boundImplementation(*delegate, kWillPresent);
  }
  return made;
}

std::shared_ptr<const UNUserNotificationCenter::Recipient> UNUserNotificationCenter::recipient() {
  std::shared_ptr<const Recipient> known;
  {
    const zn::Lock lock(mutex_);
    if (isPerforming_ || recipient_->version == zn::implementationsVersion()) return recipient_;
    known = recipient_;
  }
  const auto made = recipientFor(known->delegate.lock());
  const zn::Lock lock(mutex_);
  if (!isPerforming_ && recipient_ == known) recipient_ = made;
  return recipient_;
}

void UNUserNotificationCenter::addObserver(const std::shared_ptr<zn::Object>& observer, const std::string& keyPath,
                                           unsigned options, const void* context) {
  if (keyPath != kDelegateKeyPath) return Object::addObserver(observer, keyPath, options, context);
  observers_.add(observer, keyPath, options, context);
}

void UNUserNotificationCenter::removeObserver(const zn::Object& observer, const std::string& keyPath,
                                              const void* context) {
  if (keyPath != kDelegateKeyPath) return Object::removeObserver(observer, keyPath, context);
  observers_.remove(observer, keyPath, context);
}

void UNUserNotificationCenter::requestAuthorizationWithOptions(
    unsigned options, std::function<void(bool granted, const std::optional<std::string>& error)> completion) {
  machine().requestAuthorization(options, callable(std::move(completion)));
}

void UNUserNotificationCenter::getNotificationSettingsWithCompletionHandler(
    std::function<void(const UNNotificationSettings&)> completion) {
  machine().getSettings(callable(std::move(completion)));
}

void UNUserNotificationCenter::setNotificationCategories(const std::vector<UNNotificationCategory>& categories) {
  machine().setCategories(categories);
}

void UNUserNotificationCenter::addNotificationRequest(const UNNotificationRequest& request,
                                                      ErrorCompletion completion) {
  machine().add(request, callable(std::move(completion)));
}

void UNUserNotificationCenter::getPendingNotificationRequestsWithCompletionHandler(
    std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  machine().getPending(callable(std::move(completion)));
}

void UNUserNotificationCenter::removePendingNotificationRequestsWithIdentifiers(
    const std::vector<std::string>& identifiers) {
  machine().removePending(identifiers);
}

void UNUserNotificationCenter::removeAllPendingNotificationRequests() { machine().removePending(std::nullopt); }

void UNUserNotificationCenter::getDeliveredNotificationsWithCompletionHandler(
    std::function<void(const std::vector<UNNotification>&)> completion) {
  machine().getDelivered(callable(std::move(completion)));
}

void UNUserNotificationCenter::removeDeliveredNotificationsWithIdentifiers(
    const std::vector<std::string>& identifiers) {
  machine().removeDelivered(identifiers);
}

void UNUserNotificationCenter::removeAllDeliveredNotifications() { machine().removeDelivered(std::nullopt); }

zn::Delivery UNUserNotificationCenter::deliverResponse(const UNNotificationResponse& response,
                                                       std::function<void()> completion) {
  const auto to = recipient();
  const auto delegate = to->delegate.lock();
  if (!delegate) return zn::Delivery::nobody;
  const auto self = std::static_pointer_cast<UNUserNotificationCenter>(shared_from_this());
  return zn::callImplementation(to->didReceive, false, *delegate, kDidReceive, self, response, completion);
}

zn::Delivery UNUserNotificationCenter::deliverWillPresent(const UNNotification& notification,
                                                          std::function<void(unsigned options)> completion) {
  const auto to = recipient();
  const auto delegate = to->delegate.lock();
  if (!delegate) return zn::Delivery::nobody;
  const auto self = std::static_pointer_cast<UNUserNotificationCenter>(shared_from_this());
  return zn::callImplementation(to->willPresent, false, *delegate, kWillPresent, self, notification, completion);
}
