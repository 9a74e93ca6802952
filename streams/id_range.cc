#include "streams/id_range.h"

namespace ostren::fenra::streams {
namespace {

int id_range_free(OstrenGenerator* gener) {
  g_free(gener);
  return 0;
}

}  // namespace

int id_range_next(OstrenGenerator* gener, void** item) {
  auto* range = reinterpret_cast<OstrenGuint64RangeGenerator*>(gener);
  if (range->first) {
    range->first = 0;
  } else if (range->current <= G_MAXUINT64 - range->step) {
    range->current += range->step;
  }  // else: at the top, where wrapping around would revive an exhausted range
  if (range->current >= range->end) {
    return 0;
  }
  *item = &range->current;
  return 1;
}

int id_range_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* range = reinterpret_cast<OstrenGuint64RangeGenerator*>(gener);
  if (least > range->current) {
    range->current = least;
    range->first = 1;
  }
  return id_range_next(gener, item);
}

}  // namespace ostren::fenra::streams

OstrenGenerator* ostren_guint64_range_generator_new(guint64 start, guint64 end) {
  using namespace ostren::fenra::streams;
  auto* range = g_new0(OstrenGuint64RangeGenerator, 1);
  ostren_generator_init(&range->head, id_range_next, id_range_free);
  range->current = start;
  range->end = end;
  range->step = 1;
  range->first = 1;
  return &range->head;
}
