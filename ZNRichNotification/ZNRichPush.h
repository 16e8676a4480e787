#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

// A rich template, as far as the application reads it. All of these are read-only and keep nothing of a part that is
// missing or has another type than the one named: an object is null then, a list empty, an integer 0, anything else
// nil. Integers may also come as strings. Thread: any.

namespace zn {

/// What a tap on a card asks for.
class ZN_EXPORT CardAction {
 public:
  /// Anything but a dictionary counts as an empty one.
  explicit CardAction(const Value& dictionary) : dictionary_(dictionary) {}

  std::int64_t actionName() const;  ///< 0: the application carries it out; others belong to the extension
  std::int64_t actionType() const;  ///< 0: a landing page, 1: a deep link, 2: a screen of the host
  Value value() const;              ///< string: the link or the screen's name
  Value kvPairs() const;            ///< dictionary

 private:
  Value dictionary_;
};

/// One card of a template.
class ZN_EXPORT RichCard {
 public:
  explicit RichCard(const Value& dictionary);
  std::int64_t cardID() const { return cardID_; }
  const std::vector<CardAction>& actions() const { return actions_; }  ///< in the template's order

 private:
  std::int64_t cardID_;
  std::vector<CardAction> actions_;
};

/// The actions of an array of dictionaries, in its order; other elements are left out.
ZN_EXPORT std::vector<CardAction> cardActionsWithArray(const Value& array);

}  // namespace zn

/// The expanded form of a rich template.
class ZN_EXPORT ZNExpandedMode {
 public:
  explicit ZNExpandedMode(const zn::Value& dictionary);
  std::int64_t templateType() const { return templateType_; }
  const std::vector<zn::RichCard>& cards() const { return cards_; }  ///< in the template's order

 private:
  std::int64_t templateType_;
  std::vector<zn::RichCard> cards_;
};

/// A rich template: the dictionary at "zinFeatures.richPush" of a push payload.
class ZN_EXPORT ZNRichPush {
 public:
  /// `initWithDictionary:`; null for anything but a dictionary.
  static std::shared_ptr<const ZNRichPush> initWithDictionary(const zn::Value& dictionary);
  explicit ZNRichPush(const zn::Value& dictionary);

  zn::Value displayName() const { return displayName_; }  ///< as it stands, or nil
  std::shared_ptr<const ZNExpandedMode> expandedMode() const { return expandedMode_; }

 private:
  zn::Value displayName_;
  std::shared_ptr<const ZNExpandedMode> expandedMode_;
};
