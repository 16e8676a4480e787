#include "ZNAnalytics/ZNEventCondition.h"

#include "ZNAnalytics/ConditionFilter_p.h"
#include "ZNAnalytics/ConditionParser_p.h"

std::shared_ptr<ZNEventCondition> ZNEventCondition::initWithDictionary(const zn::Value& dictionary) {
  return std::make_shared<ZNEventCondition>(dictionary);
}

ZNEventCondition::ZNEventCondition(const zn::Value& dictionary) {
  try {
    zn::ParsedCondition parsed = zn::parseCondition(dictionary);
    eventName_ = std::move(parsed.eventName);
    filter_ = std::move(parsed.filter);
  } catch (const zn::ConditionProblem& problem) {
    problem_ = problem.text;
  }
}

ZNEventCondition::~ZNEventCondition() = default;

bool ZNEventCondition::checkIfAttributeConditionSatisfiedForEvent(const zn::Value& eventName,
                                                                  const zn::Value& attributes) const {
  if (!problem_.empty() || !eventName.isString() || eventName.string() != eventName_) return false;
  return !filter_ || filter_->isSatisfiedBy(attributes);
}

std::string ZNEventCondition::refusal(const zn::Value& attributes) const {
  return filter_ ? filter_->refusal(attributes) : "";
}
