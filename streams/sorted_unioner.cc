#include "streams/sorted_unioner.h"

#include "streams/articledb_generator.h"
#include "streams/skip.h"

namespace ostren::fenra::streams {
namespace {

using Unioner = OstrenSortedGeneratorUnioner;

// One pull while a single input still produces: its buffered element, or else
// whatever the input gives, a failure included.
int next_of_last(OstrenGenerator* input, guint64 least, void* buffered, gint32* pending,
                 gint32* status, void** item) {
  if (*pending) {
    *pending = 0;
    *item = buffered;
    return 1;
  }
  *status = pull_from(input, least, item);
  return *status;
}

void refill(OstrenGenerator* input, guint64 least, void** buffered, gint32* pending,
            gint32* status) {
  if (*pending) {
    return;
  }
  *status = pull_from(input, least, buffered);
  *pending = *status == 1;
}

int next_of_both(Unioner* unioner, guint64 least, void** item) {
  refill(unioner->left, least, &unioner->left_item, &unioner->left_pending, &unioner->left_status);
  refill(unioner->right, least, &unioner->right_item, &unioner->right_pending,
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

int pull_unioner(Unioner* unioner, guint64 least, void** item) {
  const bool left_live = unioner->left_status == 1;
  const bool right_live = unioner->right_status == 1;
  if (left_live && right_live) {
    return next_of_both(unioner, least, item);
  }
  if (left_live) {
    return next_of_last(unioner->left, least, unioner->left_item, &unioner->left_pending,
                        &unioner->left_status, item);
  }
  if (right_live) {
    return next_of_last(unioner->right, least, unioner->right_item, &unioner->right_pending,
                        &unioner->right_status, item);
  }
  return 0;
}

}  // namespace

int unioner_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* unioner = reinterpret_cast<Unioner*>(gener);
  return pull_unioner(unioner, unioner->compare == guint64_cmp ? least : 0, item);
}

}  // namespace ostren::fenra::streams

using namespace ostren::fenra::streams;

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
  return pull_unioner(reinterpret_cast<Unioner*>(gener), 0, item);
}

int ostren_sorted_generator_unioner_free(OstrenGenerator* gener) {
  auto* unioner = reinterpret_cast<Unioner*>(gener);
  ostren_generator_free(unioner->left);
  ostren_generator_free(unioner->right);
  g_free(unioner);
  return 0;
}
