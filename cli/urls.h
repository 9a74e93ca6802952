// The URLs of articles.
#ifndef FENRA_CLI_URLS_H
#define FENRA_CLI_URLS_H

#include "articles/urls.h"

namespace cli {

using ostren::fenra::articles::escape_bars;
using ostren::fenra::articles::first_id_of_url;
using ostren::fenra::articles::indexed_url_end;
using ostren::fenra::articles::shown_id;
using ostren::fenra::articles::spellings;
using ostren::fenra::articles::url_ends;

}  // namespace cli

#endif  // FENRA_CLI_URLS_H
