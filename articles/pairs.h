// Looking for single pairs in the databases of a store.
#ifndef FENRA_ARTICLES_PAIRS_H
#define FENRA_ARTICLES_PAIRS_H

#include <fenra/articledb.h>

#include <cstdint>
#include <string_view>

namespace ostren::fenra::articles {

// Whether the database holds the pair of strings of any length. They throw Failure.
bool has_pair(DB* database, std::string_view key, std::string_view data);
bool has_posting(DB* database, std::string_view key, uint64_t id);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_PAIRS_H
