// Generators over store cursors, the id universe, and the set operators in the
// order of article ids.
#include "streams/articledb_generator.h"

#include "store/reading/cursor.h"
#include "streams/skip.h"

using namespace ostren::fenra::store;
using ostren::fenra::streams::skip_ids;

namespace {

// A pull of the cursor generator, from the result of its read.
int take_read(ArticledbCursorGenerator* record, int result, void** item) {
  switch (result) {
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

// The cursor generator in an id generator; null when a host has put another one there.
ArticledbCursorGenerator* cursor_generator(const ArticledbGuint64Generator* record) {
  return record->inner->nextf == articledb_generator_from_cursor_next
             ? reinterpret_cast<ArticledbCursorGenerator*>(record->inner)
             : nullptr;
}

// Goes to the first id not less than `least`, or only to the next one, in what the
// cursor has not read ahead.
int read_on(ArticledbGuint64Generator* record, guint64 least, void** item) {
  ArticledbCursorGenerator* inner = cursor_generator(record);
  void* buffer;
  int status = 0;
  if (inner == nullptr) {
    status = ostren_generator_next(record->inner, &buffer);
  } else if (!inner->ended) {
    status = take_read(inner, cursor_next_id_from(inner->cursor, least, &inner->buffer), &buffer);
  }
  if (status != 1) {
    return status;
  }
  if (inner != nullptr) {
    const Ids ahead = cursor_take_ids(inner->cursor);
    record->ahead_begin = ahead.begin;
    record->ahead_end = ahead.end;
  }
  *item = &record->id;
  return 1;
}

}  // namespace

int ostren::fenra::streams::skip_list(ArticledbGuint64Generator* list, guint64 least, void** item) {
  Ids ahead = {list->ahead_begin, list->ahead_end};
  ahead.drop_below(least);
  list->ahead_begin = ahead.begin;
  if (ahead.empty()) {
    return read_on(list, least, item);
  }
  list->id = *list->ahead_begin++;
  *item = &list->id;
  return 1;
}

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
  reinterpret_cast<OstrenSortedGeneratorCutter*>(cutter)->skip = skip_ids;
  return cutter;
}

OstrenGenerator* articledb_guint64_unioner_new(OstrenGenerator* left, OstrenGenerator* right) {
  return ostren_sorted_generator_unioner_new(left, right, guint64_cmp);
}

OstrenGenerator* articledb_guint64_substractor_new(OstrenGenerator* left, OstrenGenerator* right) {
  return ostren_sorted_generator_substractor_new(left, right, guint64_cmp);
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
  return take_read(record, articledb_cursor_next_data_dup(record->cursor, &record->buffer), item);
}

int articledb_generator_from_cursor_free(OstrenGenerator* gener) {
  auto* record = reinterpret_cast<ArticledbCursorGenerator*>(gener);
  const int status = articledb_cursor_close(record->cursor);
  g_free(record);
  return status;
}

OstrenGenerator* articledb_guint64_generator_new(ArticledbCursor* cursor) {
  auto* record = g_new0(ArticledbGuint64Generator, 1);
  ostren_generator_init(&record->head, articledb_guint64_generator_next,
                        articledb_guint64_generator_free);
  record->inner = articledb_generator_from_cursor_new(cursor, &record->id, sizeof(record->id));
  return &record->head;
}

int articledb_guint64_generator_next(OstrenGenerator* gener, void** item) {
  auto* record = reinterpret_cast<ArticledbGuint64Generator*>(gener);
  if (record->ahead_begin == record->ahead_end) {
    return read_on(record, 0, item);
  }
  record->id = *record->ahead_begin++;
  *item = &record->id;
  return 1;
}

int articledb_guint64_generator_free(OstrenGenerator* gener) {
  auto* record = reinterpret_cast<ArticledbGuint64Generator*>(gener);
  const int status = ostren_generator_free(record->inner);
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
