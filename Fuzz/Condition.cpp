// A campaign's condition (the first line, as JSON) and what was tracked (the rest, as JSON). One that cannot be
// understood says why and is never satisfied; a "not" around one that can be is its opposite.

#include "Fuzz/FuzzDevice.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNPlatform/Foundation/Json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = zn::fuzz::textOf({data, size});
  const std::size_t end = std::min(text.find('\n'), text.size());
  const auto dictionary = zn::parseJson(text.substr(0, end));
  if (!dictionary) return 0;
  zn::Value attributes = zn::parseJson(text.substr(end)).value_or(zn::Value::dictionary());
  try {
    attributes = zn::decodeTaggedValues(attributes);  // dates and data, which JSON has not
  } catch (const zn::Exception&) {
    return 0;
  }
  const zn::Value& event = (*dictionary)["eventName"];
  const ZNEventCondition condition(*dictionary);
  zn::fuzz::require(condition.problem().find('\n') == std::string::npos);
  for (const zn::Value& tracked : {attributes, zn::trackedDictionary(attributes)}) {
    const bool satisfied = condition.checkIfAttributeConditionSatisfiedForEvent(event, tracked);
    zn::fuzz::require(condition.problem().empty() || !satisfied);
    const zn::Value& filter = (*dictionary)["filter"];
    if (!condition.problem().empty() || !filter.isDictionary()) continue;
    zn::Value opposite = *dictionary;
    opposite.setObjectNilHandled(zn::Value::dictionary({{"not", filter}}), "filter");
    const ZNEventCondition inverse(opposite);
    if (!inverse.problem().empty()) continue;  // one level too many
    zn::fuzz::require(inverse.checkIfAttributeConditionSatisfiedForEvent(event, tracked) != satisfied);
  }
  return 0;
}
