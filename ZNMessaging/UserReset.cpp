#include "ZNMessaging/UserReset_p.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Storage.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace zn {

namespace {

constexpr const char* kClearedResetsKey = "kUserDefaultsKeyMessagingUserResets";

std::int64_t clearedResets() { return ZNCoreUtils::getSDKUserDefault()->objectForKey(kClearedResetsKey).integer(); }

/// Writes the number down as soon as the files are written too.
class Waiting final : public StorageObserver {
 public:
  void storageChanged(const std::vector<StorageProblem>& problems) override {
    const std::string files[] = {ZNInboxHandler::sharedInstance()->getFilePathForInbox(),
                                 ZNDeviceTriggersDataManager::sharedInstance()->getDeviceTriggerFilePath()};
    const bool isOnDisk = std::none_of(problems.begin(), problems.end(), [&](const StorageProblem& each) {
      return std::find(std::begin(files), std::end(files), each.file) != std::end(files);
    });
    const std::int64_t resets = forgotten_.load();
    if (isOnDisk && resets != clearedResets()) ZNCoreUtils::getSDKUserDefault()->setObject(resets, kClearedResetsKey);
  }
  void didForget(std::int64_t resets) {
    forgotten_.store(resets);
    storageChanged(Storage::problems());
  }

 private:
  std::atomic<std::int64_t> forgotten_{clearedResets()};
};

const std::shared_ptr<Waiting>& waiting() {
  static const NeverDestroyed shared([] {
    const auto made = std::make_shared<Waiting>();
    Storage::addObserver(made);
    return made;
  }());
  return *shared;
}

}  // namespace

bool UserReset::isDue() { return UserSession::resets() != clearedResets(); }

void UserReset::didForget(std::int64_t resets) { waiting()->didForget(resets); }

}  // namespace zn
