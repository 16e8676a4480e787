#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"

#include <algorithm>

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/Utils/ArchivedFields_p.h"
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
  data->setLastUpdatedFromServerSync(lastUpdated);
  return data;
}

std::span<const zn::ArchivedClass> ZNInboxData::archivedClasses() {
  static constexpr zn::ArchivedClass classes[] = {{"ZNInboxData", zn::decoded<ZNInboxData>},
                                                  {"ZNInboxModel", zn::decoded<ZNInboxModel>}};
  return classes;
}

void ZNInboxData::setInboxMessages(zn::InboxListPtr messages) {
  if (messages && std::ranges::find(*messages, nullptr) != messages->end()) {
    auto present = *messages;
    std::erase(present, nullptr);
    messages = std::make_shared<const zn::InboxList>(std::move(present));
  }
  fields_.set(&Fields::inboxMessages, std::move(messages));
}

struct ZNInboxData::Archived {
  static constexpr std::tuple fields{
      zn::ArchivedField{"zin_inbox_messages", &Fields::inboxMessages},
      zn::ArchivedField{"zin_inbox_last_updated", &Fields::lastUpdatedFromServerSync, zn::isDate}};
};

void ZNInboxData::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  Fields fields = fields_.all();
  if (!fields.inboxMessages) fields.inboxMessages = Fields().inboxMessages;
  zn::encodeFields(coder, fields, Archived::fields);
}

std::shared_ptr<ZNInboxData> ZNInboxData::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto data = std::make_shared<ZNInboxData>();
  data->fields_.update([&](Fields& fields) { zn::decodeFields(coder, fields, Archived::fields); });
  return data;
}
