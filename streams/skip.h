// Passing over ids, by the kinds of streams that can do it.
#ifndef FENRA_STREAMS_SKIP_H
#define FENRA_STREAMS_SKIP_H

#include <glib.h>

#include "streams/articledb_generator.h"

namespace ostren::fenra::streams {

// Skip (pull.h) for streams of ids in the order of guint64_cmp. Streams that know no
// better way are pulled.
int skip_ids(OstrenGenerator* input, const void* least, void** item);

// The same for one kind.
int skip_list(ArticledbGuint64Generator* list, guint64 least, void** item);

// The union of `size` lists, at least one, made by articledb_guint64_generator_new. It takes
// them over and gives what ostren_generator_union_from_glist gives for them.
OstrenGenerator* id_union_new(OstrenGenerator** lists, guint32 size);
bool is_id_union(const OstrenGenerator* gener);
int skip_id_union(OstrenGenerator* gener, guint64 least, void** item);

// The ids that the store has, at the time of the call, under all trigrams that begin with
// 1 to 192 bytes: what can be read of them. Takes a bit for every id ever handed out.
OstrenGenerator* id_set_of_trigrams_new(ArticledbDb* db, const char* prefix, guint32 length);
bool is_id_set(const OstrenGenerator* gener);
int skip_id_set(OstrenGenerator* gener, guint64 least, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_SKIP_H
