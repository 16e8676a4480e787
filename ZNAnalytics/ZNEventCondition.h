#pragma once

#include <memory>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {
struct ConditionFilter;
}

/// Says whether a tracked event is one that somebody waits for: by its name and, with a filter, by its attributes.
/// docs/conditions.md describes the language with examples; in short:
///
///     {"eventName": "ADDED_TO_CART",
///      "filter": {"and": [{"attribute": "price", "is": "atLeast", "value": 50},
///                         {"not": {"attribute": "category", "is": "in", "value": ["toys", "books"]}}]}}
///
/// A filter is {"and": [filter, …]}, {"or": [filter, …]}, {"not": filter} or a test of one attribute:
/// {"attribute": name, "is": comparison, "value": what to compare with}. Comparisons and their values:
///
///     equals, notEquals               a number, string, boolean or date
///     in                              a list of such
///     greater, less, atLeast, atMost  a number, string or date
///     between                         [lowest, highest], both included, of one type
///     contains                        part of a string attribute, or an element of an array attribute
///     startsWith                      a string
///     exists                          no value
///
/// Numbers compare by value, strings by their UTF-8 bytes, dates by time; a date is a Value that is one, or
/// {"$date": seconds since 1970}, and ISO 8601 text compares with date attributes as that time. Different types are
/// never equal and in no order: 5 is not "5", 1 is not true. A missing attribute (null counts as missing) satisfies
/// notEquals, which is the exact opposite of equals, and nothing else.
///
/// The dictionary is read once, when the condition is made; a check allocates nothing. Immutable: any thread.
class ZN_EXPORT ZNEventCondition {
 public:
  /// `initWithDictionary:`; never null. See `problem` for a dictionary that cannot be understood.
  static std::shared_ptr<ZNEventCondition> initWithDictionary(const zn::Value& dictionary);
  explicit ZNEventCondition(const zn::Value& dictionary);
  ~ZNEventCondition();

  /// `checkIfAttributeConditionSatisfiedForEvent:andAttributes:`: whether the name is exactly the condition's, and the
  /// attributes satisfy the filter, if there is one. `attributes` is what was tracked; an attribute is looked up in its
  /// dictionary "EVENT_ATTRS_CUST", then in "EVENT_ATTRS", then in `attributes` itself.
  bool checkIfAttributeConditionSatisfiedForEvent(const zn::Value& eventName, const zn::Value& attributes) const;

  /// Why the condition could not be understood, in one line that names the place ("filter.and[1].is: …"); such a
  /// condition is never satisfied. Empty for one that was understood.
  const std::string& problem() const { return problem_; }

  /// Whether there is a filter; without one every event of that name satisfies the condition.
  bool hasFilter() const { return filter_ != nullptr; }
  /// Why these attributes do not satisfy the filter, for people: the tests that decided, each with its place and the
  /// value that it met ('filter.and[1]: "price" atLeast 50 fails, as it is 20'). Empty where they do, or where the
  /// condition could not be understood.
  std::string refusal(const zn::Value& attributes) const;

 private:
  std::string eventName_;
  std::unique_ptr<const zn::ConditionFilter> filter_;  // none: every event of that name
  std::string problem_;
};
