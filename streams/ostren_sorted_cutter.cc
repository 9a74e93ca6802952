// Intersection of two sorted streams.
//
// A query of many words nests one cutter a word, each the left input of the
// next. Such a left-deep chain is walked with a loop, so that the length of a
// query does not show in the depth of the call stack: `outer` leads from a
// cutter to the one that consumes it, and a cutter that waits for a larger left
// element keeps its right one in `right_item`.
#include "streams/ostren_sorted_cutter.h"

#include "streams/skip.h"

namespace {

using ostren::fenra::streams::pull_from;

using Cutter = OstrenSortedGeneratorCutter;

Cutter* from_head(OstrenGenerator* gener) { return reinterpret_cast<Cutter*>(gener); }

// The element, an id, as what may be less than it passed over; 0 for an element of another kind.
guint64 least_of(bool of_ids, const void* element) {
  return of_ids && element != nullptr ? *static_cast<const guint64*>(element) : 0;
}

// The innermost live cutter of the left-deep chain that ends in `cutter`, with
// the `outer` links set from there up to `cutter`. *of_ids becomes false unless all of
// them may pass over ids.
Cutter* innermost_live(Cutter* cutter, bool* of_ids) {
  while (cutter->left != nullptr && cutter->left->nextf == ostren_sorted_generator_cutter_next &&
         !from_head(cutter->left)->ended) {
    Cutter* inner = from_head(cutter->left);
    *of_ids = *of_ids && inner->of_ids;
    inner->outer = cutter;
    cutter = inner;
  }
  return cutter;
}

enum class Meeting { MATCH, LEFT_TOO_SMALL, END };

// Brings the right input up to `left_item`, which is null with `has_left` unset
// when the left input gave no element. A pull that begins advances the right
// input in any case; one that waited for the left input goes on with the right
// element it holds.
Meeting meet(Cutter* cutter, bool has_left, const void* left_item) {
  bool has_right = true;
  // Right elements that are less than the left one match nothing.
  const guint64 least = least_of(cutter->of_ids, has_left ? left_item : nullptr);
  if (!cutter->waiting) {
    has_right = pull_from(cutter->right, least, &cutter->right_item) == 1;
  }
  while (has_left && has_right) {
    const int order = cutter->compare(left_item, cutter->right_item);
    if (order == 0) {
      cutter->waiting = 0;
      return Meeting::MATCH;
    }
    if (order < 0) {
      cutter->waiting = 1;
      return Meeting::LEFT_TOO_SMALL;
    }
    has_right = pull_from(cutter->right, least, &cutter->right_item) == 1;
  }
  cutter->ended = 1;
  return Meeting::END;
}

}  // namespace

OstrenGenerator* ostren_sorted_generator_cutter_new(OstrenGenerator* left, OstrenGenerator* right,
                                                    GCompareFunc compare) {
  auto* cutter = g_new0(Cutter, 1);
  ostren_generator_init(&cutter->head, ostren_sorted_generator_cutter_next,
                        ostren_sorted_generator_cutter_free);
  cutter->left = left;
  cutter->right = right;
  cutter->compare = compare;
  return &cutter->head;
}

int ostren_sorted_generator_cutter_next(OstrenGenerator* gener, void** item) {
  return ostren::fenra::streams::cutter_skip(gener, 0, item);
}

int ostren::fenra::streams::cutter_skip(OstrenGenerator* gener, guint64 least_left, void** item) {
  Cutter* const outermost = from_head(gener);
  // A failed input may recover, but what has ended stays ended.
  if (outermost->ended) {
    return 0;
  }

  bool of_ids = outermost->of_ids;
  Cutter* const innermost = innermost_live(outermost, &of_ids);
  Cutter* cutter = innermost;
  void* element = nullptr;
  bool has_element = pull_from(innermost->left, of_ids ? least_left : 0, &element) == 1;
  for (;;) {
    const Meeting meeting = meet(cutter, has_element, element);
    if (meeting == Meeting::LEFT_TOO_SMALL) {
      // Everything inside starts a pull of its own to give a larger element, which goes
      // through to the right one unless it is less.
      const guint64 least = least_of(of_ids, cutter->right_item);
      cutter = innermost;
      has_element = pull_from(innermost->left, least, &element) == 1;
      continue;
    }
    // An end passes outward through every cutter of the chain.
    has_element = meeting == Meeting::MATCH;
    if (cutter == outermost) {
      break;
    }
    cutter = cutter->outer;
  }
  if (!has_element) {
    return 0;
  }
  *item = element;
  return 1;
}

int ostren_sorted_generator_cutter_free(OstrenGenerator* gener) {
  Cutter* const outermost = from_head(gener);
  Cutter* cutter = outermost;
  while (cutter->left != nullptr && cutter->left->freef == ostren_sorted_generator_cutter_free) {
    Cutter* inner = from_head(cutter->left);
    inner->outer = cutter;
    cutter = inner;
  }
  ostren_generator_free(cutter->left);
  for (;;) {
    ostren_generator_free(cutter->right);
    Cutter* const outer = cutter == outermost ? nullptr : cutter->outer;
    g_free(cutter);
    if (outer == nullptr) {
      return 0;
    }
    cutter = outer;
  }
}
