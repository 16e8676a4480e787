// The inbox screen's resource file, as somebody changed it: it is refused, or gives a screen that can be drawn.

#include "Fuzz/FuzzDevice.h"
#include "ZNDevices/Simulator/InboxScreen.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/InboxStoryboard_p.h"
#include "ZNPlatform/Foundation/Exception.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string folder = zn::fuzz::device().directories->home();
  zn::fuzz::writeFile(folder + "/ZNInbox.storyboard.json", {data, size});
  try {
    const auto screen = zn::newInboxScreen(NSBundle::bundleWithPath(folder));
    zn::drawnAsText(*screen, 60);
  } catch (const zn::Exception& refusal) {
    zn::fuzz::require(!refusal.reason().empty());
  }
  return 0;
}
