#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"

#include <utility>

#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZintarCore/ZNLogger.h"

namespace zn {

namespace {
thread_local const ShowingScope* innermost = nullptr;
}

void ShowingChain::tellEnd(const Value& refused) {
  if (isTold_.exchange(true)) return;
  zn::log("Device Triggers -- %ld campaigns set off one another, no further one is shown : %@ 🛑", kMost, refused);
}

EventOrigin EventOrigin::here() {
  const std::uint64_t user = triggerGeneration();
  return innermost ? EventOrigin{user, innermost->campaign_, innermost->chain_} : EventOrigin{user, nullptr, nullptr};
}

bool EventOrigin::isShowingOf(const ZNDeviceTriggerCampaign& campaign) const {
  if (!showing) return false;
  // A synchronisation may have replaced the record meanwhile; the id stays. One without an id is only itself.
  return showing.get() == &campaign ||
         (!campaign.campaignID().isNil() && showing->campaignID() == campaign.campaignID());
}

ShowingScope::ShowingScope(std::shared_ptr<const ZNDeviceTriggerCampaign> campaign, std::shared_ptr<ShowingChain> chain)
    : campaign_(std::move(campaign)), chain_(std::move(chain)), outer_(std::exchange(innermost, this)) {}

ShowingScope::~ShowingScope() { innermost = outer_; }

}  // namespace zn
