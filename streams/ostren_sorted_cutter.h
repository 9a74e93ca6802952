// Intersection of sorted streams.
#ifndef FENRA_STREAMS_OSTREN_SORTED_CUTTER_H
#define FENRA_STREAMS_OSTREN_SORTED_CUTTER_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// As pull_from(), for the generators that articledb_guint64_cutter_new makes.
int cutter_skip(OstrenGenerator* gener, guint64 least, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_OSTREN_SORTED_CUTTER_H
