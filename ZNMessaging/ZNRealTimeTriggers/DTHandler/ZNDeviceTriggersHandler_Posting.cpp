#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZNRichNotification/ZNRichNotification.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

constexpr const char* kSegmentFailure = "exception user in segment response device trigger : %@";
constexpr const char* kWithdrawalFailure = "exception while taking back device trigger notifications : %@";
constexpr const char* kPostingFailure = "exception posting device trigger in adding NotificationRequest : %@";

/// Whether the user whose event it was is still there and wants pushes. What was meant for the last one is not shown to
/// the next one.
bool isStillThere(const zn::EventOrigin& origin) {
  if (origin.owner.holds()) return true;
  zn::log("Device Triggers -- Device Trigger not posted because the user was reset or opted out 🛑");
  return false;
}

zn::Value textOrNil(const zn::Value& value) { return value.isString() ? value : zn::nil; }

/// A sound is a name, or a critical alert's dictionary with one. What names none costs the sound, not the notification.
std::optional<UNNotificationSound> soundFor(const zn::Value& sound) {
  const zn::Value name = textOrNil(sound.isDictionary() ? sound.validObjectForKey("name") : sound);
  if (name.length() == 0) return std::nullopt;
  if (name.string() == "default") return UNNotificationSound::defaultSound();
  return UNNotificationSound::soundNamed(std::string(name.string()));
}

/// Whether a request of the notification centre is the module's own: the host may have added some too. Contents without
/// the module's dictionary have no campaign id either.
bool isOwn(const UNNotificationRequest& request) {
  static const std::string nameless = zn::format("%@_", zn::nil);
  return !request.content.userInfo.validObjectForKey(kNotificationPayloadKeyZintar).isNil() ||
         request.identifier.starts_with(nameless);
}

zn::Value segmentRequestBody(const zn::Value& campaignID, const zn::Value& eventDict) {
  zn::Value body = zn::Value::dictionary();
  body.setObjectNilHandled(campaignID, "campaign_id");
  // Keys of the event replace ours of the same name.
  for (const auto& entry : eventDict.entries()) body.setObjectNilHandled(entry.value, entry.name());
  for (const char* key : {zn::kEventAttributes, zn::kCustomEventAttributes}) {
    body.setObjectNilHandled(ZNCoreUtils::getJSONStringFromDictionary(body.validObjectForKey(key)), key);
  }
  body.setObjectNilHandled(
      ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::userInSegment),
      "query_params");
  return body;
}

}  // namespace

void ZNDeviceTriggersHandler::checkUserInSegmentForDTCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                              const zn::Value& eventDict) {
  const zn::EventOrigin origin = zn::EventOrigin::here();
  zn::guarded("checkUserInSegmentForDTCampaign:withEventDict:", kSegmentFailure, [&] {
    if (!campaign || !isStillThere(origin)) return;
    if (ZNConfigDataManager::sharedInstance()->getZinAppID().length() == 0) {
      return zn::log("RealTime Trigger User In Segment API not called. AppID not present 🛑");
    }
    const zn::Value body = segmentRequestBody(campaign->campaignID(), eventDict);
    zn::log("User In Segment request initiated:");
    ZNNetworkRequest::initWithService(ZNService::userInSegment, zn::nil, zn::nil, body, zn::nil)
        ->executeRequestWithCompletionBlock(
            [self = shared_from_this(), campaign, origin](bool, const zn::Value& response) {
              zn::guarded("checkUserInSegmentForDTCampaign:withEventDict:", kSegmentFailure, [&] {
                const zn::OriginScope scope(origin);
                if (isStillThere(origin)) self->handleSegmentAnswer(campaign, response);
              });
            });
  });
}

zn::Value ZNDeviceTriggersHandler::getUserInSegmentPayloadWithCampaignID(const zn::Value& campaignID,
                                                                         const zn::Value& eventDict) const {
  return zn::guarded("getUserInSegmentPayloadWithCampaignID:andEventDict:", kSegmentFailure,
                     [&] { return segmentRequestBody(campaignID, eventDict); });
}

void ZNDeviceTriggersHandler::handleSegmentAnswer(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                  const zn::Value& response) {
  if (response.isNil()) return postOffline(campaign);
  zn::log("Device Triggers -- User in segment response : %@", response);
  const bool inSegment = response.validObjectForKey("user_in_segment").boolValue();
  const bool show = response.validObjectForKey("show_notification").boolValue();
  if (inSegment && show) {
    zn::log("Device Triggers -- User in Segment and Show Notification is true ✅");
    campaign->updateNotificationPayload(response.validObjectForKey("payload"));
    postDeviceTriggerCampaign(campaign, false);
    return;
  }
  if (!show) zn::log("Device Triggers -- Device Trigger not posted because Show Notification is false 🛑");
  if (!inSegment) zn::log("Device Triggers -- Device Trigger not posted because User Not In Segment 🛑");
}

void ZNDeviceTriggersHandler::postOffline(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign) {
  if (!campaign->shouldSupportOffline()) {
    return zn::log(
        "Device Triggers -- User in Segment failed --> Show Offline disabled. Device Trigger will not be posted 🛑");
  }
  zn::log("Device Triggers -- User in Segment failed --> Device Trigger in Offline mode. ✅");
  const bool passes = !checkIfDNDForCampaign(*campaign);
  const bool isShown = passes || campaign->shouldIgnoreDND();
  zn::log(passes ? "Device Triggers -- Campaign(%@) Offline DND check passed ✅"
          : isShown
              ? "Device Triggers -- Campaign(%@) Offline DND check failed and shouldIgnoreDND is true ✅"
              : "Device Triggers -- Campaign(%@) Not shown because DND check failed and shouldIgnoreDND is false 🛑",
          campaign->campaignID());
  if (isShown) postDeviceTriggerCampaign(campaign, true);
}

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggersHandler::getPayloadToShow(
    const ZNDeviceTriggerCampaign& campaign, bool isOffline) const {
  const auto payload = isOffline ? campaign.payload() : campaign.updated_payload();
  return payload && !payload->pushDict().isEmpty() ? payload : nullptr;
}

void ZNDeviceTriggersHandler::postDeviceTriggerCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                        bool isOffline) {
  zn::guarded("postDeviceTriggerCampaign:isOffline:", kPostingFailure, [&] {
    const auto payload = campaign ? getPayloadToShow(*campaign, isOffline) : nullptr;
    if (!payload) {
      return zn::log("Device Triggers -- Campaign(%@) Not shown because Payload is empty 🛑",
                     campaign ? campaign->campaignID() : zn::nil);
    }
    processDeviceTriggerWithInfo(ZNDTPostInfo::initWithCampaign(campaign, payload, isOffline));
  });
}

/// What a record holds, taken once: it is posted and counted as it was then.
struct ZNDeviceTriggersHandler::Posting {
  std::shared_ptr<const ZNDeviceTriggerCampaign> campaign;
  std::shared_ptr<const ZNDeviceTriggerPayload> payload;
  bool isOffline;
  zn::EventOrigin origin;
};

std::optional<ZNDeviceTriggersHandler::Posting> ZNDeviceTriggersHandler::postingOf(
    const std::shared_ptr<ZNDTPostInfo>& info) {
  const auto fields = info ? info->fields_.all() : ZNDTPostInfo::Fields();
  if (!fields.rtCampaign || !fields.finalPayload) return std::nullopt;
  return Posting{fields.rtCampaign, fields.finalPayload, fields.isOffline, *fields.origin};
}

void ZNDeviceTriggersHandler::processDeviceTriggerWithInfo(const std::shared_ptr<ZNDTPostInfo>& info) {
  zn::guarded("processDeviceTriggerWithInfo:", kPostingFailure, [&] {
    const auto posting = postingOf(info);
    if (!posting) return;
    const std::int64_t delay = posting->campaign->triggerDelay().longLongValue();
    const std::int64_t seconds = delay / 1000;
    std::optional<UNTimeIntervalNotificationTrigger> trigger;
    if (delay >= 1000) trigger = UNTimeIntervalNotificationTrigger{static_cast<double>(seconds)};
    zn::log(
        "Device Triggers -- Posting Notification request for Campaign : %@ -- Trigger Delay :  %ld -- Payload : %@ ✅",
        posting->campaign->campaignID(), seconds, posting->payload->pushDict());
    const UNNotificationRequest request = requestFor(*posting->payload, std::nullopt, trigger);
    ZNRichNotification::getLocalNotificationContentForRequest(
        request, [self = shared_from_this(), request, info](const std::optional<UNNotificationContent>& content) {
          if (!content) return;
          UNNotificationRequest prepared = request;
          prepared.content = *content;
          self->postDeviceTriggerWithRequest(prepared, info);
        });
  });
}

UNNotificationRequest ZNDeviceTriggersHandler::getRequestForPayload(
    const ZNDeviceTriggerPayload& payload, const std::optional<std::vector<std::string>>& attachments,
    const std::optional<UNTimeIntervalNotificationTrigger>& trigger) const {
  return zn::guarded("getRequestForPayload:withAttachments:andTimeTrigger:", kPostingFailure,
                     [&] { return requestFor(payload, attachments, trigger); });
}

UNNotificationRequest ZNDeviceTriggersHandler::requestFor(
    const ZNDeviceTriggerPayload& payload, const std::optional<std::vector<std::string>>& attachments,
    const std::optional<UNTimeIntervalNotificationTrigger>& trigger) {
  UNNotificationRequest request;
  UNNotificationContent& content = request.content;
  content.userInfo = payload.pushDict();
  content.title = textOrNil(payload.alertTitle());
  content.body = textOrNil(payload.alertBody());
  if (const zn::Value subTitle = textOrNil(payload.alertSubTitle()); subTitle.length() > 0) content.subtitle = subTitle;
  content.categoryIdentifier = textOrNil(payload.category());
  content.sound = soundFor(payload.alertSound());
  if (attachments) content.attachments = *attachments;
  request.identifier = zn::format("%@_%f", payload.campaignID(), zn::secondsSince1970());
  request.trigger = trigger;
  return request;
}

void ZNDeviceTriggersHandler::postDeviceTriggerWithRequest(const UNNotificationRequest& request,
                                                           const std::shared_ptr<ZNDTPostInfo>& info) {
  zn::guarded("postDeviceTriggerWithRequest:andInfo:", kPostingFailure, [&] {
    const auto posting = postingOf(info);
    if (!posting || !isStillThere(posting->origin)) return;  // again: preparing contents may take its time
    const auto& chain = posting->origin.chain;
    if (chain && !chain->takeNext()) return chain->tellEnd(posting->campaign->campaignID());
    UNUserNotificationCenter::currentNotificationCenter()->addNotificationRequest(
        request, [self = shared_from_this(), posting = *posting,
                  identifier = request.identifier](const std::optional<std::string>& error) {
          zn::guarded("postDeviceTriggerWithRequest:andInfo:", kPostingFailure,
                      [&] { self->didAddRequest(identifier, posting, error); });
        });
  });
}

void ZNDeviceTriggersHandler::didAddRequest(const std::string& identifier, const Posting& posting,
                                            const std::optional<std::string>& error) {
  const ZNDeviceTriggerCampaign& campaign = *posting.campaign;
  const ZNDeviceTriggerPayload& payload = *posting.payload;
  const auto& chain = posting.origin.chain;
  const zn::OriginScope tracked(
      {zn::OwnerToken::ofTriggers(), posting.campaign, chain ? chain : std::make_shared<zn::ShowingChain>()});
  if (error) {
    zn::log("Device Triggers -- Something went wrong: %@ 🛑", *error);
    ZNDeviceTriggerUtils::trackNotificationScheduledFailedForCampaign(campaign, payload);
    return;
  }
  zn::log("Device Triggers -- Notification Request successfully added for campaign ID : %@ ✅", campaign.campaignID());
  ZNDeviceTriggerUtils::trackNotificationReceivedForCampaign(campaign, payload);
  ZNDeviceTriggerUtils::trackNotificationShownForCampaign(campaign, payload);
  ZNDeviceTriggerUtils::trackNotificationScheduledForCampaign(campaign, payload);
  if (posting.isOffline) ZNDeviceTriggerUtils::trackNotificationOfflineForCampaign(campaign, payload);
  // A showing that the last user's campaign got is not the next one's.
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  if (const auto container = store->activeDeviceTriggersOf(posting.origin.owner)) {
    store->updateCampaignShownForCampaign(campaign, container);
  } else {
    // It was added while all others were taken back.
    UNUserNotificationCenter::currentNotificationCenter()->removePendingNotificationRequestsWithIdentifiers(
        {identifier});
  }
  endBGTask();
}

void ZNDeviceTriggersHandler::withdrawWaitingNotifications() {
  zn::guarded("withdrawWaitingNotifications", kWithdrawalFailure, [] {
    const auto center = UNUserNotificationCenter::currentNotificationCenter();
    center->getPendingNotificationRequestsWithCompletionHandler(
        [center](const std::vector<UNNotificationRequest>& waiting) {
          zn::guarded("withdrawWaitingNotifications", kWithdrawalFailure, [&] {
            std::vector<std::string> own;
            for (const auto& request : waiting) {
              if (isOwn(request)) own.push_back(request.identifier);
            }
            if (!own.empty()) center->removePendingNotificationRequestsWithIdentifiers(own);
          });
        });
  });
}
