#include <chrono>
#include <optional>
#include <utility>

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxBatches_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxObservers_p.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/Once.h"
#include "ZNPlatform/Foundation/PropertyList.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::InboxBatch;

/// Number of the last batch that left the extension's list, kept where the list is.
constexpr const char* kLastBatchKey = "zin_inbox_last_batch";

constexpr const char* kSyncFailure = "exception while syncing inbox messages is %@";
constexpr const char* kRequestSelector = "syncInboxFromServerRequestWithCompletionBlock:";
constexpr const char* kExtensionFailure = "exception while getting notifications from extension storage %@";

/// Whether a list from outside has anything in it. Throws where it is no list.
bool holdsEntries(const zn::Value& list) {
  if (!list.isNil() && !list.isArray()) throw zn::Exception(zn::format("a list was expected, not %@", list));
  return !list.isEmpty();
}

/// The older inbox file's dictionary; nil where there is none. Throws where it cannot be read now.
zn::Value readOlderFile(const std::string& path, bool* isDamaged = nullptr) {
  using Outcome = zn::StateFile::Outcome;
  const zn::StateFile file = zn::readStateFile(path, zn::kMaximumMessageFile);
  if (file.outcome == Outcome::unread) throw zn::Exception(file.error);
  if (file.outcome == Outcome::absent) return zn::nil;
  const zn::Value list = zn::parsePropertyList(file.bytes).value_or(zn::nil);
  if (isDamaged) *isDamaged = !list.isDictionary();
  return list;
}

std::shared_ptr<ZNInboxModel> entryOf(const InboxBatch& batch, const zn::Value& payload) {
  const zn::Date taken{batch.taken};
  switch (batch.source) {
    case InboxBatch::Source::older:
      return ZNInboxModel::initWithLegacyInboxPlistPayload(payload, taken);
    case InboxBatch::Source::extension:
      return ZNInboxModel::initWithNotificationPayload(payload, taken);
    case InboxBatch::Source::click:
      break;
  }
  auto entry = ZNInboxModel::initWithNotificationPayload(payload, taken);
  entry->updateClickedDate(taken);
  return entry;
}

using ListTaken = std::function<void(const zn::Value& list, const std::string& group, zn::Value& store)>;

/// Empties the extension's list in both layouts. `taken` gets it within the same step against the extension; what it
/// throws leaves the list as it is. False without an app group or application id.
bool emptyExtensionList(const ListTaken& taken) {
  const auto& configuration = ZNConfigDataManager::sharedInstance();
  const zn::Value group = configuration->getAppGroupID();
  if (group.length() == 0 || !configuration->hasZinAppID()) return false;
  const std::string suite(group.string());
  const std::string appID(configuration->getZinAppID().string());
  std::string error;
  const auto change = [&](zn::Value& store) {
    zn::Value list;
    zn::Value ofApplication = store.validObjectForKey(appID).mutableCopy();
    if (ofApplication.isDictionary()) {
      list = ofApplication.validObjectForKey(zn::payload::pendingNotifications);
      ofApplication.setObjectNilHandled(zn::Value::array(), zn::payload::pendingNotifications);
      store.setObjectNilHandled(ofApplication.copy(), appID);
    }
    // Where the application has a list of its own, what an older extension left beside it is not read.
    if (list.isNil()) list = store.validObjectForKey(zn::payload::pendingNotifications);
    store.setObjectNilHandled(zn::Value::array(), zn::payload::pendingNotifications);
    taken(list, suite, store);
  };
  // This is the main thread, and an extension that is stopped keeps what it has locked: the list then stays for the
  // next synchronisation.
  constexpr std::chrono::milliseconds kPatience(500);
  if (!NSUserDefaults::initWithSuiteName(suite)->tryTransaction(change, error, kPatience)) throw zn::Exception(error);
  return true;
}

}  // namespace

void ZNInboxHandler::syncInboxNotificationsWithCompletionHandler(SyncCompletion completion) {
  constexpr const char* kSelector = "syncInboxNotificationsWithCompletionHandler:";
  zn::answeredOnce(kSelector, kSyncFailure, std::move(completion), [&](const auto& answer) {
    if (!ZNConfigDataManager::sharedInstance()->isInboxServiceActive() || !ZNCoreUtils::isSDKEnabled()) return false;
    synchronise(shared_from_this(), answer);
    return true;
  });
}

/// `self`: taken before anything begins, since a store that nobody shares cannot wait for the server.
void ZNInboxHandler::synchronise(const std::shared_ptr<ZNInboxHandler>& self, const SyncCompletion& completion) {
  retryStorage();  // the server is asked for what came after what the file holds
  setSyncInProgress(true);
  const auto finish = [self, completion](const zn::OwnerToken& owner, bool success) {
    if (!owner.holds()) {
      zn::log("Inbox Sync: the server's answer is left unused, the user was reset meanwhile");
    } else if (!success) {
      zn::log("Inbox Sync Failed from Server");
    }
    self->finishSynchronisation();
    completion(true);
  };
  syncNotificationFromOlderPlist([&](bool success) {
    if (success) {
      removeOldInboxPlistFile();
    } else {
      zn::log("Inbox Sync Failed from Old Inbox File");
    }
    syncNotificationsFromExtension([&](bool succeeded) {
      if (!succeeded) zn::log("Inbox Sync Failed from Extension");
      takeInLeftClicks();  // of messages that the steps before brought in
      // The token of whom the request is made for: a reset during the steps above does not make its answer useless.
      const auto answered = [finish, owner = zn::OwnerToken::ofUser()](bool taken) { finish(owner, taken); };
      syncNotificationsFromServer(answered);
    });
  });
}

void ZNInboxHandler::finishSynchronisation() {
  zn::guarded("syncInboxNotificationsWithCompletionHandler:", "exception while finishing inbox sync %@", [&] {
    replaceMessages([this](const zn::InboxListPtr& stored) { return getSortedInboxArray(stored); });
    removeExpiredInboxMessages();
    updateInboxStorage();
    if (!ZNLogger::sharedInstance()->isEnabled()) return;  // the list below is as long as the inbox
    zn::log("Inbox Sync Completed, Inbox Messages: %@", getAllNotificationPayloads());
  });
  setSyncInProgress(false);
}

/// Merges what a source gave, as new entries. From then on every save of the inbox contains it.
void ZNInboxHandler::mergeBatches(const std::vector<InboxBatch>& batches) {
  if (batches.empty()) return;
  try {
    zn::InboxList entries;
    BatchNumbers numbers;
    for (const InboxBatch& batch : batches) {
      numbers.push_back(batch.number);
      const zn::InboxList made =
          zn::entriesOf(batch.payloads.elements(), [&](const zn::Value& payload) { return entryOf(batch, payload); });
      entries.insert(entries.end(), made.begin(), made.end());
    }
    replaceMessages([&](const zn::InboxListPtr& stored) { return mergeNewEntries(stored, entries); }, numbers);
  } catch (...) {
    batches_->giveBack(batches);
    throw;
  }
}

/// Clicks that still waited for a synchronisation when the process ended.
void ZNInboxHandler::takeInLeftClicks() {
  zn::guarded("syncInboxNotificationsWithCompletionHandler:", "exception while taking in earlier clicks : %@",
              [&] { mergeBatches(batches_->take(InboxBatch::Source::click)); });
}

void ZNInboxHandler::syncNotificationFromOlderPlist(const SyncCompletion& completion) {
  constexpr const char* kSelector = "syncNotificationFromOlderPlist:";
  constexpr const char* kFailure = "exception while getting all inbox notifications from legacy storage %@";
  const bool done = zn::guarded(kSelector, kFailure, [&] {
    constexpr auto kSource = InboxBatch::Source::older;
    const zn::Value entries = readOlderFile(getOlderInboxMessagesPlistFile()).validObjectForKey(ZN_PUSH_MESSAGES_INFO);
    std::optional<InboxBatch> fresh;
    if (holdsEntries(entries)) {
      if (!batches_->isComplete()) throw zn::Exception("earlier batches cannot be read now");
      InboxBatch batch{.source = kSource, .payloads = entries, .origin = zn::InboxBatches::originOf(entries)};
      if (!batches_->holds(kSource, batch.origin)) fresh = batches_->keep(std::move(batch));
    }
    std::vector<InboxBatch> batches = batches_->take(kSource);  // left over, of this file or of one that is gone
    if (fresh) batches.push_back(std::move(*fresh));
    mergeBatches(batches);
    return true;
  });
  zn::guardedOnce(kSelector, kFailure, completion)(done);
}

std::string ZNInboxHandler::getOlderInboxMessagesPlistFile() const {
  return zn::stringByAppendingPathComponent(ZNCoreUtils::getDocumentsDirectoryPath(), "InboxMessages.plist");
}

zn::Value ZNInboxHandler::getPreviouslyStoredNotifications() const {
  return zn::guarded("getPreviouslyStoredNotifications", "exception while fetching plist Inbox notifications  %@", [&] {
    return readOlderFile(getOlderInboxMessagesPlistFile()).validObjectForKey(ZN_PUSH_MESSAGES_INFO);
  });
}

void ZNInboxHandler::removeOldInboxPlistFile() {
  constexpr const char* kSelector = "removeOldInboxPlistFile";
  constexpr const char* kFailure = "Zintra - error while removing inbox plist is %@";
  zn::guarded(kSelector, kFailure, [&] {
    const std::string path = getOlderInboxMessagesPlistFile();
    if (!zn::fileExistsAtPath(path)) return;
    std::string error;
    bool isDamaged = false;
    readOlderFile(path, &isDamaged);
    const std::string aside = isDamaged ? zn::keepAside(path, &error) : "";
    const bool mayGo = !isDamaged || !aside.empty();
    if (mayGo && zn::removeItemAtPath(path, &error)) {
      if (isDamaged) zn::Device::current().systemLog->diagnostic("cannot use " + path + "; it is kept as " + aside);
      return;
    }
    // Nothing was thrown, so no guard tells of it: an ordinary line that names its place as those of guards do.
    zn::logError("ZNInboxHandler_Sync.cpp %d %@ %@", __LINE__, kSelector, zn::format(kFailure, error));
  });
}

void ZNInboxHandler::syncNotificationsFromExtension(const SyncCompletion& completion) {
  constexpr const char* kSelector = "syncNotificationsFromExtension:";
  constexpr const char* kFailure = "exception while getting inbox notifications from Extension storage %@";
  const bool done = zn::guarded(kSelector, kFailure, [&] {
    zn::Value list;
    mergeBatches(takeFromExtension(list));
    holdsEntries(list);  // one that is none is gone, and reported
    return true;
  });
  zn::guardedOnce(kSelector, kFailure, completion)(done);
}

zn::Value ZNInboxHandler::getStoredNotificationsInExtension() {
  return zn::guarded("getStoredNotificationsInExtension", kExtensionFailure, [&] {
    zn::Value taken;
    emptyExtensionList([&](const zn::Value& list, const std::string&, zn::Value&) { taken = list; });
    return taken;
  });
}

/// What earlier processes left over of the extension's list, and then the list, which is kept before it is emptied.
std::vector<InboxBatch> ZNInboxHandler::takeFromExtension(zn::Value& list) {
  constexpr auto kSource = InboxBatch::Source::extension;
  std::vector<InboxBatch> taken;
  const auto keep = [&](const zn::Value& present, const std::string& group, zn::Value& store) {
    if (!batches_->isListed()) throw zn::Exception("earlier batches cannot be listed now");  // the list stays
    list = present;
    const auto last = static_cast<std::uint64_t>(store[kLastBatchKey].integer());
    // Kept, but the process ended before the list was emptied: all of it is still there.
    batches_->discard(kSource, group, last);
    std::optional<InboxBatch> fresh;
    if (list.isArray() && !list.isEmpty()) {
      fresh = batches_->keep({.source = kSource, .payloads = list, .origin = group}, last);
      store.setObjectNilHandled(fresh->number, kLastBatchKey);
    }
    taken = batches_->take(kSource, group);
    if (fresh) taken.push_back(std::move(*fresh));
  };
  return zn::guarded("getStoredNotificationsInExtension", kExtensionFailure, [&] {
    try {
      emptyExtensionList(keep);
    } catch (...) {
      batches_->giveBack(taken);
      throw;
    }
    return taken;
  });
}

void ZNInboxHandler::syncInboxFromServerRequestWithCompletionBlock(MessagesCompletion completion) {
  const zn::OwnerToken owner = zn::OwnerToken::ofUser();
  constexpr const char* kFailure = "exception while making inbox messages request is %@";
  zn::answeredOnce(kRequestSelector, kFailure, std::move(completion), [&](const auto& answer) {
    if (!ZNConfigDataManager::sharedInstance()->hasZinAppID()) {
      zn::log("Inbox API not called. AppID not present");
      return false;
    }
    const double last = inboxData()->lastUpdatedFromServerSync().date().secondsSince1970;
    const std::int64_t milliseconds = zn::Value(last * 1000.0).longLongValue();
    zn::Value params =
        ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::inbox).mutableCopy();
    if (params.isNil()) {
      zn::log("Query Params are nil");
      return false;
    }
    params.setObjectNilHandled(zn::format("%ld", milliseconds), "last_updated");
    const zn::Value body = zn::Value::dictionary({{"query_params", params}});
    zn::log("Inbox request initiated:");
    ZNNetworkRequest::initWithService(ZNService::inbox, zn::nil, zn::nil, body, zn::nil)
        ->executeRequestWithCompletionBlock([answer, owner](bool, const zn::Value& response) {
          zn::Value messages;
          const bool success = zn::guarded(kRequestSelector, "Exception while getting Notifications data %@", [&] {
            if (response.isNil()) return false;
            if (!owner.holds()) return false;  // of an earlier user
            zn::log("Inbox messages are : %@", response);
            const zn::Value sent = response.validObjectForKey(ZN_PUSH_MESSAGES_INFO);
            if (holdsEntries(sent)) messages = sent;
            return true;
          });
          answer(success, messages);
        });
    return true;
  });
}

void ZNInboxHandler::syncNotificationsFromServer(SyncCompletion completion) {
  const zn::OwnerToken owner = zn::OwnerToken::ofUser();
  constexpr const char* kSelector = "syncNotificationsFromServer:";
  zn::answeredOnce(kSelector, kSyncFailure, std::move(completion), [&](const auto& answer) {
    const auto merge = [self = shared_from_this(), answer, owner](bool success, const zn::Value& messages) {
      // The container is taken first: a reset after this look replaces it.
      const auto data = self->inboxData();
      const bool done = zn::guarded(kSelector, kSyncFailure, [&] {
        if (!success || !owner.holds()) return false;
        if (holdsEntries(messages)) self->mergeServerAnswer(data, messages);
        return true;
      });
      answer(done);
    };
    syncInboxFromServerRequestWithCompletionBlock(merge);
    return true;
  });
}

void ZNInboxHandler::mergeServerAnswer(const std::shared_ptr<ZNInboxData>& data, const zn::Value& messages) {
  // The device's time, and only with messages: the next request asks again for all since the last answer that had any.
  data->setLastUpdatedFromServerSync(zn::Date{zn::secondsSince1970()});
  const zn::InboxList entries = zn::entriesOf(messages.elements(), [](const zn::Value& message) {
    return ZNInboxModel::initWithLegacyInboxPlistPayload(message);
  });
  replaceMessagesIn(data, [&](const zn::InboxListPtr& stored) { return mergeServerEntries(stored, entries); }, {});
}

void ZNInboxHandler::addObserver(const std::shared_ptr<zn::InboxObserver>& observer) { observers_->add(observer); }
void ZNInboxHandler::removeObserver(const std::shared_ptr<zn::InboxObserver>& observer) {
  observers_->remove(observer);
}
