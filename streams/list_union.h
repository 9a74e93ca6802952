// Union of a list of sorted streams: a tournament over the inputs.
#ifndef FENRA_STREAMS_LIST_UNION_H
#define FENRA_STREAMS_LIST_UNION_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Of the generators that ostren_generator_union_from_glist makes of three and more.
int list_union_next(OstrenGenerator* gener, void** item);
int list_union_skip(OstrenGenerator* gener, guint64 least, void** item);  // as pull_from()

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_LIST_UNION_H
