// Pages and the work on texts that the benchmarks time.
#ifndef FENRA_BENCH_TEXTS_H
#define FENRA_BENCH_TEXTS_H

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

// The HTML pages below a directory.
std::vector<std::string> read_pages(const std::string& directory);

size_t total_size(const std::vector<std::string>& texts);

// The text of a page, empty when the page is refused.
std::string convert(const std::string& page);

size_t count_tokens(const std::string& text);

}  // namespace bench

#endif  // FENRA_BENCH_TEXTS_H
