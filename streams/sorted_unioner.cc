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

// An input, and what its last pull gave.
struct Input {
  OstrenGenerator* stream;
  void* item;
  gint32 status;
};

Input pulled(OstrenGenerator* stream) {
  Input input = {stream, nullptr, 0};
  input.status = ostren_generator_next(stream, &input.item);
  return input;
}

OstrenGenerator* unite(const Input& left, const Input& right, GCompareFunc compare) {
  auto* unioner = g_new0(Unioner, 1);
  ostren_generator_init(&unioner->head, ostren_sorted_generator_unioner_next,
                        ostren_sorted_generator_unioner_free);
  unioner->left = left.stream;
  unioner->right = right.stream;
  unioner->compare = compare;
  unioner->left_item = left.item;
  unioner->right_item = right.item;
  unioner->left_status = left.status;
  unioner->right_status = right.status;
  unioner->left_pending = 1;
  unioner->right_pending = 1;
  return &unioner->head;
}

// The chain of two-input unions that defines the union of a list would nest as deep as the
// list is long, and a list can be as long as an index has keys. A binary tree of two-input
// unions over the same sequence of inputs delivers the same elements whatever its shape: the
// input furthest left gives the element of a tie, everything tied is consumed with it, and
// inputs are pulled from left to right. So this is the balanced tree.
OstrenGenerator* unite_all(const Input* inputs, gsize count, GCompareFunc compare) {
  const gsize middle = count / 2;
  // The pull of a new union only hands out what its inputs have given already.
  const auto part = [compare](const Input* first, gsize size) {
    return size == 1 ? *first : pulled(unite_all(first, size, compare));
  };
  const Input left = part(inputs, middle);
  return unite(left, part(inputs + middle, count - middle), compare);
}

}  // namespace

int unioner_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* unioner = reinterpret_cast<Unioner*>(gener);
  return pull_unioner(unioner, unioner->compare == guint64_cmp ? least : 0, item);
}

OstrenGenerator* union_of(OstrenGenerator* const* streams, gsize count, GCompareFunc compare) {
  auto* inputs = g_new(Input, count);
  // The first pulls come in the order in which a chain built from its tail makes them: the
  // innermost union's two inputs, then the others from right to left.
  inputs[count - 2] = pulled(streams[count - 2]);
  inputs[count - 1] = pulled(streams[count - 1]);
  for (gsize i = count - 2; i-- > 0;) {
    inputs[i] = pulled(streams[i]);
  }
  OstrenGenerator* united = unite_all(inputs, count, compare);
  g_free(inputs);
  return united;
}

}  // namespace ostren::fenra::streams

using namespace ostren::fenra::streams;

OstrenGenerator* ostren_sorted_generator_unioner_new(OstrenGenerator* left, OstrenGenerator* right,
                                                     GCompareFunc compare) {
  OstrenGenerator* const streams[] = {left, right};
  return union_of(streams, 2, compare);
}

OstrenGenerator* ostren_generator_union_from_glist(GList* list, GCompareFunc compare) {
  const gsize size = g_list_length(list);
  if (size == 0) {
    return ostren_empty_generator_new();
  }
  if (size == 1) {
    return static_cast<OstrenGenerator*>(list->data);
  }
  auto** streams = g_new(OstrenGenerator*, size);
  gsize filled = 0;
  for (const GList* cell = list; cell != nullptr; cell = cell->next) {
    streams[filled++] = static_cast<OstrenGenerator*>(cell->data);
  }
  OstrenGenerator* united = union_of(streams, size, compare);
  g_free(streams);
  return united;
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
