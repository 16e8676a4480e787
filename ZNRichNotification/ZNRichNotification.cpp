#include "ZNRichNotification/ZNRichNotification.h"

#include <utility>

#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Once.h"
#include "ZintarCore/GuardedFields.h"

namespace {

using Installed = zn::GuardedFields<ZNRichNotification::Preparer>;

Installed& installed() {
  static zn::NeverDestroyed<Installed> instance;
  return *instance;
}

}  // namespace

void ZNRichNotification::setPreparer(Preparer preparer) { installed().replace(std::move(preparer)); }

void ZNRichNotification::getLocalNotificationContentForRequest(const UNNotificationRequest& request,
                                                               Completion completion) {
  auto answer = zn::once(std::move(completion));
  if (const Preparer preparer = installed().all()) return preparer(request, std::move(answer));
  answer(request.content);
}
