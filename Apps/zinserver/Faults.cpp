#include "Apps/zinserver/Faults.h"

#include <algorithm>
#include <iterator>

#include "Apps/Servers/FaultFields.h"
#include "Apps/zinserver/Services.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zinserver {

using apps::boolean;
using apps::delay;
using apps::wholeNumber;
using zn::Value;

Fault faultOf(const Value& description) {
  if (!description.isDictionary()) throw zn::Exception("a fault is a JSON object");
  Fault fault;
  for (const auto& [key, value] : description.entries()) {
    const auto name = key.string();
    if (name == "service") {
      fault.service = static_cast<int>(wholeNumber(key, "1, 7, 8, 9 or 10", value, 1, INT16_MAX));
    } else if (name == "times") {
      fault.times = wholeNumber(key, "a whole number from 1 on", value, 1, INT64_MAX);
    } else if (name == "delaySeconds") {
      fault.delaySeconds = delay(key, value);
    } else if (name == "status") {
      // Those below 200 do not end an answer.
      fault.status = static_cast<int>(wholeNumber(key, "a status from 200 to 599", value, 200, 599));
    } else if (name == "retryAfterSeconds") {
      fault.retryAfter = delay(key, value);
    } else if (name == "garbage") {
      fault.garbage = boolean(key, value);
    } else if (name == "truncate") {
      fault.truncate = boolean(key, value);
    } else if (name == "close") {
      fault.close = boolean(key, value);
    } else {
      throw zn::Exception(zn::format("a fault has no \"%@\"", key));
    }
  }
  const auto isIt = [&](const Service& each) { return static_cast<int>(each.number) == fault.service; };
  if (std::none_of(std::begin(kServices), std::end(kServices), isIt))
    apps::refuseField("service", "1, 7, 8, 9 or 10", description["service"]);
  return fault;
}

Value descriptionOf(const Fault& fault) {
  return Value::dictionary({{"service", fault.service},
                            {"times", fault.times},
                            {"delaySeconds", fault.delaySeconds},
                            {"status", fault.status ? Value(fault.status) : zn::nil},
                            {"retryAfterSeconds", fault.retryAfter},
                            {"garbage", fault.garbage},
                            {"truncate", fault.truncate},
                            {"close", fault.close}});
}

void Faults::add(const Fault& fault) {
  zn::Lock lock(mutex_);
  faults_.push_back(fault);
}

std::optional<Fault> Faults::take(int service) {
  zn::Lock lock(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& f) { return f.service == service; });
  if (found == faults_.end()) return std::nullopt;
  const Fault fault = *found;
  if (--found->times == 0) faults_.erase(found);
  return fault;
}

Value Faults::descriptions() const {
  zn::Lock lock(mutex_);
  Value all = Value::array();
  for (const Fault& fault : faults_) all.append(descriptionOf(fault));
  return all;
}

void Faults::clear() {
  zn::Lock lock(mutex_);
  faults_.clear();
}

}  // namespace zinserver
