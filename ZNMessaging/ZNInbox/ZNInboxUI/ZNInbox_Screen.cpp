#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/InboxStoryboard_p.h"
#include "ZintarCore/ExceptionGuard.h"

std::shared_ptr<ZNInboxViewController> ZNInbox::initializeInboxOnController(
    const std::shared_ptr<UIViewController>& controller) {
  return zn::guarded("initializeInboxOnController:", "Exception(ZNInbox) Initialize VC : %@",
                     [&]() -> std::shared_ptr<ZNInboxViewController> {
                       if (!zn::isSwitchedOn()) return nullptr;
                       const NSBundle bundle =
                           NSBundle::bundleForAddress(reinterpret_cast<const void*>(&zn::newInboxScreen));
                       const auto inbox = zn::newInboxScreen(bundle);
                       inbox->setAutomaticallyAdjustsScrollViewInsets(false);
                       if (controller) {
                         controller->setAutomaticallyAdjustsScrollViewInsets(false);
                         controller->addChildViewController(inbox);
                         controller->view()->addSubview(inbox->view());
                       } else {
                         inbox->view();
                       }
                       inbox->didMoveToParentViewController(controller);
                       return inbox;
                     });
}
