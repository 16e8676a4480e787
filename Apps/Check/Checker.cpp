#include "Apps/Check/Checker.h"

#include <algorithm>

#include "Apps/NearMiss.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace apps::check {

namespace {

constexpr std::size_t kMostFindings = 1000;

/// Where a payload's part of that kind stands; none where it is absent.
Item partOf(const Item& payload, std::string_view kind) {
  if (kind == "payload") return payload;
  if (kind == "alert") return payload["aps"]["alert"];
  if (kind == "richPush") return payload["zinFeatures"]["richPush"];
  if (kind == "expandedMode") return payload["zinFeatures"]["richPush"]["expandedMode"];
  return payload[kind];
}

/// The first sentence of the reference, for the middle of a finding.
std::string asClause(std::string_view sentence) {
  std::string clause(sentence.substr(0, std::min(sentence.find(". "), sentence.size())));
  if (clause.ends_with('.')) clause.pop_back();
  std::erase(clause, '`');
  const bool isWord = clause.size() > 1 && clause[1] != ' ' && !zn::isAsciiDigit(clause[1]);
  if (isWord) clause[0] = zn::asciiLower(clause[0]);
  return clause;
}

}  // namespace

bool Findings::areEnough() const { return all_.size() > kMostFindings; }

void Findings::add(Place place, Severity severity, std::string sentence, std::string advice) {
  if (areEnough()) return;
  if (all_.size() == kMostFindings) sentence = "there is more to be said; this is enough for now", advice = "";
  all_.push_back({severity, place.line, place.column, zn::singleLine(sentence), zn::singleLine(advice)});
}

std::vector<Finding> Findings::take() {
  const auto isBefore = [](const Finding& a, const Finding& b) {
    return a.line != b.line ? a.line < b.line : a.column < b.column;
  };
  std::stable_sort(all_.begin(), all_.end(), isBefore);
  return std::move(all_);
}

void Checker::report(const Item& at, Severity severity, std::string sentence, std::string advice) {
  findings_.add(document_.placeOf(at.begin()), severity, std::move(sentence), std::move(advice));
}

void Checker::reportKey(const Item& at, Severity severity, std::string sentence, std::string advice) {
  findings_.add(document_.placeOf(at.keyBegin()), severity, std::move(sentence), std::move(advice));
}

void Checker::duplicates() {
  for (std::size_t index = 0; index < document_.size(); ++index) {
    const Item object = document_.at(index);
    if (!object.is(Type::object)) continue;
    std::vector<std::pair<std::string, std::size_t>> keys;
    for (Item each = object.firstInside(); each; each = each.next(object))
      keys.emplace_back(each.key(), each.keyBegin());
    std::sort(keys.begin(), keys.end());
    for (std::size_t i = 1; i < keys.size(); ++i) {
      if (keys[i].first != keys[i - 1].first) continue;
      findings_.add(document_.placeOf(keys[i].second), Severity::warning,
                    inQuotes(keys[i].first) + " stands here for the second time, and only the last one counts",
                    "take one out");
    }
  }
}

void Checker::object(const Item& item, std::string_view kindName) {
  if (!item.is(Type::object) || findings_.areEnough()) return;
  const ObjectKind& kind = objectKind(kindName);
  Members members;
  for (Item each = item.firstInside(); each; each = each.next(item)) members.insert_or_assign(each.key(), each);
  // What else is wrong with a configuration the library itself says.
  const bool isRefusedAnyway = kindName == "configuration" || kindName == "server";
  for (const auto& [name, member] : members) {
    if (isRefusedAnyway) {
      const Key* key = kind.key(name);
      if (key && (member.is(Type::number) || member.is(Type::object))) value(member, *key);
    } else if (const Key* key = kind.key(name)) {
      value(member, *key);
    } else {
      unknownKey(member, name, kind, members);
    }
  }
  missingKeys(item, kind, members);
}

void Checker::unknownKey(const Item& item, const std::string& name, const ObjectKind& kind, const Members& members) {
  if (isAstray(item, name, kind)) return;
  const Key* meant = kind.nearest(name);
  if (!meant || members.contains(meant->name)) return;
  const std::string effect = meant->missing.empty() ? "" : ": " + asClause(meant->missing);
  reportKey(item, meant->needed.value_or(Severity::warning), inQuotes(name) + " means nothing to a device" + effect,
            "write " + inQuotes(meant->name));
}

bool Checker::isAstray(const Item& item, const std::string& name, const ObjectKind& kind) {
  if (!payload_) return false;
  const bool isPlatforms = kind.name == "aps" || kind.name == "alert";
  if (!isPlatforms && !payload_["zintar"].isPresent() && !name.starts_with("zin_")) return false;
  for (const auto& [home, key] : astrayKeys(plainWord(name), kind.name)) {
    const Item part = partOf(payload_, home->name);
    if (part[key->name].isPresent()) return false;
    const std::string where = home->name == "payload" ? "the top level" : inQuotes(home->name);
    const std::string here = kind.name == "payload" ? "at the top level" : "inside " + inQuotes(kind.name);
    reportKey(item, Severity::warning, inQuotes(name) + " means nothing to a device " + here,
              name == key->name ? "move it into " + where : "write " + inQuotes(key->name) + " inside " + where);
    return true;
  }
  return false;
}

void Checker::missingKeys(const Item& item, const ObjectKind& kind, const Members& members) {
  for (const Key& key : kind.keys) {
    if (!key.needed || (key.isNeededOnlyWhenSent && use_ != Use::sent)) continue;
    const auto found = members.find(key.name);
    if (found != members.end() && found->second.isPresent()) continue;
    // Another name for it was reported where it stands.
    const auto isOtherName = [&](const auto& member) {
      return !kind.key(member.first) && kind.nearest(member.first) == &key;
    };
    if (std::any_of(members.begin(), members.end(), isOtherName)) continue;
    reportKey(item, *key.needed, inQuotes(key.name) + " is missing: " + asClause(key.missing),
              "add " + inQuotes(key.name) + (key.example.empty() ? "" : ": " + key.example));
  }
}

void Checker::whatever(const Item& item, int depth) {
  constexpr int kDeepest = 4;
  if (depth > kDeepest) return;
  if (item.is(Type::object)) {
    if (item["trigger_event_name"] || item["campaign_id"]) return campaign(item);
    if (item["aps"] || item["zintar"] || item["app_extra"] || item["zinFeatures"]) return payload(item);
    if (item["data"].is(Type::object)) return object(item, "message");
  }
  for (Item each = item.firstInside(); each; each = each.next(item)) whatever(each, depth + 1);
}

}  // namespace apps::check
