#include <algorithm>
#include <utility>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxBatches_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxObservers_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kClickSelector = "updateClickedNotificationInStorageWithPayload:";
constexpr const char* kClickFailure = "exception while saving clicked notification to inbox  %@";

zn::InboxListPtr published(zn::InboxList list) { return std::make_shared<const zn::InboxList>(std::move(list)); }

/// What a merge that failed gives.
zn::InboxListPtr nothing() { return published({}); }

const zn::InboxList& listOrEmpty(const zn::InboxListPtr& list) {
  static const zn::NeverDestroyed<zn::InboxList> none;
  return list ? *list : *none;
}

std::shared_ptr<ZNInboxModel> firstWithCampaignID(const zn::InboxList& list, const zn::Value& campaignID) {
  for (const auto& entry : list) {
    if (entry->campaignID() == campaignID) return entry;
  }
  return nullptr;
}

std::string folderOfInbox() {
  return zn::stringByAppendingPathComponent(ZNCoreUtils::getSDKLibraryDirectoryPath(), "ZNInbox");
}

std::string folderOfPending() { return folderOfInbox() + "/Pending"; }

}  // namespace

const std::shared_ptr<ZNInboxHandler>& ZNInboxHandler::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNInboxHandler>());
  return *instance;
}

ZNInboxHandler::ZNInboxHandler()
    : file_([this] { return getFilePathForInbox(); }, zn::kMaximumMessageFile),
      batches_(std::make_unique<zn::InboxBatches>(
          folderOfPending(), std::vector{getFilePathForInbox(), zn::ArchivedFile::laterPath(getFilePathForInbox())},
          getOlderInboxMessagesPlistFile())),
      observers_(std::make_shared<zn::InboxObservers>([this] { return messages(); })) {
  file_.load<ZNInboxData>(ZNInboxData::archivedClasses(), [this](const auto& stored) { adopt(stored); });
}

ZNInboxHandler::~ZNInboxHandler() = default;

std::string ZNInboxHandler::getFilePathForInbox() const {
  const std::string folder = folderOfInbox();
  if (!zn::fileExistsAtPath(folder)) zn::createDirectoryAtPath(folder, false);
  return zn::stringByAppendingPathComponent(folder, "InboxData");
}

bool ZNInboxHandler::updateInboxStorage() {
  std::string error;
  BatchNumbers contained;
  const auto newest = [&] {
    zn::Lock lock(stateMutex_);
    contained = batches_->contained();
    return inboxData_->snapshot();
  };
  const zn::ArchivedFile::Steps steps{
      .willReplace = [&](auto bytes, auto& reason) { return batches_->willReplace(bytes, contained, reason); },
      .didReplace = [&] { batches_->didReplace(contained); }};
  if (file_.save(newest, error, steps)) return true;
  zn::logError("Inbox could not be saved: %@", error);
  return false;
}

void ZNInboxHandler::retryStorage() {
  zn::guarded("retryStorage", "exception while reading or saving the inbox again : %@", [&] {
    batches_->lookAgain();
    if (file_.retry()) updateInboxStorage();
  });
}

/// What is in memory came later, and merges as new entries do.
void ZNInboxHandler::adopt(const std::shared_ptr<ZNInboxData>& stored) {
  const auto present = inboxData();
  if (!present) return setInboxData(stored);
  if (!stored) return;
  const zn::InboxListPtr older = stored->inboxMessages();
  replaceMessages([&](const zn::InboxListPtr& newer) { return mergeNewEntries(older, listOrEmpty(newer)); });
  const zn::Value asked = stored->lastUpdatedFromServerSync();
  const zn::Value since = present->lastUpdatedFromServerSync();
  if (asked.isDate() && !(since.isDate() && asked.date().secondsSince1970 < since.date().secondsSince1970)) {
    present->setLastUpdatedFromServerSync(asked);
  }
}

std::shared_ptr<ZNInboxData> ZNInboxHandler::inboxData() const {
  zn::Lock lock(stateMutex_);
  return inboxData_;
}

void ZNInboxHandler::setInboxData(const std::shared_ptr<ZNInboxData>& data) {
  const auto present = data ? data : ZNInboxData::init();
  {
    zn::Lock lock(stateMutex_);
    inboxData_ = present;
  }
  observers_->listChanged();
}

void ZNInboxHandler::replaceMessages(const ListChange& change, const BatchNumbers& batches) {
  while (!replaceMessagesIn(inboxData(), change, batches)) {
  }
}

bool ZNInboxHandler::replaceMessagesIn(const std::shared_ptr<ZNInboxData>& data, const ListChange& change,
                                       const BatchNumbers& batches) {
  for (;;) {
    const zn::InboxListPtr before = data->inboxMessages();
    const zn::InboxListPtr after = change(before);
    {
      zn::Lock lock(stateMutex_);
      if (inboxData_ != data) return false;
      if (data->inboxMessages() != before) continue;  // another thread was faster: change that list
      data->setInboxMessages(after);
      batches_->nowContains(batches);
    }
    observers_->listChanged();
    return true;
  }
}

zn::InboxListPtr ZNInboxHandler::messages() const { return inboxData()->inboxMessages(); }

zn::InboxListPtr ZNInboxHandler::getAllNotificationModelObjs() const {
  auto list = messages();
  return list ? std::move(list) : nothing();
}

zn::Value ZNInboxHandler::getAllNotificationPayloads() const {
  const zn::InboxListPtr list = messages();
  zn::Value payloads = zn::Value::array();
  for (const auto& entry : listOrEmpty(list)) {
    const zn::Value payload = entry->notificationPayloadDict();
    if (payload.isNil()) zn::log("Invalid Entry : %@", entry->archivedClassName());
    payloads.append(payload);
  }
  return payloads;
}

zn::Value ZNInboxHandler::payloadsWithReadState(bool isRead) const {
  const zn::InboxListPtr list = messages();
  zn::Value payloads = zn::Value::array();
  for (const auto& entry : listOrEmpty(list)) {
    if (entry->isRead() == isRead) payloads.append(entry->notificationPayloadDict());
  }
  return payloads;
}

zn::Value ZNInboxHandler::getUnreadNotificationPayloads() const { return payloadsWithReadState(false); }
zn::Value ZNInboxHandler::getReadNotificationPayloads() const { return payloadsWithReadState(true); }
std::size_t ZNInboxHandler::getAllNotificationCount() const { return listOrEmpty(messages()).size(); }

/// As many as getUnreadNotificationPayloads gives.
std::size_t ZNInboxHandler::getUnreadNotifictionCount() const {
  const zn::InboxListPtr list = messages();
  return static_cast<std::size_t>(
      std::ranges::count_if(listOrEmpty(list), [](const auto& entry) { return entry->isUnreadWithPayload(); }));
}

std::shared_ptr<ZNInboxModel> ZNInboxHandler::fetchInboxEntryForCampaignID(const zn::Value& campaignID) const {
  if (campaignID.isNil()) {
    zn::log("Campaign ID sent is nil");
    return nullptr;
  }
  const zn::InboxListPtr list = messages();
  auto entry = firstWithCampaignID(listOrEmpty(list), campaignID);
  if (!entry) zn::log("Inbox Entry for Campaign ID(%@) not found", campaignID);
  return entry;
}

void ZNInboxHandler::markInboxNotificationReadForCampaignID(const zn::Value& campaignID) {
  zn::guarded("markInboxNotificationReadForCampaignID:",
              zn::FailureMessage("exception while marking inbox read with cid(%@): %@", campaignID, zn::caught), [&] {
                if (campaignID.isNil()) return;
                const auto entry = fetchInboxEntryForCampaignID(campaignID);
                if (!entry || !entry->markClickedIfUnread()) return;
                observers_->listChanged();
                updateInboxStorage();
              });
}

void ZNInboxHandler::trackInboxNotificationClickForCampaignID(const zn::Value& campaignID) {
  zn::guarded("trackInboxNotificationClickForCampaignID:",
              zn::FailureMessage("exception while tracking inbox clicks with cid(%@): %@", campaignID, zn::caught),
              [&] {
                if (campaignID.isNil()) return;
                const auto entry = fetchInboxEntryForCampaignID(campaignID);
                const zn::Value payload = entry ? entry->notificationPayloadDict() : zn::nil;
                if (payload.isNil()) return;
                zn::Value attributes = ZNMessagingUtils::statsEventAttributesFromPayload(payload);
                attributes.setObjectNilHandled("inbox", "source");
                if (entry->markClickedIfUnread()) {
                  attributes.setObjectNilHandled(true, "isFirstClick");
                  observers_->listChanged();
                  updateInboxStorage();
                }
                ZNAnalytics::sharedInstance()->trackEvent(kEventNameNotificationClicked,
                                                          ZNProperties::initWithAttributes(attributes));
              });
}

void ZNInboxHandler::updateClickedNotificationInStorageWithPayload(const zn::Value& payload) {
  recordClick(payload, {}, zn::OwnerToken::ofUser());
}

void ZNInboxHandler::recordClick(const zn::Value& payload, BatchNumbers keptIn, const zn::OwnerToken& owner) {
  zn::guarded(kClickSelector, kClickFailure, [&] {
    if (!owner.holds()) return;  // it waited, and the next user's inbox is none of its
    if (syncInProgress()) {      // asked once: another thread may start or end one at any moment
      if (keptIn.empty()) keepClick(payload, keptIn);
      zn::performAfterDelay(
          1.0, [self = shared_from_this(), payload, keptIn, owner] { self->recordClick(payload, keptIn, owner); });
      return;
    }
    const auto entry = ZNInboxModel::initWithNotificationPayload(payload);
    entry->updateClickedDate();
    replaceMessages(
        [&](const zn::InboxListPtr& stored) { return mergeNewEntries(stored, {entry}, zn::sortedNewestFirst); },
        keptIn);
    updateInboxStorage();
  });
}

/// A failure leaves it in memory only.
void ZNInboxHandler::keepClick(const zn::Value& payload, BatchNumbers& keptIn) {
  zn::guarded(kClickSelector, kClickFailure, [&] {
    constexpr auto kSource = zn::InboxBatches::Source::click;
    keptIn = {batches_->keep({.source = kSource, .payloads = zn::Value::array({payload})}).number};
  });
}

void ZNInboxHandler::removeNotificationForCampaignID(const zn::Value& campaignID) {
  zn::guarded("removeNotificationForCampaignID:",
              zn::FailureMessage("exception while deleting Inbox Campaign with ID(%@) %@", campaignID, zn::caught),
              [&] {
                const auto entry = fetchInboxEntryForCampaignID(campaignID);
                bool removed = false;
                if (entry) {
                  replaceMessages([&](const zn::InboxListPtr& stored) {
                    zn::InboxList list = listOrEmpty(stored);
                    removed = std::erase(list, entry) > 0;
                    return removed ? published(std::move(list)) : stored;
                  });
                }
                if (removed) {
                  updateInboxStorage();
                } else {
                  zn::log("Campaign(%@) couldn't be deleted, Inbox Entry not found", campaignID);
                }
              });
}

void ZNInboxHandler::clearInboxData() {
  zn::guarded("clearInboxData", "exception while deleting Inbox Notifications : %@", [&] {
    const auto empty = ZNInboxData::init();
    file_.replaceUnread();  // first, so that no other save brings in what goes here
    {
      zn::Lock lock(stateMutex_);
      inboxData_ = empty;
      batches_->nowContainsAll();  // what was kept goes too, with the save
    }
    observers_->listChanged();
    updateInboxStorage();
  });
}

void ZNInboxHandler::forgetUnreadableFiles() {
  zn::guarded("forgetUnreadableFiles", "exception while removing unreadable inbox files : %@", [&] {
    file_.forgetUnreadable();
    zn::removeKeptAside(getOlderInboxMessagesPlistFile());
    zn::removeKeptAside(folderOfPending());
  });
}

void ZNInboxHandler::resetInboxDataWithLegacyPayloadArray(const zn::Value& entries) {
  zn::guarded("resetInboxDataWithLegacyPayloadArray:", "exception while resetting inbox data : %@", [&] {
    if (!entries.isNil() && !entries.isArray()) throw zn::Exception(zn::format("a list was expected, not %@", entries));
    const zn::InboxListPtr list = published(zn::entriesOf(entries.elements(), [](const zn::Value& entry) {
      return ZNInboxModel::initWithLegacyInboxPlistPayload(entry);
    }));
    file_.replaceUnread();
    replaceMessages([&](const zn::InboxListPtr&) { return list; });
    updateInboxStorage();
  });
}

zn::InboxListPtr ZNInboxHandler::getSortedInboxArray(const zn::InboxListPtr& list) const {
  return zn::guarded(
      "getSortedInboxArray:", "exception while sorting inbox Array %@",
      [&] { return published(zn::sortedNewestFirst(listOrEmpty(list))); }, nothing);
}

zn::InboxListPtr ZNInboxHandler::mergeNewEntries(const zn::InboxListPtr& stored, const zn::InboxList& entries,
                                                 zn::InboxList (*ordered)(zn::InboxList)) {
  return zn::guarded(
      "getInboxArrayPostDuplicationCheckWithNewEntries:", "exception while dedup check %@",
      [&] {
        auto merged = zn::mergedWithNewEntries(listOrEmpty(stored), entries);
        return published(ordered ? ordered(std::move(merged)) : std::move(merged));
      },
      nothing);
}

zn::InboxListPtr ZNInboxHandler::mergeServerEntries(const zn::InboxListPtr& stored, const zn::InboxList& entries) {
  return zn::guarded(
      "getInboxArrayPostDuplicationCheckWithServerEntries:", "exception while dedup check with server response %@",
      [&] { return published(zn::mergedWithServerEntries(listOrEmpty(stored), entries)); }, nothing);
}

zn::InboxListPtr ZNInboxHandler::getInboxArrayPostDuplicationCheckWithNewEntries(const zn::InboxList& entries) const {
  return mergeNewEntries(messages(), entries);
}

zn::InboxListPtr ZNInboxHandler::getInboxArrayPostDuplicationCheckWithServerEntries(
    const zn::InboxList& entries) const {
  return mergeServerEntries(messages(), entries);
}

void ZNInboxHandler::removeExpiredInboxMessages() {
  zn::guarded("removeExpiredInboxMessages", "exception while removing extra messages from inbox is %@", [&] {
    const zn::Date now{zn::secondsSince1970()};
    const double period = zn::defaultInboxExpiryPeriod();
    replaceMessages([&](const zn::InboxListPtr& stored) {
      return listOrEmpty(stored).empty() ? stored : published(zn::withoutExpired(*stored, now, period));
    });
  });
}

UIFont ZNInboxHandler::defaultTextFont() { return UIFont::fontWithName("AvenirNext-Regular", 16); }
UIFont ZNInboxHandler::defaultUnreadTextFont() { return UIFont::fontWithName("AvenirNext-Bold", 16); }
