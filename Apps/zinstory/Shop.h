#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Apps/zinstory/Page.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZNPlatform/NotificationRecorder.h"

namespace zinstory {

/// The application of the story's last part: a real clock, a real server, and a device that keeps its notifications
/// instead of showing them.
class Shop {
 public:
  /// Installs the device, with its files in `home`, and takes the server's address for its configuration.
  Shop(Page& page, const std::string& home, const std::string& server);
  ~Shop() { device_->shutDown(); }
  Shop(const Shop&) = delete;
  Shop& operator=(const Shop&) = delete;

  /// Starts the module and waits until its campaigns and its inbox are synchronised.
  void start();

  /// Runs the main queue until that is so. Throws zn::Exception, naming it, when it takes too long.
  void await(const char* what, const std::function<bool()>& isDone);
  void settle();  ///< until nothing is queued any more

  Page& page() { return page_; }
  zn::NotificationRecorder& recorder() { return *recorder_; }
  double now() const { return device_->clock->now().secondsSince1970; }

 private:
  Page& page_;
  std::shared_ptr<zn::HeadlessDevice> device_;
  zn::NotificationRecorder* recorder_ = nullptr;
};

/// What a shop on `home` finds in its inbox, and which campaigns of that folder events set off. To be told before this
/// process has a second thread.
void tellShop(Page& page, const std::string& home, const std::string& campaignFolder);

}  // namespace zinstory
