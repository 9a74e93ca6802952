#include "streams/skip.h"

#include "streams/articledb_generator.h"
#include "streams/id_list.h"
#include "streams/id_range.h"
#include "streams/id_set.h"
#include "streams/id_union.h"
#include "streams/ostren_sorted_cutter.h"
#include "streams/ostren_sorted_substractor.h"
#include "streams/sorted_unioner.h"

namespace ostren::fenra::streams {
namespace {

int trigram_generator_skip(OstrenGenerator* gener, guint64 least, void** item) {
  return pull_from(reinterpret_cast<ArticledbTrigramGenerator*>(gener)->inner, least, item);
}

// A kind of generator is known by its next function.
struct SkippingKind {
  OstrenGeneratorNextFunc next;
  int (*skip)(OstrenGenerator* gener, guint64 least, void** item);
};

// The kinds that queries are made of come first.
constexpr SkippingKind SKIPPING_KINDS[] = {
    {id_union_next, id_union_skip},
    {articledb_guint64_generator_next, id_list_skip},
    {articledb_generator_from_trigram_next, trigram_generator_skip},
    {id_set_next, id_set_skip},
    {id_range_next, id_range_skip},
    {ostren_sorted_generator_unioner_next, unioner_skip},
    {ostren_sorted_generator_cutter_next, cutter_skip},
    {ostren_sorted_generator_substractor_next, substractor_skip},
};

}  // namespace

// Unions and wrappers of unions hand the leave on, so that this may recur: as deep as the
// streams nest.
int skip_from(OstrenGenerator* input, guint64 least, void** item) {
  for (const SkippingKind& kind : SKIPPING_KINDS) {
    if (input != nullptr && input->nextf == kind.next) {
      return kind.skip(input, least, item);
    }
  }
  return ostren_generator_next(input, item);
}

}  // namespace ostren::fenra::streams
