#include "Apps/Servers/FaultFields.h"

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"

namespace apps {

using zn::Value;

void refuseField(const Value& key, const char* expected, const Value& value) {
  throw zn::Exception(zn::format("a fault's \"%@\" must be %@, not %@", key, expected, value));
}

std::int64_t wholeNumber(const Value& key, const char* expected, const Value& value, std::int64_t lowest,
                         std::int64_t highest) {
  const bool isWhole = value.type() == Value::Type::integer && value.integer() >= lowest && value.integer() <= highest;
  if (!isWhole) refuseField(key, expected, value);
  return value.integer();
}

bool boolean(const Value& key, const Value& value) {
  if (!value.isBoolean()) refuseField(key, "true or false", value);
  return value.boolean();
}

double delay(const Value& key, const Value& value) {
  const bool isDelay = value.isNumber() && !value.isBoolean() && value.doubleValue() >= 0;
  if (!isDelay || value.doubleValue() > 24 * 3600) refuseField(key, "a number of seconds, a day at most", value);
  return value.doubleValue();
}

}  // namespace apps
