// Pulls with leave to pass over ids: how operators go past what they would drop anyway.
#ifndef FENRA_STREAMS_SKIP_H
#define FENRA_STREAMS_SKIP_H

#include <glib.h>

#include "streams/ostren_generator.h"

namespace ostren::fenra::streams {

// Pulls a stream of ids in the order of guint64_cmp, of which the caller would drop those
// less than `least`: any of them may be left out, and then also a failure in front of the
// element that comes, or an end may come for a failure. Otherwise, and always with a `least`
// of 0, as ostren_generator_next.
//
// The kinds that can go past ids without a pull for each are in the table of skip.cc; each
// has a function of this shape for itself. Others are pulled.
int pull_from(OstrenGenerator* input, guint64 least, void** item);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_SKIP_H
