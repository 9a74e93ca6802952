// Owned id streams, put together.
#ifndef FENRA_QUERY_STREAM_H
#define FENRA_QUERY_STREAM_H

#include <memory>
#include <utility>

#include "base/handles.h"
#include "streams/articledb_generator.h"

namespace ostren::fenra::query {

using Stream = std::unique_ptr<OstrenGenerator, Releaser<ostren_generator_free>>;

// Either side may be null, and then the other one is what comes of it.

inline Stream cut(Stream left, Stream right) {
  if (left == nullptr || right == nullptr) {
    return left == nullptr ? std::move(right) : std::move(left);
  }
  return Stream(articledb_guint64_cutter_new(left.release(), right.release()));
}

inline Stream united(Stream left, Stream right) {
  if (left == nullptr || right == nullptr) {
    return left == nullptr ? std::move(right) : std::move(left);
  }
  return Stream(articledb_guint64_unioner_new(left.release(), right.release()));
}

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_STREAM_H
