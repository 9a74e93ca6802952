// Pulls with leave to pass over ids: how operators go past what they would drop anyway.
#ifndef FENRA_STREAMS_SKIP_H
#define FENRA_STREAMS_SKIP_H

#include <glib.h>

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Goes on in a stream of ids in the order of guint64_cmp, of which the caller would drop those
// less than `least`: any of them may be left out, and then also a failure in front of the
// element that comes, or an end may come for a failure. Otherwise as ostren_generator_next.
//
// The kinds that can go past ids without a pull for each are in the table of skip.cc; each
// has a function of this shape for itself. Others are pulled.
int skip_from(OstrenGenerator* input, guint64 least, void** item);

// The same; with a `least` of 0 the input may be any stream.
inline int pull_from(OstrenGenerator* input, guint64 least, void** item) {
  return least == 0 ? ostren_generator_next(input, item) : skip_from(input, least, item);
}

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_SKIP_H
