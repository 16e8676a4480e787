#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"

#include <utility>

#include "ZintarCore/ZNLogger.h"

namespace zn {

namespace {
thread_local const OriginScope* innermost = nullptr;
}

void ShowingChain::tellEnd(const Value& refused) {
  if (isTold_.exchange(true)) return;
  zn::log("Device Triggers -- %ld campaigns set off one another, no further one is shown : %@ 🛑", kMost, refused);
}

EventOrigin EventOrigin::here() { return innermost ? innermost->origin() : EventOrigin{}; }

bool EventOrigin::isShowingOf(const ZNDeviceTriggerCampaign& campaign) const {
  if (!showing) return false;
  // A synchronisation may have replaced the record meanwhile; the id stays. One without an id is only itself.
  return showing.get() == &campaign ||
         (!campaign.campaignID().isNil() && showing->campaignID() == campaign.campaignID());
}

OriginScope::OriginScope(EventOrigin origin) : origin_(std::move(origin)), outer_(std::exchange(innermost, this)) {}

OriginScope::~OriginScope() { innermost = outer_; }

}  // namespace zn
