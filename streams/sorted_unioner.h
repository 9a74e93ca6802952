// Union of sorted streams.
#ifndef FENRA_STREAMS_SORTED_UNIONER_H
#define FENRA_STREAMS_SORTED_UNIONER_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// As pull_from(), for the generators that ostren_sorted_generator_unioner_new makes.
int unioner_skip(OstrenGenerator* gener, guint64 least, void** item);

// What ostren_generator_union_from_glist gives for two streams and more.
OstrenGenerator* union_of(OstrenGenerator* const* streams, gsize count, GCompareFunc compare);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_SORTED_UNIONER_H
