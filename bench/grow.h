// A store that grows from nothing while it is asked.
#ifndef FENRA_BENCH_GROW_H
#define FENRA_BENCH_GROW_H

#include <cstddef>
#include <memory>
#include <string>

#include "bench/engine.h"

namespace bench {

// Adds the listed articles one by one, each on disk before the next, and after every `every`
// articles (0: never) asks for two words of the last one, for the first ten answers. Which words is
// the same for every engine.
//
// Prints a line for every `step` articles, and one for what is left of them. All but the first
// number are of these articles alone: articles in the store, seconds of the calls; mean, p50, p99
// and longest of the calls that add; number, mean, p50, p99 and longest of the queries; bytes that
// the process had written to disk; seconds of processor time. The last line is that of closing the
// store: seconds, bytes, processor time.
void grow(std::unique_ptr<Engine> engine, const std::string& list, size_t every, size_t step);

}  // namespace bench

#endif  // FENRA_BENCH_GROW_H
