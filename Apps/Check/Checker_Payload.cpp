#include <set>

#include "Apps/Check/Checker.h"

namespace apps::check {

void Checker::pushPayload(const Item& item) {
  if (!item.is(Type::object)) {
    return report(item, Severity::error, "a payload is a JSON object, not " + shownType(item));
  }
  if (document_.sizeWithoutBlanks() > options_.longestPayload) {
    report(item, Severity::error,
           "the payload has " + std::to_string(document_.sizeWithoutBlanks()) +
               " bytes without blanks, and push servers refuse more than " + std::to_string(options_.longestPayload),
           "shorten it");
  }
  wrapped(item);
  nothingAtAll(item);
  payload(item);
  nothingToShow(item);
}

void Checker::payload(const Item& item) {
  const Item before = payload_;
  payload_ = item;
  object(item, "payload");
  payload_ = before;
}

void Checker::wrapped(const Item& item) {
  if (item["aps"] || item["zintar"]) return;
  for (Item each = item.firstInside(); each; each = each.next(item)) {
    if (!each["aps"].is(Type::object) && !each["zintar"].is(Type::object)) continue;
    return reportKey(
        each, Severity::error,
        "the payload is wrapped in " + inQuotes(each.key()) + ", so a device finds neither \"aps\" nor \"zintar\"",
        "send what is inside");
  }
}

void Checker::nothingAtAll(const Item& item) {
  const auto isWrapped = [](const Item& each) { return each["aps"] || each["zintar"]; };
  for (Item each = item.firstInside(); each; each = each.next(item)) {
    const Key* meant = objectKind("payload").nearest(each.key());
    if (meant || objectKind("payload").key(each.key()) || isWrapped(each)) return;
  }
  reportKey(item, Severity::warning,
            "neither \"aps\" nor \"zintar\" is there: nothing is shown, and nothing is counted",
            "write {\"aps\": {\"alert\": \"Today only.\"}, \"zintar\": {\"cid\": \"autumn-sale\"}}");
}

/// Pushes of others may have a meaning of their own.
void Checker::nothingToShow(const Item& item) {
  const Item zintar = item["zintar"];
  const Item aps = item["aps"];
  if (options_.isOwnPush && aps.isPresent() && !zintar.isPresent()) {
    reportKey(
        item, Severity::warning,
        "\"zintar\" is missing: the push is not the library's own: it is shown and handed to the application, and "
        "neither counted nor acted on",
        "add \"zintar\": {\"cid\": \"autumn-sale\"}");
  }
  if (!zintar.is(Type::object) || zintar["silentPush"].isPresent()) return;
  if (aps.isPresent() && !aps.is(Type::object)) return;
  if (aps["content-available"].isPresent() || aps["badge"].isPresent()) return;
  const Item alert = aps["alert"];
  const bool isOdd = alert.isPresent() && !alert.is(Type::text) && !alert.is(Type::object);  // which was said
  const bool hasText = !alert.text().empty() || alert["title"].isPresent() || alert["body"].isPresent();
  if (isOdd || hasText) return;
  reportKey(alert ? alert
            : aps ? aps
                  : item,
            Severity::warning, "nothing is shown, as \"aps.alert\" has neither a title nor a body",
            "add \"body\", or \"silentPush\": true to \"zintar\" if that is meant");
}

/// A click finds the first one.
void Checker::repeatedCards(const Item& list) {
  std::set<double> numbers;
  for (const Item& each : inside(list)) {
    const auto number = each["cardID"].isPresent() ? numberIn(each["cardID"]) : std::nullopt;
    if (!number || numbers.insert(*number).second) continue;
    report(each["cardID"], Severity::warning,
           "a card before has the number " + shownNumber(*number) + ", and clicks on this one do what that one says",
           "give each card a number of its own");
  }
}

void Checker::cardAction(const Item& action) {
  const auto isNumber = [&](const char* key, double number) {
    const Item item = action[key];
    return item.isPresent() ? numberIn(item) == number : number == 0;
  };
  const Item type = action["actionType"];
  const auto number = type.isPresent() ? numberIn(type) : std::nullopt;
  if (number && *number != 0 && *number != 1 && *number != 2 && isNumber("actionName", 0)) {
    report(type, Severity::error, "\"actionType\" is " + shownNumber(*number) + ": nothing is done", "write 0, 1 or 2");
  }
  const Item value = action["value"];
  if (!value.is(Type::text) || !isNumber("actionName", 0) || !(isNumber("actionType", 0) || isNumber("actionType", 1)))
    return;
  const auto [problem, instead] = linkProblem(value.text(), options_.linkSchemes);
  if (problem.empty()) return;
  report(value, Severity::error, "\"value\": " + inQuotes(value.text()) + " " + problem,
         instead.empty() ? "" : "write " + inQuotes(instead));
}

}  // namespace apps::check
