// Generators over store cursors, the id universe, and the set operators in the
// order of article ids.
#include "streams/articledb_generator.h"

void free_a_generator(gpointer generator, gpointer /*user_data*/) {
  ostren_generator_free(static_cast<OstrenGenerator*>(generator));
}

gint guint64_cmp(gconstpointer a, gconstpointer b) {
  const guint64 left = *static_cast<const guint64*>(a);
  const guint64 right = *static_cast<const guint64*>(b);
  if (left < right) {
    return -1;
  }
  return left > right ? 1 : 0;
}

OstrenGenerator* articledb_guint64_cutter_new(OstrenGenerator* left, OstrenGenerator* right) {
  OstrenGenerator* cutter = ostren_sorted_generator_cutter_new(left, right, guint64_cmp);
  reinterpret_cast<OstrenSortedGeneratorCutter*>(cutter)->of_ids = 1;
  return cutter;
}

OstrenGenerator* articledb_guint64_unioner_new(OstrenGenerator* left, OstrenGenerator* right) {
  return ostren_sorted_generator_unioner_new(left, right, guint64_cmp);
}

OstrenGenerator* articledb_guint64_substractor_new(OstrenGenerator* left, OstrenGenerator* right) {
  OstrenGenerator* difference = ostren_sorted_generator_substractor_new(left, right, guint64_cmp);
  reinterpret_cast<OstrenSortedGeneratorSubstractor*>(difference)->of_ids = 1;
  return difference;
}

OstrenGenerator* articledb_generator_from_cursor_new(ArticledbCursor* cursor, void* data,
                                                     guint32 capacity) {
  auto* record = g_new0(ArticledbCursorGenerator, 1);
  ostren_generator_init(&record->head, articledb_generator_from_cursor_next,
                        articledb_generator_from_cursor_free);
  record->cursor = cursor;
  record->buffer.data = data;
  record->buffer.capacity = capacity;
  return &record->head;
}

int articledb_generator_from_cursor_next(OstrenGenerator* gener, void** item) {
  auto* record = reinterpret_cast<ArticledbCursorGenerator*>(gener);
  if (record->ended) {
    return 0;
  }
  switch (articledb_cursor_next_data_dup(record->cursor, &record->buffer)) {
    case CURSOR_OK:
      *item = &record->buffer;
      return 1;
    case CURSOR_END:
      record->ended = 1;
      return 0;
    default:
      return 2;
  }
}

int articledb_generator_from_cursor_free(OstrenGenerator* gener) {
  auto* record = reinterpret_cast<ArticledbCursorGenerator*>(gener);
  const int status = articledb_cursor_close(record->cursor);
  g_free(record);
  return status;
}

OstrenGenerator* articledb_db_get_id_universe_new(ArticledbDb* db) {
  guint64 max_id = 0;
  if (articledb_db_max_id(db, &max_id) != 0) {
    return nullptr;
  }
  return ostren_guint64_range_generator_new(1, max_id + 1);
}
