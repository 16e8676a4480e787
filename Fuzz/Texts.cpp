// Small languages inside of other data: addresses, numbers, times of day, and patterns of dates.

#include <cmath>

#include "Fuzz/FuzzDevice.h"
#include "ZNPlatform/Foundation/NSURL.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZintarCore/ZNDateUtils.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zn::fuzz::device();
  const std::string_view text = zn::fuzz::textOf({data, size});
  if (const auto url = NSURL::URLWithString(text)) {
    const std::string& absolute = url->absoluteString();
    const auto again = NSURL::URLWithString(absolute);
    zn::fuzz::require(again && again->absoluteString() == absolute);
    zn::fuzz::require(url->scheme().size() + url->host().size() + url->path().size() + url->query().size() <=
                      absolute.size());
  }
  if (const auto time = ZNDateUtils::getDateComponentsFromTimeString(text)) {
    zn::fuzz::require(time->hour >= 0 && time->hour < 24 && time->minute >= 0 && time->minute < 60);
  }
  const auto formatter = ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(std::string(text), true);
  const double seconds = zn::Value(text).doubleValue();
  for (const double each : {1700000000.5, seconds, -seconds * 1e6}) formatter.stringFromDate({each});
  const std::string clean = zn::sanitizedUtf8(text);
  zn::fuzz::require(zn::isValidUtf8(clean) && zn::sanitizedUtf8(clean) == clean);
  zn::fuzz::require((clean == text) == zn::isValidUtf8(text));
  return 0;
}
