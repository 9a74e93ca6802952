// The generator protocol and the kinds that read nothing but memory.
#include "streams/ostren_generator.h"

// Broken contracts are fatal in every build.
#undef NDEBUG
#include <cassert>

namespace {

int empty_next(OstrenGenerator* /*gener*/, void** /*item*/) { return 0; }

int empty_free(OstrenGenerator* gener) {
  g_free(gener);
  return 0;
}

}  // namespace

// The texts of these assertions reach the user in the abort message.
// clang-format off
// NOLINTBEGIN(modernize-use-nullptr)
int ostren_generator_init(OstrenGenerator* gener, OstrenGeneratorNextFunc nextf,
                          OstrenGeneratorFreeFunc freef) {
  assert(gener);
  gener->nextf = nextf;
  gener->freef = freef;
  return 0;
}

int ostren_generator_next(OstrenGenerator* gener, void** item) {
  assert(gener != ((void *)0));
  assert(gener->nextf != ((void *)0));
  return gener->nextf(gener, item);
}

int ostren_generator_free(OstrenGenerator* gener) {
  assert(gener != ((void *)0));
  assert(gener->freef != ((void *)0));
  return gener->freef(gener);
}
// NOLINTEND(modernize-use-nullptr)
// clang-format on

OstrenGenerator* ostren_generator_from_array_new(void** array, guint32 length) {
  auto* record = g_new0(OstrenGeneratorFromArray, 1);
  ostren_generator_init(&record->head, ostren_generator_from_array_next,
                        ostren_generator_from_array_free);
  record->array = array;
  record->length = length;
  return &record->head;
}

int ostren_generator_from_array_next(OstrenGenerator* gener, void** item) {
  auto* record = reinterpret_cast<OstrenGeneratorFromArray*>(gener);
  if (record->position >= record->length) {
    return 0;
  }
  *item = record->array[record->position++];
  return 1;
}

int ostren_generator_from_array_free(OstrenGenerator* gener) {
  g_free(gener);
  return 0;
}

OstrenGenerator* ostren_empty_generator_new(void) {
  auto* record = g_new0(OstrenEmptyGenerator, 1);
  ostren_generator_init(&record->head, empty_next, empty_free);
  return &record->head;
}
