// Days, months and years of a query.
#ifndef FENRA_QUERY_DATES_H
#define FENRA_QUERY_DATES_H

#include <glib.h>

#include <string_view>

namespace ostren::fenra::query {

// Sets the first and last date, as 20090315, of "2009", "200903", "20090315", or of two of these
// with ".." between them, of which one may be missing; an article without a date has 0, which no
// range has. False, and nothing set, for any other text and a range that ends before it begins.
bool read_dates(std::string_view text, guint32* first, guint32* last);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_DATES_H
