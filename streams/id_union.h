// Union of lists of ids: a bitmap of a window of ids is filled from what the lists
// have read ahead, and then walked.
#ifndef FENRA_STREAMS_ID_UNION_H
#define FENRA_STREAMS_ID_UNION_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// The union of `size` lists, at least one, made by articledb_guint64_generator_new. It takes
// them over and gives what ostren_generator_union_from_glist gives for them.
OstrenGenerator* id_union_new(OstrenGenerator** lists, guint32 size);
int id_union_next(OstrenGenerator* gener, void** item);
int id_union_skip(OstrenGenerator* gener, guint64 least, void** item);  // as pull_from()

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_ID_UNION_H
