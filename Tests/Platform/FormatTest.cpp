#include "ZNPlatform/Foundation/Format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace zn {
namespace {

TEST(NumberText, IsTheShortestThatReadsBackTheSame) {
  const std::pair<double, const char*> table[] = {
      {-0.0, "0"},
      {-0.1 - 0.2, "-0.30000000000000004"},
      {9999999999999998, "9999999999999998"},
      {1e16, "1e16"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {1e-5, "0.00001"},
      {9.999e-6, "9.999e-6"},
  };
  for (const auto& [number, text] : table) {
    EXPECT_EQ(numberText(number), text);
    EXPECT_EQ(Value(text).doubleValue(), number) << text;
  }
  EXPECT_EQ(numberText(-HUGE_VAL) + numberText(std::nan("")), "-infnan");
}

TEST(Format, FillsPlaceholders) {
  EXPECT_EQ(zn::format("%@ has %d of %ld, %lld, %u, %lu"), "(null) has (null) of (null), (null), (null), (null)");
  EXPECT_EQ(
      zn::format("%@ has %d of %ld, %lld, %u, %lu", "x", 1, -2L, 3LL, 4u, std::numeric_limits<std::uint64_t>::max()),
      "x has 1 of -2, 3, 4, 18446744073709551615");
  EXPECT_EQ(zn::format("%f %0.1f %.0f %.3f", 1.5, 0.25, 2.5, -1e6), "1.500000 0.2 2 -1000000.000");
  EXPECT_EQ(zn::format("%5d|%-5d|%05d|%+d|%06.2f", 42, 42, -42, 42, -1.234), "   42|42   |-0042|+42|-01.23");
  EXPECT_EQ(zn::format("%@ %@ %d", std::runtime_error("e"), true, false), "e 1 0");
  EXPECT_EQ(zn::format("one %@", 1, 2, 3), "one 1") << "spare arguments are left out";
}

TEST(Format, SurvivesAnyFormatAndArgument) {
  EXPECT_EQ(zn::format("100%% %", 1), "100% %");
  EXPECT_EQ(zn::format("%y %l %5 %.", 1), "%y %l %5 %.") << "no placeholders";
  EXPECT_EQ(zn::format("%y%@", 1), "%y1") << "what is no placeholder takes no argument";
  EXPECT_EQ(zn::format("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(zn::format("%ld %f %d", "text", "2", 2.5), "text 2 2.5");
  EXPECT_EQ(zn::format("%.1f", 3), "3.0") << "an integer may stand for a real";
  EXPECT_EQ(zn::format("%f %0.1f %05.1f", std::nan(""), -HUGE_VAL, HUGE_VAL), "nan -inf   inf");
  EXPECT_EQ(zn::format("%99999999999d", 1).size(), 256u) << "a field's size is bounded";
  EXPECT_EQ(zn::format("%.999f", std::numeric_limits<double>::max()).size(), 309u + 257u);
}

TEST(Format, ConvertsValues) {
  EXPECT_EQ(zn::format("%ld %ld %ld %ld", Value(5), Value(2.9), Value("12"), Value(true)), "5 2 12 1");
  EXPECT_EQ(zn::format("%0.1f %f %ld %f", Value(5), Value("2.5"), Value(), Value()), "5.0 2.500000 (null) (null)");
  EXPECT_EQ(zn::format("%ld %ld %0.1f", Value("12 apples"), Value("inf"), Value("")), "12 apples inf ");
  EXPECT_EQ(zn::format("%ld %0.1f %d", Value::array({1}), Value::null(), Value(Date{3})), "[1] null 3");
}

}  // namespace
}  // namespace zn
