// Consecutive numbers.
#ifndef FENRA_STREAMS_ID_RANGE_H
#define FENRA_STREAMS_ID_RANGE_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Of the generators that ostren_guint64_range_generator_new makes; the second as pull_from().
int id_range_next(OstrenGenerator* gener, void** item);
int id_range_skip(OstrenGenerator* gener, guint64 least, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_ID_RANGE_H
