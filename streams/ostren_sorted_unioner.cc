// Union of two sorted streams.
#include "streams/ostren_generator.h"
#include "streams/pull.h"

using ostren::fenra::streams::Pull;
using ostren::fenra::streams::pull_unioner;

namespace {

using Unioner = OstrenSortedGeneratorUnioner;

// One pull while a single input still produces: its buffered element, or else
// whatever the input gives, a failure included.
int next_of_last(const Pull& pull, OstrenGenerator* input, void* buffered, gint32* pending,
                 gint32* status, void** item) {
  if (*pending) {
    *pending = 0;
    *item = buffered;
    return 1;
  }
  *status = pull(input, item);
  return *status;
}

void refill(const Pull& pull, OstrenGenerator* input, void** buffered, gint32* pending,
            gint32* status) {
  if (*pending) {
    return;
  }
  *status = pull(input, buffered);
  *pending = *status == 1;
}

int next_of_both(Unioner* unioner, const Pull& pull, void** item) {
  refill(pull, unioner->left, &unioner->left_item, &unioner->left_pending, &unioner->left_status);
  refill(pull, unioner->right, &unioner->right_item, &unioner->right_pending,
         &unioner->right_status);
  const bool has_left = unioner->left_status == 1;
  const bool has_right = unioner->right_status == 1;
  if (!has_left && !has_right) {
    return 0;
  }

  int order = has_left ? -1 : 1;
  if (has_left && has_right) {
    order = unioner->compare(unioner->left_item, unioner->right_item);
  }
  if (order <= 0) {
    unioner->left_pending = 0;
  }
  if (order >= 0) {
    unioner->right_pending = 0;
  }
  *item = order <= 0 ? unioner->left_item : unioner->right_item;
  return 1;
}

}  // namespace

OstrenGenerator* ostren_sorted_generator_unioner_new(OstrenGenerator* left, OstrenGenerator* right,
                                                     GCompareFunc compare) {
  auto* unioner = g_new0(Unioner, 1);
  ostren_generator_init(&unioner->head, ostren_sorted_generator_unioner_next,
                        ostren_sorted_generator_unioner_free);
  unioner->left = left;
  unioner->right = right;
  unioner->compare = compare;
  unioner->left_status = ostren_generator_next(left, &unioner->left_item);
  unioner->right_status = ostren_generator_next(right, &unioner->right_item);
  unioner->left_pending = 1;
  unioner->right_pending = 1;
  return &unioner->head;
}

int ostren_sorted_generator_unioner_next(OstrenGenerator* gener, void** item) {
  return pull_unioner(reinterpret_cast<Unioner*>(gener), {nullptr, nullptr}, item);
}

int ostren::fenra::streams::pull_unioner(Unioner* unioner, const Pull& pull, void** item) {
  const bool left_live = unioner->left_status == 1;
  const bool right_live = unioner->right_status == 1;
  if (left_live && right_live) {
    return next_of_both(unioner, pull, item);
  }
  if (left_live) {
    return next_of_last(pull, unioner->left, unioner->left_item, &unioner->left_pending,
                        &unioner->left_status, item);
  }
  if (right_live) {
    return next_of_last(pull, unioner->right, unioner->right_item, &unioner->right_pending,
                        &unioner->right_status, item);
  }
  return 0;
}

int ostren_sorted_generator_unioner_free(OstrenGenerator* gener) {
  auto* unioner = reinterpret_cast<Unioner*>(gener);
  ostren_generator_free(unioner->left);
  ostren_generator_free(unioner->right);
  g_free(unioner);
  return 0;
}
