#include "ZNRichNotification/ZNRichPush.h"

namespace {

std::int64_t integerForKey(const zn::Value& dictionary, const char* key) {
  const zn::Value value = dictionary.validObjectForKey(key);
  return value.isNumber() || value.isString() ? value.longLongValue() : 0;
}

template <class Part>
std::vector<Part> partsOf(const zn::Value& array) {
  std::vector<Part> parts;
  for (const zn::Value& element : array.elements()) {
    if (element.isDictionary()) parts.emplace_back(element);
  }
  return parts;
}

}  // namespace

namespace zn {

std::int64_t CardAction::actionName() const { return integerForKey(dictionary_, "actionName"); }
std::int64_t CardAction::actionType() const { return integerForKey(dictionary_, "actionType"); }

Value CardAction::value() const {
  const Value value = dictionary_.validObjectForKey("value");
  return value.isString() ? value : nil;
}

Value CardAction::kvPairs() const {
  const Value pairs = dictionary_.validObjectForKey("kvPairs");
  return pairs.isDictionary() ? pairs : nil;
}

std::vector<CardAction> cardActionsWithArray(const Value& array) { return partsOf<CardAction>(array); }

RichCard::RichCard(const Value& dictionary)
    : cardID_(integerForKey(dictionary, "cardID")),
      actions_(cardActionsWithArray(dictionary.validObjectForKey("actions"))) {}

}  // namespace zn

ZNExpandedMode::ZNExpandedMode(const zn::Value& dictionary)
    : templateType_(integerForKey(dictionary, "templateType")),
      cards_(partsOf<zn::RichCard>(dictionary.validObjectForKey("cards"))) {}

std::shared_ptr<const ZNRichPush> ZNRichPush::initWithDictionary(const zn::Value& dictionary) {
  return dictionary.isDictionary() ? std::make_shared<const ZNRichPush>(dictionary) : nullptr;
}

ZNRichPush::ZNRichPush(const zn::Value& dictionary) : displayName_(dictionary.validObjectForKey("displayName")) {
  const zn::Value mode = dictionary.validObjectForKey("expandedMode");
  if (mode.isDictionary()) expandedMode_ = std::make_shared<const ZNExpandedMode>(mode);
}
