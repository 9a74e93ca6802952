// A set of ids, made before it is read: a bit for every id that the store has handed
// out, and a list of what other ids there may be.
#ifndef FENRA_STREAMS_ID_SET_H
#define FENRA_STREAMS_ID_SET_H

#include <functional>
#include <string_view>

#include "store/articledb.h"
#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Adds an id to a set that is being made.
using AddId = void (*)(void* ids, guint64 id);

// The ids that `read(add, ids)` adds, in any order and any number of times, by calls of
// `add(ids, id)`. Null when it returns another code than 0, and when the id counter cannot be
// read.
OstrenGenerator* id_set_new(ArticledbDb* db, const std::function<int(AddId add, void* ids)>& read);

// The ids of a set in bytes, which another one can be made of again, as long as nothing has been
// pulled from it. Empty where they are not all bits.
std::string_view id_set_bits(const OstrenGenerator* set);
OstrenGenerator* id_set_of_bits_new(std::string_view bits);

// The ids that the store has, at the time of the call, under all trigrams that begin with
// 1 to 192 bytes: what can be read of them.
OstrenGenerator* id_set_of_trigrams_new(ArticledbDb* db, const char* prefix, guint32 length);
int id_set_next(OstrenGenerator* gener, void** item);
int id_set_skip(OstrenGenerator* gener, guint64 least, void** item);  // as pull_from()

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_ID_SET_H
