#include "query/dates.h"

#include <algorithm>

namespace ostren::fenra::query {
namespace {

struct Dates {
  guint32 first = 1;
  guint32 last = G_MAXUINT32;
};

// A year, month or day: its digits, and zeros and nines in the place of the others.
bool read_date(std::string_view digits, Dates* dates) {
  constexpr size_t DAY_DIGITS = 8;
  if (digits.size() != 4 && digits.size() != 6 && digits.size() != DAY_DIGITS) {
    return false;
  }
  *dates = {0, 0};
  for (size_t i = 0; i < DAY_DIGITS; ++i) {
    if (i < digits.size() && !g_ascii_isdigit(digits[i])) {
      return false;
    }
    const auto digit = static_cast<guint32>(i < digits.size() ? digits[i] - '0' : 0);
    dates->first = dates->first * 10 + digit;
    dates->last = dates->last * 10 + (i < digits.size() ? digit : 9);
  }
  dates->first = std::max(dates->first, guint32{1});
  return true;
}

}  // namespace

bool read_dates(std::string_view text, guint32* first, guint32* last) {
  const size_t dots = text.find("..");
  Dates from;
  Dates to;
  if (dots == std::string_view::npos) {
    if (!read_date(text, &from)) {
      return false;
    }
    to = from;
  } else {
    const std::string_view begin = text.substr(0, dots);
    const std::string_view end = text.substr(dots + 2);
    if ((begin.empty() && end.empty()) || (!begin.empty() && !read_date(begin, &from)) ||
        (!end.empty() && !read_date(end, &to))) {
      return false;
    }
  }
  if (from.first > to.last) {
    return false;
  }
  *first = from.first;
  *last = to.last;
  return true;
}

}  // namespace ostren::fenra::query
