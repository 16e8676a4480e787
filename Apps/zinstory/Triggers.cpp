#include "Apps/zinstory/Triggers.h"

#include <chrono>
#include <future>
#include <memory>

#include "ZNAnalytics/TrackedEvent.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinstory {

namespace {

using zn::Value;

zn::CampaignList storedCampaigns() {
  return ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields().campaigns();
}

Value explain(Shop& shop, const std::string& name, const Value& attributes) {
  const auto promise = std::make_shared<std::promise<Value>>();
  auto answer = promise->get_future();
  ZNDeviceTriggersHandler::sharedInstance()->explainEvent(
      name, zn::trackedDictionary(attributes),
      [promise](const Value& explanation) { promise->set_value(explanation); });
  shop.await("an explanation", [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
  return answer.get();
}

/// Why the campaign would not fire; "" for one that would.
std::string verdictOf(const Shop& shop, const Value& explained, const Value& globalDelay, const std::string& event) {
  if (explained["fires"].boolean()) return "";
  if (!explained["matches"].boolean()) {
    for (const auto& campaign : storedCampaigns()) {
      if (campaign->campaignID() != explained["campaign"] || campaign->triggerEvent() == Value(event)) continue;
      return zn::format("waits for %@", campaign->triggerEvent());
    }
    return "the attributes do not satisfy its condition";
  }
  const auto refusal = [&](const Value& name, const Value& verdict) {
    const Value at = verdict["passesAt"];
    if (!at.isNumber()) return zn::format("%@: %@", name, verdict["because"]);
    return zn::format("%@: has to wait %0.1f seconds more", name, at.doubleValue() - shop.now());
  };
  if (!globalDelay["passes"].boolean()) return refusal("globalDelay", globalDelay);
  for (const Value& rule : explained["rules"].elements()) {
    if (!rule["passes"].boolean()) return refusal(rule["rule"], rule);
  }
  return "another campaign goes first";
}

void showNotification(Page& page, const UNNotificationRequest& request) {
  const auto& content = request.content;
  std::string text(content.title.string());
  if (content.body.length() > 0) text += (text.empty() ? "" : " - ") + std::string(content.body.string());
  page.effect("shown", request.trigger ? zn::format("%0.1f seconds later", request.trigger->timeInterval) : "at once");
  page.effect("", "“" + text + "”");
}

/// Shows what every campaign makes of the event, tracks it, and shows the notification, if there is one.
void tellEvent(Shop& shop, const std::string& name, const Value& attributes) {
  Page& page = shop.page();
  const Value explanation = explain(shop, name, attributes);
  page.blankLine();
  page.paragraph(name + " " + zn::jsonText(attributes));
  bool fires = false;
  for (const Value& each : explanation["campaigns"].elements()) {
    page.beginStep("", std::string(each["campaign"].string()));
    page.effect(each["fires"].boolean() ? "fires" : "no", verdictOf(shop, each, explanation["globalDelay"], name));
    fires = fires || each["fires"].boolean();
  }
  const std::size_t before = shop.recorder().requests().size();
  ZNAnalytics::sharedInstance()->trackEvent(name, ZNProperties::initWithAttributes(attributes));
  page.beginStep("", "outcome");
  if (fires) {
    shop.await("the notification", [&] { return shop.recorder().requests().size() > before; });
  } else {
    shop.settle();
  }
  const auto requests = shop.recorder().requests();
  for (std::size_t i = before; i < requests.size(); ++i) showNotification(page, requests[i]);
  page.endStep();
}

}  // namespace

void tellTriggers(Shop& shop, const std::function<void()>& stopServer) {
  Page& page = shop.page();
  page.heading("Campaigns that events set off");
  page.blankLine();
  page.paragraph(zn::format("Synchronised: %ld campaigns are stored on the device.", storedCampaigns().size()));
  tellEvent(shop, "ADDED_TO_CART", Value::dictionary({{"category", "socks"}, {"price", 12}}));
  tellEvent(shop, "ADDED_TO_CART", Value::dictionary({{"category", "jackets"}, {"price", 129}}));
  // The account keeps a pause between any two notifications.
  shop.await("the end of the pause", [] { return ZNDeviceTriggersHandler::sharedInstance()->checkForGlobalDelay(); });
  stopServer();
  page.blankLine();
  page.paragraph("The server is stopped; what was stored with a campaign is shown where it allows that.");
  tellEvent(shop, "ORDER_PLACED", Value::dictionary({{"total", 129}}));
}

}  // namespace zinstory
