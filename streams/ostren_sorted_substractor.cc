// Difference of two sorted streams, left minus right.
#include "streams/ostren_sorted_substractor.h"

#include "streams/skip.h"

namespace {

using ostren::fenra::streams::pull_from;

using Substractor = OstrenSortedGeneratorSubstractor;

void pull_left(Substractor* substractor, guint64 least) {
  substractor->left_status = pull_from(substractor->left, least, &substractor->left_item);
}

void pull_right(Substractor* substractor, guint64 least) {
  substractor->right_status = pull_from(substractor->right, least, &substractor->right_item);
}

// Advances both inputs until the left element is one that right does not hold,
// or one of them gives no more. Right elements that are less than the left one drop nothing.
void drop_common_elements(Substractor* substractor) {
  while (substractor->left_status == 1 && substractor->right_status == 1) {
    const int order = substractor->compare(substractor->left_item, substractor->right_item);
    if (order < 0) {
      return;
    }
    if (order == 0) {
      pull_left(substractor, 0);
    }
    const bool skips = substractor->of_ids != 0 && substractor->left_status == 1;
    pull_right(substractor, skips ? *static_cast<const guint64*>(substractor->left_item) : 0);
  }
}

}  // namespace

OstrenGenerator* ostren_sorted_generator_substractor_new(OstrenGenerator* left,
                                                         OstrenGenerator* right,
                                                         GCompareFunc compare) {
  auto* substractor = g_new0(Substractor, 1);
  ostren_generator_init(&substractor->head, ostren_sorted_generator_substractor_next,
                        ostren_sorted_generator_substractor_free);
  substractor->left = left;
  substractor->right = right;
  substractor->compare = compare;
  pull_right(substractor, 0);
  return &substractor->head;
}

int ostren_sorted_generator_substractor_next(OstrenGenerator* gener, void** item) {
  return ostren::fenra::streams::substractor_skip(gener, 0, item);
}

int ostren::fenra::streams::substractor_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* substractor = reinterpret_cast<Substractor*>(gener);
  pull_left(substractor, substractor->of_ids != 0 ? least : 0);
  // A failure on entry leaves the loop unentered, so that one check serves.
  drop_common_elements(substractor);
  if (substractor->left_status == 2 || substractor->right_status == 2) {
    return 2;
  }
  if (substractor->left_status != 1) {
    return 0;
  }
  *item = substractor->left_item;
  return 1;
}

int ostren_sorted_generator_substractor_free(OstrenGenerator* gener) {
  auto* substractor = reinterpret_cast<Substractor*>(gener);
  ostren_generator_free(substractor->left);
  ostren_generator_free(substractor->right);
  g_free(substractor);
  return 0;
}
