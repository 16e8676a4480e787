#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"

#include <algorithm>

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"

std::shared_ptr<ZNInboxData> ZNInboxData::init() {
  auto data = std::make_shared<ZNInboxData>();
  zn::Value lastUpdated = zn::Date{0};
  const auto defaults = NSUserDefaults::standardUserDefaults();
  const zn::Value stored = defaults->objectForKey(ZN_LAST_UPDATED_INBOX);
  if (stored.isDate()) lastUpdated = stored;
  if (!stored.isNil()) {
    defaults->removeObjectForKey(ZN_LAST_UPDATED_INBOX);
    defaults->synchronize();
  }
  data->setInboxMessages(std::make_shared<const zn::InboxList>());
  data->setLastUpdatedFromServerSync(lastUpdated);
  return data;
}

std::span<const zn::ArchivedClass> ZNInboxData::archivedClasses() {
  static constexpr zn::ArchivedClass classes[] = {
      {"ZNInboxData",
       [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> { return ZNInboxData::initWithCoder(coder); }},
      {"ZNInboxModel",
       [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> { return ZNInboxModel::initWithCoder(coder); }}};
  return classes;
}

zn::InboxListPtr ZNInboxData::inboxMessages() const {
  zn::Lock lock(mutex_);
  return inboxMessages_;
}

void ZNInboxData::setInboxMessages(zn::InboxListPtr messages) {
  if (messages && std::ranges::find(*messages, nullptr) != messages->end()) {
    auto present = *messages;
    std::erase(present, nullptr);
    messages = std::make_shared<const zn::InboxList>(std::move(present));
  }
  zn::Lock lock(mutex_);
  inboxMessages_.swap(messages);
}

zn::Value ZNInboxData::lastUpdatedFromServerSync() const {
  zn::Lock lock(mutex_);
  return lastUpdatedFromServerSync_;
}

void ZNInboxData::setLastUpdatedFromServerSync(const zn::Value& date) {
  zn::Lock lock(mutex_);
  lastUpdatedFromServerSync_ = date;
}

std::shared_ptr<ZNInboxData> ZNInboxData::snapshot() const {
  auto data = std::make_shared<ZNInboxData>();
  data->setLastUpdatedFromServerSync(lastUpdatedFromServerSync());
  data->setInboxMessages(inboxMessages());
  return data;
}

void ZNInboxData::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  zn::InboxListPtr messages;
  zn::Value lastUpdated;
  {
    zn::Lock lock(mutex_);
    messages = inboxMessages_;
    lastUpdated = lastUpdatedFromServerSync_;
  }
  std::vector<std::shared_ptr<const zn::Coding>> records;
  if (messages) records.assign(messages->begin(), messages->end());
  coder.encodeObjects(records, true, "zin_inbox_messages");
  coder.encodeObject(lastUpdated, "zin_inbox_last_updated");
}

std::shared_ptr<ZNInboxData> ZNInboxData::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto data = std::make_shared<ZNInboxData>();
  auto messages = std::make_shared<zn::InboxList>();
  for (auto& record : coder.decodeRecordsForKey("zin_inbox_messages")) {
    if (auto entry = std::dynamic_pointer_cast<ZNInboxModel>(std::move(record))) messages->push_back(std::move(entry));
  }
  const zn::Value lastUpdated = coder.decodeObjectForKey("zin_inbox_last_updated");
  data->setInboxMessages(std::move(messages));
  data->setLastUpdatedFromServerSync(lastUpdated.isDate() ? lastUpdated : zn::nil);
  return data;
}
