#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "ZNMessaging/ZNInbox/InboxObserver.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/ArchivedFile.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/UIKit/UIFont.h"

namespace zn {
struct InboxBatch;
class InboxBatches;
class InboxObservers;
class OwnerToken;
}  // namespace zn

/// The inbox store: one container in memory, read from the inbox file when the store is made and written back whole
/// after every change that matters.
///
/// The list is newest first after a recorded click and after a synchronisation; other changes keep the order. Entries
/// leave by expiry, removal or clearing only. An inbox file that is damaged, wholly or in part, is kept aside as
/// "InboxData.unreadable" before it is replaced. One that cannot be read now stays as it is: what comes is kept in
/// "InboxData.later" until it can be read, and is then merged as new entries are. Where the file cannot be written,
/// that is logged, the old file stands and memory keeps its state. Each save, synchronisation and foreground entry
/// tries again.
///
/// What a synchronisation takes from a source that it empties, and a click that waits for it, is kept in files of its
/// own ("Pending") until the inbox file contains it: the end of the process at any moment neither loses it nor brings
/// it in twice. Where a process ended so, the next synchronisation takes it in.
///
/// Ownership: one instance a process (sharedInstance), never destroyed; another one must be owned by a shared_ptr to
/// synchronise. Thread: any; each operation is one step against the others. Operations that save block on the disk. No
/// operation throws: a failure is logged, also that of a completion.
class ZN_EXPORT ZNInboxHandler : public std::enable_shared_from_this<ZNInboxHandler> {
 public:
  static const std::shared_ptr<ZNInboxHandler>& sharedInstance();
  /// `init`: loads the inbox; nothing is written.
  ZNInboxHandler();
  ~ZNInboxHandler();

  /// `getFilePathForInbox`: the inbox file below the library folder; its folder is made if it is missing.
  std::string getFilePathForInbox() const;
  /// `updateInboxStorage`: writes the inbox file. False when it could not be written.
  bool updateInboxStorage();
  /// Reads what could not be read before and writes what could not be written; nothing otherwise.
  void retryStorage();

  /// `getAllNotificationModelObjs`: the list as it stands; never null.
  zn::InboxListPtr getAllNotificationModelObjs() const;
  zn::Value getAllNotificationPayloads() const;     ///< `getAllNotificationPayloads`: array of payloads, in list order
  zn::Value getUnreadNotificationPayloads() const;  ///< `getUnreadNotificationPayloads`
  zn::Value getReadNotificationPayloads() const;    ///< `getReadNotificationPayloads`
  std::size_t getAllNotificationCount() const;      ///< `getAllNotificationCount`
  std::size_t getUnreadNotifictionCount() const;    ///< `getUnreadNotifictionCount` (spelled so; hosts call it)

  /// `fetchInboxEntryForCampaignID:`: the first entry of that campaign, or null. Ids are strings, or nil.
  std::shared_ptr<ZNInboxModel> fetchInboxEntryForCampaignID(const zn::Value& campaignID) const;
  /// `markInboxNotificationReadForCampaignID:`: marks an unread entry read and clicked, and saves.
  void markInboxNotificationReadForCampaignID(const zn::Value& campaignID);
  /// `trackInboxNotificationClickForCampaignID:`: tracks a click; the first one marks the entry read, saves, and is
  /// tracked with "isFirstClick".
  void trackInboxNotificationClickForCampaignID(const zn::Value& campaignID);
  /// `updateClickedNotificationInStorageWithPayload:`: records a clicked push. While a synchronisation runs, it tries
  /// again every second, so that the synchronisation's last write does not lose the click; the click, and the receipt
  /// of a push that is not in the inbox, then count from the moment they are recorded, or, where the process ends
  /// before, in the next one from the moment of the click.
  void updateClickedNotificationInStorageWithPayload(const zn::Value& payload);
  /// `removeNotificationForCampaignID:`: removes the first entry of that campaign, and saves.
  void removeNotificationForCampaignID(const zn::Value& campaignID);
  /// `clearInboxData`: an empty inbox, saved; the next synchronisation asks the server for everything.
  void clearInboxData();
  /// Removes what damaged files of the inbox, of the older inbox and of "Pending" were kept as: at a user reset,
  /// before the inbox is cleared.
  void forgetUnreadableFiles();
  /// `resetInboxDataWithLegacyPayloadArray:`: replaces the list with these legacy inbox entries, in this order, and
  /// saves; nil empties it, and what is no array is a failure that leaves it alone. For hosts that hold entries in that
  /// form; the module does not call it.
  void resetInboxDataWithLegacyPayloadArray(const zn::Value& entries);

  // Steps of recording and synchronising. They answer an empty list after a failure, and callers store that: the inbox
  // is then empty, on disk too from the next save on. Kept so: a failed merge must not leave duplicates behind.

  zn::InboxListPtr getSortedInboxArray(const zn::InboxListPtr& list) const;  ///< `getSortedInboxArray:`
  /// `getInboxArrayPostDuplicationCheckWithNewEntries:`
  zn::InboxListPtr getInboxArrayPostDuplicationCheckWithNewEntries(const zn::InboxList& entries) const;
  /// `getInboxArrayPostDuplicationCheckWithServerEntries:`
  zn::InboxListPtr getInboxArrayPostDuplicationCheckWithServerEntries(const zn::InboxList& entries) const;
  /// `removeExpiredInboxMessages`: in memory only.
  void removeExpiredInboxMessages();

  // Synchronisation: brings in what reached the device without passing through the module, from the older inbox file,
  // from the notification service extension and from the server, in this order, then sorts, drops what has expired and
  // saves, once. Completions may be empty, are called exactly once, and those of single steps tell whether the step
  // failed; nothing to bring in is no failure. The first two steps run on the caller's thread, what follows the
  // server's answer on the queue that delivers it.

  using SyncCompletion = std::function<void(bool success)>;
  /// Messages: an array of legacy inbox entries, or nil.
  using MessagesCompletion = std::function<void(bool success, const zn::Value& messages)>;

  /// `syncInboxNotificationsWithCompletionHandler:`: false at once where the inbox service or the library is switched
  /// off; otherwise true in the end, also when sources failed. One that is started while another runs is not refused. A
  /// server that never answers leaves it unfinished until the request's time limit.
  void syncInboxNotificationsWithCompletionHandler(SyncCompletion completion);
  /// `syncNotificationFromOlderPlist:`: merges the older inbox file, unless the inbox holds what is in it already; the
  /// file stays. One that cannot be read now is a failure.
  void syncNotificationFromOlderPlist(const SyncCompletion& completion);
  /// `getPreviouslyStoredNotifications`: the older inbox file's legacy inbox entries, or nil.
  zn::Value getPreviouslyStoredNotifications() const;
  std::string getOlderInboxMessagesPlistFile() const;  ///< `getOlderInboxMessagesPlistFile`: path
  /// `removeOldInboxPlistFile`: deletes it if it is there. A damaged one is kept aside, one that cannot be read now
  /// stays.
  void removeOldInboxPlistFile();
  /// `syncNotificationsFromExtension:`: merges what the notification service extension left in the app group's user
  /// defaults.
  void syncNotificationsFromExtension(const SyncCompletion& completion);
  /// `getStoredNotificationsInExtension`: empties that list, as one step against the extension, and returns it; nil
  /// without an app group, an application id or a list. The caller alone has the payloads then.
  zn::Value getStoredNotificationsInExtension();
  /// `syncNotificationsFromServer:`: asks the server and merges what is new. After a user reset an answer counts as
  /// none.
  void syncNotificationsFromServer(SyncCompletion completion);
  /// `syncInboxFromServerRequestWithCompletionBlock:`: the request alone.
  void syncInboxFromServerRequestWithCompletionBlock(MessagesCompletion completion);

  /// Weakly held; adding one twice counts once. After `removeObserver`, on the main thread, it is not called any more.
  void addObserver(const std::shared_ptr<zn::InboxObserver>& observer);
  void removeObserver(const std::shared_ptr<zn::InboxObserver>& observer);

  static UIFont defaultTextFont();        ///< `defaultTextFont`
  static UIFont defaultUnreadTextFont();  ///< `defaultUnreadTextFont`

  std::shared_ptr<ZNInboxData> inboxData() const;  ///< never null
  /// null stands for an empty one.
  void setInboxData(const std::shared_ptr<ZNInboxData>& data);

  bool syncInProgress() const { return syncInProgress_; }
  void setSyncInProgress(bool inProgress) { syncInProgress_ = inProgress; }

 private:
  zn::Value payloadsWithReadState(bool isRead) const;
  zn::InboxListPtr messages() const;
  using BatchNumbers = std::vector<std::uint64_t>;
  using ListChange = std::function<zn::InboxListPtr(const zn::InboxListPtr& stored)>;
  /// Replaces the list by what `change` makes of it, as one step: `change` runs without a lock, and again if another
  /// thread replaced the list meanwhile. The new list contains these batches.
  void replaceMessages(const ListChange& change, const BatchNumbers& batches = {});
  /// The same in this container only: false, and nothing is changed, once another has taken its place.
  bool replaceMessagesIn(const std::shared_ptr<ZNInboxData>& data, const ListChange& change,
                         const BatchNumbers& batches);
  /// `ordered`: what puts the merged list in order, if anything; so no list is made in between.
  static zn::InboxListPtr mergeNewEntries(const zn::InboxListPtr& stored, const zn::InboxList& entries,
                                          zn::InboxList (*ordered)(zn::InboxList) = nullptr);
  static zn::InboxListPtr mergeServerEntries(const zn::InboxListPtr& stored, const zn::InboxList& entries);

  void adopt(const std::shared_ptr<ZNInboxData>& stored);
  void recordClick(const zn::Value& payload, BatchNumbers keptIn, const zn::OwnerToken& owner);
  void keepClick(const zn::Value& payload, BatchNumbers& keptIn);
  void takeInLeftClicks();
  void mergeBatches(const std::vector<zn::InboxBatch>& batches);
  std::vector<zn::InboxBatch> takeFromExtension(zn::Value& list);
  void mergeServerAnswer(const std::shared_ptr<ZNInboxData>& data, const zn::Value& messages);
  void synchronise(const std::shared_ptr<ZNInboxHandler>& self, const SyncCompletion& completion);
  void finishSynchronisation();

  mutable zn::Mutex stateMutex_;  // held while the container or its list is replaced; never over input or output
  std::shared_ptr<ZNInboxData> inboxData_ ZN_GUARDED_BY(stateMutex_);
  zn::ArchivedFile file_;
  const std::unique_ptr<zn::InboxBatches> batches_;
  const std::shared_ptr<zn::InboxObservers> observers_;
  std::atomic<bool> syncInProgress_{false};
};
