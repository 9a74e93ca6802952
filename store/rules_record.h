// The record of "iddb" that has the name of the rules of words that a store was made with. A
// store of plain words has none, as those of earlier versions.
//
// It is a record and not a file beside the databases so that it goes where these go: into a
// copy, a compacted store, one that is put over another.
#ifndef FENRA_STORE_RULES_RECORD_H
#define FENRA_STORE_RULES_RECORD_H

#include <string_view>

#include "store/articledb.h"

namespace ostren::fenra::store {

// Whether the rules are those of a store without the record.
bool is_plain(const ArticledbRules& rules);

// Gives rules to a store that is being made; the caller has entered the gate, and flushes the
// log. EEXIST when it has others, or is complete without a record and these are not plain.
int put_rules(ArticledbDb* db, std::string_view name);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_RULES_RECORD_H
