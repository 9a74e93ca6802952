#include "streams/pull.h"
#include "streams/skip.h"

namespace ostren::fenra::streams {

int skip_ids(OstrenGenerator* input, const void* least, void** item) {
  // Unions and wrappers of unions hand the leave on, so that this may recur: as deep as
  // the streams nest.
  if (input == nullptr) {
    return ostren_generator_next(input, item);
  }
  const guint64 id = *static_cast<const guint64*>(least);
  if (input->nextf == articledb_guint64_generator_next) {
    return skip_list(reinterpret_cast<ArticledbGuint64Generator*>(input), id, item);
  }
  if (is_id_union(input)) {
    return skip_id_union(input, id, item);
  }
  if (input->nextf == articledb_generator_from_trigram_next) {
    return skip_ids(reinterpret_cast<ArticledbTrigramGenerator*>(input)->inner, least, item);
  }
  if (is_id_set(input)) {
    return skip_id_set(input, id, item);
  }
  if (is_range(input)) {
    return pull_range(reinterpret_cast<OstrenGuint64RangeGenerator*>(input), id, item);
  }
  if (input->nextf == ostren_sorted_generator_unioner_next) {
    auto* unioner = reinterpret_cast<OstrenSortedGeneratorUnioner*>(input);
    if (unioner->compare == guint64_cmp) {
      return pull_unioner(unioner, {skip_ids, least}, item);
    }
  }
  if (is_union_of_list(input, guint64_cmp)) {
    return pull_union_of_list(input, {skip_ids, least}, item);
  }
  return ostren_generator_next(input, item);
}

}  // namespace ostren::fenra::streams
