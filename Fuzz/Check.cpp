// What authors write, as any of the kinds: checked without end or crash, with places that are in the text, one line a
// finding, and the same findings again.

#include <algorithm>

#include "Apps/Check/Check.h"
#include "Fuzz/FuzzDevice.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using apps::check::Kind;
  const std::string_view text = zn::fuzz::textOf({data, size});
  const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
  const apps::check::Options options{.now = 1700000000, .linkSchemes = {"shop"}};
  const auto told = apps::check::kindOf(text);
  for (const Kind kind : {told.value_or(Kind::payload), Kind::payload, Kind::campaigns, Kind::condition,
                          Kind::configuration, Kind::scenario}) {
    for (const auto& finding : apps::check::check(kind, text, options)) {
      zn::fuzz::require(finding.line >= 1 && finding.line <= lines && finding.column >= 1);
      zn::fuzz::require(finding.column <= static_cast<int>(size) + 1 && !finding.sentence.empty());
      zn::fuzz::require((finding.sentence + finding.advice).find('\n') == std::string::npos);
    }
  }
  return 0;
}
