#include "ZNMessaging/ZNInbox/ZNInboxUI/InboxStoryboard_p.h"

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxTableViewCell.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/UIKit/UIStoryboard.h"

std::shared_ptr<ZNInboxViewController> zn::newInboxScreen(const NSBundle& bundle) {
  const auto storyboard = UIStoryboard::storyboardWithName(
      ZN_STORYBOARD, bundle,
      {.screens = {{"ZNInboxViewController", [] { return std::make_shared<ZNInboxViewController>(); }}},
       .cells = {{"ZNInboxTableViewCell", [] { return std::make_shared<ZNInboxTableViewCell>(); }}}});
  auto screen = std::dynamic_pointer_cast<ZNInboxViewController>(
      storyboard->instantiateViewControllerWithIdentifier(ZN_STORYBOARD_INBOX));
  if (!screen) throw Exception("the storyboard's screen is no inbox");
  return screen;
}
