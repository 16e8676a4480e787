#include "Apps/Check/Description.h"

namespace apps::check {

namespace {

constexpr const char* kNote = "<!-- Made from Apps/Check/description.json with: zincheck --reference ";

std::string typeText(const Key& key) {
  std::string text;
  for (const KeyType& type : key.types) {
    if (!text.empty()) text += " or ";
    if (type.name == "moment") {
      text += type.of == "s" ? "seconds since 1970" : "milliseconds since 1970";
    } else if (type.name == "period") {
      text += type.of == "s" ? "seconds" : "milliseconds";
    } else if (type.name == "hhmm") {
      text += "number hhmm";
    } else if (type.name == "flag") {
      text += "true or false";
    } else if (type.name == "whole") {
      text += "whole number";
    } else if (type.name == "objects") {
      text += "array of objects";
    } else if (type.name == "map") {
      text += "object of objects";
    } else {
      text += type.name == "condition" ? "object" : type.name;
    }
  }
  return text;
}

void append(std::string& text, std::string_view name) {
  const ObjectKind& kind = objectKind(name);
  text += "\n## " + kind.title + "\n\n";
  if (!kind.about.empty()) text += kind.about + "\n\n";
  text += "| key | type | meaning | without it | example |\n|---|---|---|---|---|\n";
  for (const Key& key : kind.keys) {
    text += "| `" + key.name + "` | " + typeText(key) + " | " + key.about + " | " + key.missing + " | ";
    text += (key.example.empty() ? "" : "`" + key.example + "` ") + "|\n";
  }
}

constexpr const char* kPayloadHead = R"(
# What a push payload may hold

`zincheck FILE` says what a device would silently make of a mistake in one. [Examples/payloads](../Examples/payloads) has
payloads to begin with.
)";

constexpr const char* kCampaignHead = R"(
# What campaigns and the answers of services may hold

`zincheck FILE` says what a device would silently make of a mistake in one. [Examples/campaigns](../Examples/campaigns)
has a folder to begin with, for `zinserver --folder`.
)";

}  // namespace

std::optional<std::string> reference(Kind kind) {
  if (kind != Kind::payload && kind != Kind::campaigns) return std::nullopt;
  const bool isPayload = kind == Kind::payload;
  std::string text = kNote + std::string(nameOf(kind)) + " -->\n" + (isPayload ? kPayloadHead : kCampaignHead);
  if (isPayload) {
    for (const char* name : {"payload", "aps", "alert", "zintar", "app_extra", "zinFeatures", "richPush",
                             "expandedMode", "card", "action"}) {
      append(text, name);
    }
  } else {
    for (const char* name : {"triggers", "campaign", "segment", "segments", "inbox", "message", "push", "fault"})
      append(text, name);
  }
  return text;
}

}  // namespace apps::check
