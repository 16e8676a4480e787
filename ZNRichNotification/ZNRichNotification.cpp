#include "ZNRichNotification/ZNRichNotification.h"

#include <utility>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Once.h"

namespace {

struct Installed {
  zn::Mutex mutex;
  ZNRichNotification::Preparer preparer ZN_GUARDED_BY(mutex);
};

Installed& installed() {
  static zn::NeverDestroyed<Installed> instance;
  return *instance;
}

}  // namespace

void ZNRichNotification::setPreparer(Preparer preparer) {
  zn::Lock lock(installed().mutex);
  installed().preparer.swap(preparer);
}

void ZNRichNotification::getLocalNotificationContentForRequest(const UNNotificationRequest& request,
                                                               Completion completion) {
  Preparer preparer;
  {
    zn::Lock lock(installed().mutex);
    preparer = installed().preparer;
  }
  auto answer = zn::once(std::move(completion));
  if (preparer) return preparer(request, std::move(answer));
  answer(request.content);
}
