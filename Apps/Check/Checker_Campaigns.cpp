#include <algorithm>
#include <cmath>
#include <map>

#include "Apps/Check/Checker.h"
#include "Apps/NearMiss.h"
#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNPlatform/Foundation/IsoDate_p.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace apps::check {

namespace {

bool looksLikeSegment(const Item& item) { return item["user_in_segment"] || item["show_notification"]; }

/// Whether the answers of segments are listed there: they are under the campaigns' ids, where the campaign service has
/// a list.
bool holdsSegments(const Item& answer) {
  if (answer["default"]) return true;
  const Item campaigns = answer["campaigns"];
  return campaigns.is(Type::object) && looksLikeSegment(campaigns.firstInside());
}

int likeness(const Item& item, const char* kind) {
  int points = 0;
  for (Item each = item.firstInside(); each; each = each.next(item)) {
    const std::string name = each.key();
    points += objectKind(kind).key(name) ? 2 : objectKind(kind).nearest(name) ? 1 : 0;
  }
  return points;
}

/// What an array of zinserver's folder is a list of, by its first object.
const char* arrayKind(const Item& list) {
  const Item first = list.firstInside();
  const int push = likeness(first, "push");
  const int fault = likeness(first, "fault");
  const int most = std::max(push, fault);
  if (most == 0 || most < likeness(first, "campaign") || most < likeness(first, "message")) return nullptr;
  return push > fault ? "push" : "fault";
}

}  // namespace

void Checker::campaignAnswer(const Item& item) {
  if (item.is(Type::array)) {
    if (const char* kind = arrayKind(item)) {
      for (const Item& each : inside(item)) {
        if (!each.is(Type::object)) report(each, Severity::error, "this is " + shownType(each) + ", not an object");
        object(each, kind);
        nothingToShow(each["payload"]);
      }
      return;
    }
    report(item, Severity::error, "this is an array, so devices keep the campaigns that they have",
           "write {\"campaigns\": [ … ]}");
    return whatever(item);
  }
  if (!item.is(Type::object))
    return report(item, Severity::error, "an answer is a JSON object, not " + shownType(item));
  if (holdsSegments(item)) return object(item, "segments");
  const char* best = "triggers";
  int most = 0;
  for (const char* kind : {"triggers", "campaign", "segment", "inbox", "message", "payload"}) {
    const int points = likeness(item, kind);
    if (points > most) best = kind;
    most = std::max(most, points);
  }
  const std::string_view kind = best;
  if (kind == "triggers") return triggers(item);
  if (kind == "campaign") return campaign(item);
  if (kind == "payload") return payload(item);
  object(item, kind);
  if (kind == "segment") localPayload(item["payload"]);
}

void Checker::triggers(const Item& item) {
  object(item, "triggers");
  const Item start = item["dnd_start_time"];
  const Item end = item["dnd_end_time"];
  if (use_ != Use::sent || start.isPresent() == end.isPresent()) return;
  const char* missing = start.isPresent() ? "\"dnd_end_time\"" : "\"dnd_start_time\"";
  reportKey(start.isPresent() ? start : end, Severity::warning,
            std::string("without ") + missing + " there is no do-not-disturb time", std::string("add ") + missing);
}

void Checker::campaign(const Item& item) {
  if (findings_.areEnough()) return;
  if (!item.is(Type::object)) {
    return report(item, Severity::error,
                  "this is " + shownType(item) + ", where a campaign belongs, and it is passed over");
  }
  const Item status = item["status"];
  mayBePast_ = status.is(Type::text) && (status.text() == "stopped" || status.text() == "expired");
  object(item, "campaign");
  mayBePast_ = false;
  maximumTimes(item);
  conditionsEvent(item);
  localPayload(item["payload"]);
  const Item offline = item["should_support_offline"];
  if (offline.is(Type::boolean) && offline.written() == "true" && !item["payload"].isPresent() && use_ == Use::sent) {
    reportKey(offline, Severity::warning, "without a \"payload\" the campaign is never shown offline",
              "add \"payload\"");
  }
}

/// Of a notification that the device posts itself.
void Checker::localPayload(const Item& payload) {
  if (use_ != Use::sent || !payload.is(Type::object) || !payload.firstInside()) return;
  const Item alert = payload["aps"]["alert"];
  if (alert.text().empty() && !alert["title"].isPresent() && !alert["body"].isPresent()) {
    reportKey(payload, Severity::warning, "the notification is empty, as \"aps.alert\" has neither a title nor a body",
              "add \"aps\": {\"alert\": {\"title\": \"Sale\", \"body\": \"Today only.\"}}");
  }
  if (!payload["zintar"].isPresent()) {
    reportKey(payload, Severity::warning, "\"zintar\" is missing: clicks are neither counted nor acted on",
              "add \"zintar\": {\"cid\": \"autumn-sale\"}");
  }
}

void Checker::conditionsEvent(const Item& campaign) {
  const Item named = campaign["condition"]["eventName"];
  const Item event = campaign["trigger_event_name"];
  if (!named || !event.is(Type::text) || (named.is(Type::text) && named.text() == event.text())) return;
  reportKey(named, Severity::warning,
            "\"eventName\" does not count in a campaign, which waits for " + inQuotes(event.text()),
            "take it out, or change \"trigger_event_name\"");
}

void Checker::maximumTimes(const Item& campaign) {
  constexpr double kUnlimited = -9090909;
  const Item times = campaign["max_times"];
  const auto number = times.isPresent() ? numberIn(times) : std::nullopt;
  if (!number || *number == kUnlimited || *number >= 1) return;
  report(
      times, Severity::error, "\"max_times\" is " + shownNumber(*number) + ", so the campaign is never shown",
      *number < 0 ? "write -9090909 for any number of times" : "write at least 1, or -9090909 for any number of times");
}

void Checker::repeatedCampaigns(const Item& list) {
  std::map<std::string, Item> first;
  for (const Item& each : inside(list)) {
    const Item id = each["campaign_id"];
    if (!id.is(Type::text) || first.emplace(id.text(), id).second) continue;
    report(id, Severity::warning, "a campaign of this answer has the id " + inQuotes(id.text()) + " already",
           "give each campaign an id of its own");
  }
}

void Checker::condition(const Item& item) {
  if (!item.is(Type::object)) {
    return report(item, Severity::error, "a condition is a JSON object, not " + shownType(item));
  }
  zn::Value whole = item.value();
  if (!item["eventName"]) whole.setObjectNilHandled("E", "eventName");  // a campaign names its event elsewhere
  const std::string problem = ZNEventCondition(whole).problem();
  if (!problem.empty()) return conditionProblem(item, problem);
  textsForOthers(item["filter"]);
}

/// Texts that were meant as numbers, dates, true or false, in a filter that is understood.
void Checker::textsForOthers(const Item& filter) {
  if (filter["not"]) return textsForOthers(filter["not"]);
  for (const char* list : {"and", "or"}) {
    for (const Item& each : inside(filter[list])) textsForOthers(each);
  }
  const std::string comparison = filter["is"].text();
  const bool isOrder = comparison == "greater" || comparison == "less" || comparison == "atLeast" ||
                       comparison == "atMost" || comparison == "between";
  const auto look = [&](const Item& value) {
    if (!value.is(Type::text)) return;
    const std::string text = value.text();
    const bool isTruth = text == "true" || text == "false";
    const bool isDateLike = text.size() > 7 && text[4] == '-' && text[7] == '-' && zn::isAsciiDigit(text[0]);
    if (isTruth || (isOrder && numberIn(value))) {
      report(value, Severity::warning, inQuotes(text) + " is text, and compares with text only",
             "if no text was meant, write " + text + " without quotation marks");
    } else if (isOrder && isDateLike && !std::isfinite(zn::secondsOfIsoDate(text))) {
      report(value, Severity::warning, inQuotes(text) + " is no date, and compares with text only",
             "write a date such as \"2024-03-01\" or \"2024-03-01T12:30Z\"");
    }
  };
  look(filter["value"]);
  if (comparison != "contains") {
    for (const Item& each : inside(filter["value"])) look(each);
  }
}

namespace {

/// Follows a place such as "filter.and[1].is" as far as it goes.
Item itemAt(Item item, std::string_view place) {
  while (!place.empty()) {
    const bool isIndex = place[0] == '[';
    if (place[0] == '.') place.remove_prefix(1);
    const std::size_t end = isIndex ? place.find(']') + 1 : std::min(place.find_first_of(".["), place.size());
    const std::string step(place.substr(0, end));
    const Item inner = isIndex ? item.element(std::stoul(step.substr(1))) : item[step];
    if (!inner) break;
    item = inner;
    place.remove_prefix(end);
  }
  return item;
}

/// What stands between the first two quotation marks.
std::string firstQuoted(std::string_view text) {
  const std::size_t begin = text.find('"');
  const std::size_t end = begin == text.npos ? text.npos : text.find('"', begin + 1);
  return end == text.npos ? "" : std::string(text.substr(begin + 1, end - begin - 1));
}

}  // namespace

void Checker::conditionProblem(const Item& condition, const std::string& problem) {
  const std::size_t colon = std::min(problem.find(": "), problem.size());
  const std::string place = problem.substr(0, colon);
  std::string reason = problem.substr(std::min(colon + 2, problem.size()));
  const std::size_t semicolon = std::min(reason.rfind("; "), reason.size());
  std::string advice = reason.substr(std::min(semicolon + 2, reason.size()));
  reason.resize(semicolon);
  Item at = itemAt(condition, place == "condition" ? std::string_view() : place);
  const std::string word = firstQuoted(reason);
  const bool isUnknownKey = reason.find("has no place here") != reason.npos;
  const bool isComparison = reason.find("is not a comparison") != reason.npos;
  if (isUnknownKey && at[word]) at = at[word];
  if (isUnknownKey || isComparison) {
    const Key* meant = objectKind(isComparison ? "comparison" : "test").nearest(word);
    if (meant && meant->name != word) advice = "write " + inQuotes(meant->name);
  }
  // A filter where the condition belongs, which holds it.
  if (isUnknownKey && place == "condition" &&
      (word == "and" || word == "or" || word == "not" || word == "attribute" || word == "is" || word == "value")) {
    advice = "put the filter under \"filter\": {\"filter\": { … }}";
  }
  const std::string sentence = "the condition cannot be understood, so no event satisfies it: " + reason;
  if (isUnknownKey) return reportKey(at, Severity::error, sentence, advice);
  report(at, Severity::error, sentence, advice);
}

}  // namespace apps::check
