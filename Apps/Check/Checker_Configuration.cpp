#include "Apps/Check/Checker.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace apps::check {

using zn::Value;

namespace {

struct Refusal {
  std::string path;  // such as "server.timeout"
  std::string reason;
};

/// Why the library refuses the configuration, by its first such key.
std::optional<Refusal> refusalOf(const Value& configuration) {
  try {
    ZNConfigDataManager().applySilently(configuration);
    return std::nullopt;
  } catch (const zn::Exception& refused) {
    std::string reason = refused.reason();
    constexpr std::string_view kBeginning = "configuration key ";
    if (reason.starts_with(kBeginning)) reason.erase(0, kBeginning.size());
    const std::size_t begin = reason.find('"');
    const std::size_t end = begin == reason.npos ? reason.npos : reason.find('"', begin + 1);
    if (end == reason.npos) return Refusal{"", reason};
    return Refusal{reason.substr(begin + 1, end - begin - 1), reason};
  }
}

std::pair<std::string, std::string> parentAndKey(const std::string& path) {
  constexpr std::string_view kServer = "server.";
  constexpr std::string_view kEndpoints = "server.endpoints.";
  if (path.starts_with(kEndpoints)) return {"server.endpoints", path.substr(kEndpoints.size())};
  if (path.starts_with(kServer)) return {"server", path.substr(kServer.size())};
  return {"", path};
}

/// The configuration without that key, so that the next refusal shows.
bool remove(Value& configuration, const std::string& path) {
  const auto [parent, key] = parentAndKey(path);
  if (parent.empty()) {
    if (!configuration[key]) return false;
    configuration.removeValidObjectForKey(key);
    return true;
  }
  Value server = configuration["server"];
  Value inner = parent == "server" ? server : server["endpoints"];
  if (!inner[key]) return false;
  inner.removeValidObjectForKey(key);
  if (parent != "server") server.setObjectNilHandled(inner, "endpoints");
  configuration.setObjectNilHandled(parent == "server" ? inner : server, "server");
  return true;
}

}  // namespace

void Checker::refusals(const Item& item) {
  Value rest = item.value();
  constexpr int kMostRefusals = 20;
  for (int count = 0; count < kMostRefusals; ++count) {
    const auto refusal = refusalOf(rest);
    if (!refusal) return;
    const auto [parent, name] = parentAndKey(refusal->path);
    Item holder = item;
    if (!parent.empty()) holder = parent == "server" ? item["server"] : item["server"]["endpoints"];
    const Item at = holder[name] ? holder[name] : holder;
    const std::string sentence = "the configuration is refused: " + refusal->reason;
    if (refusal->reason.ends_with("is not known")) {
      const Key* meant = objectKind(parent.empty() ? "configuration" : "server").nearest(name);
      reportKey(at, Severity::error, sentence, meant ? "write " + inQuotes(meant->name) : "take it out");
    } else {
      report(at, Severity::error, sentence);
    }
    if (!remove(rest, refusal->path)) return;
  }
}

void Checker::configuration(const Item& item) {
  if (!item.is(Type::object)) {
    return report(item, Severity::error, "a configuration is a JSON object, not " + shownType(item));
  }
  const Item account = item["account"];  // of a host that has more to configure, such as zinhost
  if (account["accountActive"]) return configuration(account);
  refusals(item);
  const Item group = item["appGroupID"];
  if (group.is(Type::text) && !group.text().empty() && !NSUserDefaults::canNameSuite(group.text())) {
    report(group, Severity::error, "the configuration is refused: " + inQuotes(group.text()) + " cannot name a group",
           "write a name such as \"group.example.shop\"");
  }
  object(item, "configuration");
  endpoints(item["server"]["endpoints"]);
}

void Checker::endpoints(const Item& endpoints) {
  if (!endpoints.is(Type::object)) return;
  for (Item each = endpoints.firstInside(); each; each = each.next(endpoints)) {
    const std::string key = each.key();
    if (key == "1" || key == "7" || key == "8" || key == "9" || key == "10") continue;
    reportKey(each, Severity::warning, inQuotes(key) + " is no service, and nothing is sent there",
              "write 1 (events), 7 (inbox), 8 (categories), 9 (campaigns) or 10 (segments)");
  }
}

}  // namespace apps::check
