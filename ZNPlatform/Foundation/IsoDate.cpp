#include "ZNPlatform/Foundation/IsoDate_p.h"

#include <chrono>
#include <limits>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

/// Takes a text apart from the front. The first part that does not fit makes it fail for good.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool failed() const { return failed_; }
  bool atEnd() const { return rest_.empty(); }
  bool next(char c) const { return rest_.starts_with(c); }

  bool take(char c) {
    if (!next(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void expect(char c) { failed_ |= !take(c); }

  int digit() {
    if (rest_.empty() || !isAsciiDigit(rest_.front())) return -1;
    const int value = rest_.front() - '0';
    rest_.remove_prefix(1);
    return value;
  }
  int number(int digits, int highest) {
    int value = 0;
    for (int i = 0; i < digits; ++i) {
      const int next = digit();
      failed_ |= next < 0;
      value = value * 10 + next;
    }
    failed_ |= value > highest;
    return value;
  }
  /// What follows a decimal point: one digit to nine.
  double fraction() {
    double digits = 0;
    double scale = 1;
    int count = 0;
    for (int value; (value = digit()) >= 0; ++count) {
      digits = digits * 10 + value;
      scale *= 10;
    }
    failed_ |= count < 1 || count > 9;
    return digits / scale;
  }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

int minutesOfDay(Reader& reader) {
  const int hours = reader.number(2, 23);
  reader.expect(':');
  return hours * 60 + reader.number(2, 59);
}

}  // namespace

double secondsOfIsoDate(std::string_view text) noexcept {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  Reader reader(text);
  const int year = reader.number(4, 9999);
  reader.expect('-');
  const int month = reader.number(2, 12);
  reader.expect('-');
  const int day = reader.number(2, 31);
  if (reader.failed()) return none;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return none;
  double seconds = static_cast<double>(std::chrono::sys_days(date).time_since_epoch().count()) * 86400;
  if (reader.atEnd()) return seconds;

  reader.expect('T');
  seconds += minutesOfDay(reader) * 60;
  if (reader.take(':')) {
    seconds += reader.number(2, 59);
    if (reader.take('.')) seconds += reader.fraction();
  }
  if (!reader.take('Z')) {
    const bool isEast = reader.next('+');
    if (!reader.take('+')) reader.expect('-');
    const int offset = minutesOfDay(reader) * 60;
    seconds += isEast ? -offset : offset;
  }
  return reader.failed() || !reader.atEnd() ? none : seconds;
}

}  // namespace zn
