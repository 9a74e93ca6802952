// Union of two sorted streams.
#ifndef FENRA_STREAMS_SORTED_UNIONER_H
#define FENRA_STREAMS_SORTED_UNIONER_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Of the generators that ostren_sorted_generator_unioner_new makes; as pull_from().
int unioner_skip(OstrenGenerator* gener, guint64 least, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_SORTED_UNIONER_H
