#pragma once

#include <algorithm>
#include <cstdlib>

namespace zn::test {

/// How often a stress test repeats its work: `full` times what ZN_STRESS_SCALE says, but at least so often.
inline int scaled(int full, int least) {
  const char* scale = std::getenv("ZN_STRESS_SCALE");
  return std::max(least, static_cast<int>(full * (scale ? std::atof(scale) : 1)));
}

}  // namespace zn::test
