// A set of ids, made before it is read: a bit for every id that the store has handed
// out, and a list of what other ids there may be.
#ifndef FENRA_STREAMS_ID_SET_H
#define FENRA_STREAMS_ID_SET_H

#include "store/articledb.h"
#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// The ids that the store has, at the time of the call, under all trigrams that begin with
// 1 to 192 bytes: what can be read of them.
OstrenGenerator* id_set_of_trigrams_new(ArticledbDb* db, const char* prefix, guint32 length);
int id_set_next(OstrenGenerator* gener, void** item);
int id_set_skip(OstrenGenerator* gener, guint64 least, void** item);  // as pull_from()

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_ID_SET_H
