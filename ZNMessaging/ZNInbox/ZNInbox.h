#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIFont.h"
#include "ZintarCore/ZNDateUtils.h"

class UIViewController;
class ZNInboxViewController;

/// The application's entry to the inbox: questions, changes and the ready-made inbox screen. It keeps nothing itself;
/// everything is done by the inbox store, ZNInboxHandler.
///
/// Thread: any, unless said otherwise; what saves blocks on the disk. No operation throws: a failure is logged and
/// gives the neutral result, and so is what a callback throws. A callback is called once, whatever failed. Campaign ids
/// are strings; nil stands for none.
///
/// While the account is inactive or the library is switched off, every operation gives its neutral result and does
/// nothing: null, 0, an empty list, false, a font without a name, a formatter that prints nothing.
class ZN_EXPORT ZNInbox {
 public:
  ZNInbox() = delete;

  /// `initializeInboxOnController:`: puts the inbox screen on that controller, as a child with its view on top, and
  /// returns it. The caller gives the view its frame and may keep the screen to set its properties; the controller owns
  /// it. Without a controller the screen lies nowhere. null where the screen's resource file is missing or broken,
  /// which is logged. Main thread. ZNInboxUI/ZNInboxViewController.h declares the screen.
  static std::shared_ptr<ZNInboxViewController> initializeInboxOnController(
      const std::shared_ptr<UIViewController>& controller);

  /// `getInboxMessagesWithCompletionBlock:`: calls back at once, on this thread, with the list as it stands (never
  /// null).
  static void getInboxMessagesWithCompletionBlock(const std::function<void(const zn::InboxListPtr&)>& callback);
  /// `fetchInboxMessagesWithCompletion:`: synchronises the inbox. The callback, if given, is told whether that
  /// succeeded, on the thread where it ended.
  static void fetchInboxMessagesWithCompletion(std::function<void(bool success)> callback);
  /// `markInboxNotificationClickedWithCampaignID:`: marks the message read.
  static void markInboxNotificationClickedWithCampaignID(const zn::Value& campaignID);
  /// `processInboxNotificationWithCampaignID:`: does what a click on the notification would do: deep link, landing page
  /// and so on.
  static void processInboxNotificationWithCampaignID(const zn::Value& campaignID);
  /// `trackInboxNotificationClickWithCampaignID:`: tracks a click; the first one marks the message read.
  static void trackInboxNotificationClickWithCampaignID(const zn::Value& campaignID);
  /// `removeInboxMessages`: empties the inbox.
  static void removeInboxMessages();
  /// `removeMessageWithCampaignID:`: nothing for nil and for an empty id.
  static void removeMessageWithCampaignID(const zn::Value& campaignID);
  static std::size_t getAllNotificationCount();    ///< `getAllNotificationCount`
  static std::size_t getUnreadNotifictionCount();  ///< `getUnreadNotifictionCount` (spelled so; hosts call it)

  /// `dateFormatterWithFormat:`: any pattern of Unicode's date fields, in English and in the device's time zone.
  static zn::DateFormatter dateFormatterWithFormat(const std::string& format);
  static UIFont defaultTextFont();        ///< `defaultTextFont`: of messages that were read
  static UIFont defaultUnreadTextFont();  ///< `defaultUnreadTextFont`
};
