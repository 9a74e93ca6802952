#include "tools/lexicon_compiler/search_order.h"

#include <algorithm>

namespace lexicon_compiler {

namespace {

using ArcIterator = std::vector<Arc>::iterator;

uint8_t LabelOf(const Arc& arc) { return static_cast<uint8_t>(arc.lower); }

bool LowerLess(const Arc& a, const Arc& b) { return LabelOf(a) < LabelOf(b); }

// The arc that the look iterator's bisection hits first; one with this label
// exists.
ArcIterator Bisect(ArcIterator begin, ArcIterator end, uint8_t label) {
  auto low = begin;
  auto high = end;
  for (;;) {
    const auto middle = low + (high - low) / 2;
    if (label == LabelOf(*middle)) {
      return middle;
    }
    if (label < LabelOf(*middle)) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
}

}  // namespace

std::vector<Arc> ArrangeForSearch(std::vector<Arc> arcs) {
  std::stable_sort(arcs.begin(), arcs.end(), LowerLess);
  const auto letters =
      std::find_if(arcs.begin(), arcs.end(), [](const Arc& arc) { return LabelOf(arc) != 0; });
  std::reverse(arcs.begin(), letters);
  for (auto group = letters; group != arcs.end();) {
    const auto group_end = std::upper_bound(group, arcs.end(), *group, LowerLess);
    const auto hit = Bisect(letters, arcs.end(), LabelOf(*group));
    std::reverse(hit, group_end);
    group = group_end;
  }
  return arcs;
}

}  // namespace lexicon_compiler
