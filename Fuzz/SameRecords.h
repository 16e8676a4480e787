#pragma once

// Whether what was read from archives means the same.

#include <bit>
#include <deque>
#include <set>
#include <utility>

#include "Fuzz/FuzzDevice.h"
#include "Tests/Support/Note.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"

namespace zn::fuzz {

/// Compares contents, types and mutability at every level, which `==` of values does not, and which records one
/// pointer stands for. What is shared is compared once.
class Sameness {
 public:
  bool operator()(const Value& a, const Value& b) {
    if (a.type() != b.type() || a.isMutable() != b.isMutable()) return false;
    if (a.type() == Value::Type::real)
      return std::bit_cast<std::uint64_t>(a.real()) == std::bit_cast<std::uint64_t>(b.real());
    if (!a.isContainer()) return a == b;
    if (!compared_.emplace(a.identity(), b.identity()).second) return true;
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.elements().size(); ++i) {
      if (!(*this)(a.elements()[i], b.elements()[i])) return false;
    }
    for (std::size_t i = 0; i < a.entries().size(); ++i) {
      if (!(*this)(a.entries()[i].key, b.entries()[i].key) || !(*this)(a.entries()[i].value, b.entries()[i].value))
        return false;
    }
    return true;
  }

  bool operator()(const ZNInboxModel& a, const ZNInboxModel& b) {
    using Property = Value (ZNInboxModel::*)() const;
    static constexpr Property kProperties[] = {
        &ZNInboxModel::campaignID,       &ZNInboxModel::receivedDate,      &ZNInboxModel::inboxExpiryDate,
        &ZNInboxModel::clickedDate,      &ZNInboxModel::screenDataDict,    &ZNInboxModel::notificationPayloadDict,
        &ZNInboxModel::zintarDict,       &ZNInboxModel::notificationTitle, &ZNInboxModel::notificationSubTitle,
        &ZNInboxModel::notificationBody, &ZNInboxModel::notificationSound, &ZNInboxModel::notificationMediaURL,
        &ZNInboxModel::screenName,       &ZNInboxModel::deepLinkURL,       &ZNInboxModel::richLandingURL};
    const bool isAlike = a.isRead() == b.isRead() && a.hasPayload() == b.hasPayload() &&
                         a.isUnreadWithPayload() == b.isUnreadWithPayload() && a.isOfSameCampaign(b);
    return isAlike && same(a, b, kProperties) && a.hasPayload() == b.hasPayload();
  }
  bool operator()(const ZNInboxData& a, const ZNInboxData& b) {
    return (*this)(a.lastUpdatedFromServerSync(), b.lastUpdatedFromServerSync()) &&
           sameLists(a.inboxMessages().get(), b.inboxMessages().get());
  }

  bool operator()(const ZNDeviceTriggerPayload& a, const ZNDeviceTriggerPayload& b) {
    using Property = Value (ZNDeviceTriggerPayload::*)() const;
    static constexpr Property kProperties[] = {
        &ZNDeviceTriggerPayload::campaignID,    &ZNDeviceTriggerPayload::alertTitle,
        &ZNDeviceTriggerPayload::alertSubTitle, &ZNDeviceTriggerPayload::alertBody,
        &ZNDeviceTriggerPayload::alertSound,    &ZNDeviceTriggerPayload::attachmentURL,
        &ZNDeviceTriggerPayload::category,      &ZNDeviceTriggerPayload::pushDict};
    return same(a, b, kProperties);
  }
  bool operator()(const ZNDeviceTriggerCampaign& a, const ZNDeviceTriggerCampaign& b) {
    using Property = Value (ZNDeviceTriggerCampaign::*)() const;
    static constexpr Property kProperties[] = {
        &ZNDeviceTriggerCampaign::campaignID,     &ZNDeviceTriggerCampaign::triggerEvent,
        &ZNDeviceTriggerCampaign::attrConditions, &ZNDeviceTriggerCampaign::status,
        &ZNDeviceTriggerCampaign::expiry,         &ZNDeviceTriggerCampaign::maxTimes,
        &ZNDeviceTriggerCampaign::priority,       &ZNDeviceTriggerCampaign::triggerDelay,
        &ZNDeviceTriggerCampaign::maxSyncDelay,   &ZNDeviceTriggerCampaign::campaignDelay,
        &ZNDeviceTriggerCampaign::lastUpdatedTime};
    return a.campaignType() == b.campaignType() && a.shouldSupportOffline() == b.shouldSupportOffline() &&
           a.shouldIgnoreDND() == b.shouldIgnoreDND() && samePointers(a.payload().get(), b.payload().get()) &&
           same(a, b, kProperties);
  }
  bool operator()(const ZNDeviceTriggerStatus& a, const ZNDeviceTriggerStatus& b) {
    using Property = Value (ZNDeviceTriggerStatus::*)() const;
    static constexpr Property kProperties[] = {&ZNDeviceTriggerStatus::campaignID,
                                               &ZNDeviceTriggerStatus::numberOfTimesShown,
                                               &ZNDeviceTriggerStatus::lastShownTime, &ZNDeviceTriggerStatus::expiry};
    return same(a, b, kProperties);
  }
  bool operator()(const ZNDeviceTriggers& a, const ZNDeviceTriggers& b) {
    using Property = Value (ZNDeviceTriggers::*)() const;
    static constexpr Property kProperties[] = {&ZNDeviceTriggers::deviceTriggerEvents,
                                               &ZNDeviceTriggers::dndStartTime,
                                               &ZNDeviceTriggers::dndEndTime,
                                               &ZNDeviceTriggers::globalDelay,
                                               &ZNDeviceTriggers::deviceTriggerLastUpdatedTime,
                                               &ZNDeviceTriggers::deviceTriggerLastPostedTime};
    return same(a, b, kProperties) && sameLists(a.deviceTriggers().get(), b.deviceTriggers().get()) &&
           sameLists(a.deviceTriggerStatus().get(), b.deviceTriggerStatus().get());
  }

  bool operator()(const test::Note& a, const test::Note& b) {
    if (a.parts.size() != b.parts.size() || a.partsAreNil != b.partsAreNil) return false;
    for (std::size_t i = 0; i < a.parts.size(); ++i) {
      if (!samePointers(test::asNote(a.parts[i]).get(), test::asNote(b.parts[i]).get())) return false;
    }
    return (*this)(a.text, b.text) && (*this)(a.details, b.details) && (*this)(a.more, b.more) && a.flag == b.flag &&
           a.count == b.count && samePointers(test::asNote(a.next).get(), test::asNote(b.next).get());
  }

 private:
  template <class Record, std::size_t count>
  bool same(const Record& a, const Record& b, Value (Record::*const (&properties)[count])() const) {
    for (const auto property : properties) {
      const Value &left = kept_.emplace_back((a.*property)()), &right = kept_.emplace_back((b.*property)());
      if (!(*this)(left, right)) return false;
    }
    return true;
  }
  template <class Record>
  bool samePointers(const Record* a, const Record* b) {
    if (!a || !b) return a == b;
    return !compared_.emplace(a, b).second || (*this)(*a, *b);
  }
  template <class Records>
  bool sameLists(const Records* a, const Records* b) {
    if (!a || !b) return a == b;
    if (a->size() != b->size()) return false;
    for (std::size_t i = 0; i < a->size(); ++i) {
      for (std::size_t j = i + 1; j < a->size() && a->size() < 64; ++j) {
        if (((*a)[i] == (*a)[j]) != ((*b)[i] == (*b)[j])) return false;
      }
      if (!samePointers((*a)[i].get(), (*b)[i].get())) return false;
    }
    return true;
  }

  std::set<std::pair<const void*, const void*>> compared_;
  std::deque<Value> kept_;  // their addresses stay theirs
};

template <class Record>
bool isSame(const Record& a, const Record& b) {
  return Sameness()(a, b);
}

}  // namespace zn::fuzz
