// Pulls with leave to pass over elements: how operators go past what they would drop
// anyway. The operators of ostren_generator.h only hand the leave on; what to do with
// it is up to the Skip function that they were given.
#ifndef FENRA_STREAMS_PULL_H
#define FENRA_STREAMS_PULL_H

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Pulls `input`, whose elements less than `least` the caller would drop: the function
// may leave any of them out, and then also a failure in front of the element it
// gives, or give an end for a failure. Otherwise as ostren_generator_next.
using Skip = int (*)(OstrenGenerator* input, const void* least, void** item);

// One way of pulling inputs. Without a function, or anything to pass over, a plain one.
struct Pull {
  Skip skip;
  const void* least;

  int operator()(OstrenGenerator* input, void** item) const {
    return skip != nullptr && least != nullptr ? skip(input, least, item)
                                               : ostren_generator_next(input, item);
  }
};

// Pulls the operator, and its inputs by `pull`. What is passed over is less than
// *pull.least by the operator's own comparison.
int pull_unioner(OstrenSortedGeneratorUnioner* unioner, const Pull& pull, void** item);

// Passes over the numbers less than `least`, then pulls.
int pull_range(OstrenGuint64RangeGenerator* range, guint64 least, void** item);
bool is_range(const OstrenGenerator* gener);

// Whether the generator is the union of three or more that
// ostren_generator_union_from_glist makes, and by the given comparison.
bool is_union_of_list(const OstrenGenerator* gener, GCompareFunc compare);
int pull_union_of_list(OstrenGenerator* gener, const Pull& pull, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_PULL_H
