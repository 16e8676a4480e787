#include "Apps/zinsim/Shapes.h"

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinsim {

using zn::Value;

std::string shown(const Value& value) {
  constexpr std::size_t longest = 60;
  std::string text = zn::jsonText(value);
  if (text.size() > longest) text = zn::sanitizedUtf8(text.substr(0, longest)) + "…";
  return text;
}

std::string refusal(const std::string& what, const std::string& expected, const Value& value) {
  return what + " must be " + expected + ", not " + shown(value);
}

void refuse(const std::string& what, const std::string& expected, const Value& value) {
  throw UsageError(refusal(what, expected, value));
}

}  // namespace zinsim
