// What authors write, as the kind that it looks like and as another one: places are in the text, and a finding is one
// line.

#include <algorithm>
#include <iterator>

#include "Apps/Check/Check.h"
#include "Fuzz/FuzzDevice.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using apps::check::Kind;
  const std::string_view text = zn::fuzz::textOf({data, size});
  const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
  const apps::check::Options options{.now = 1700000000, .linkSchemes = {"shop"}};
  constexpr Kind kKinds[] = {Kind::payload, Kind::campaigns, Kind::condition, Kind::configuration, Kind::scenario};
  const Kind other = kKinds[size % std::size(kKinds)];  // which the text does not look like
  for (const Kind kind : {apps::check::kindOf(text).value_or(Kind::payload), other}) {
    for (const auto& finding : apps::check::check(kind, text, options)) {
      zn::fuzz::require(finding.line >= 1 && finding.line <= lines && finding.column >= 1);
      zn::fuzz::require(finding.column <= static_cast<int>(size) + 1 && !finding.sentence.empty());
      zn::fuzz::require((finding.sentence + finding.advice).find('\n') == std::string::npos);
    }
  }
  return 0;
}
