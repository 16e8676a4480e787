#pragma once

#include <functional>
#include <vector>

#include "Tests/Support/TestDevice.h"

namespace zn::test {

/// Calls `visit` with `whole` as many times as it has places, itself among them, and there are odd values to stand
/// there: of every type, some of them empty, and nothing at all.
inline void forAnyTypeAnywhere(const Value& whole, const std::function<void(const Value& odd)>& visit) {
  static const Value list =
      json(R"([null, true, 0, -7, 1e300, "", "text", "0012.5e3", [], [1, "x", null], {}, {"cid": [], "data": "x"}])");
  for (const Value& odd : list.elements()) visit(odd);
  for (const Value& odd : {Value(Date{1e12}), Value::data({1, 2}), Value()}) visit(odd);
  for (const auto& entry : whole.entries()) {
    forAnyTypeAnywhere(entry.value, [&](const Value& odd) {
      Value copy = whole;
      copy.setObjectNilHandled(odd, entry.name());
      visit(copy);
    });
  }
  for (std::size_t place = 0; place < whole.size(); ++place) {
    forAnyTypeAnywhere(whole.elements()[place], [&](const Value& odd) {
      std::vector<Value> copy(whole.elements().begin(), whole.elements().end());
      copy[place] = odd;
      visit(Value::array(std::move(copy)));
    });
  }
}

}  // namespace zn::test
