#include "streams/id_list.h"

#include "store/reading/cursor.h"

using ostren::fenra::store::ReadAhead;

namespace ostren::fenra::streams {
namespace {

// A pull through the cursor. A host may have put another generator in its place before the
// first one.
int read(ArticledbGuint64Generator* list) {
  void* buffer;
  const int status = ostren_generator_next(list->inner, &buffer);
  if (list->ahead == nullptr && list->inner->nextf == articledb_generator_from_cursor_next) {
    auto* inner = reinterpret_cast<ArticledbCursorGenerator*>(list->inner);
    list->ahead = store::cursor_read_ahead(inner->cursor);
  }
  return status;
}

}  // namespace

ReadAhead* id_list_ahead(ArticledbGuint64Generator* list) {
  return static_cast<ReadAhead*>(list->ahead);
}

int id_list_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* list = reinterpret_cast<ArticledbGuint64Generator*>(gener);
  ReadAhead* const ahead = id_list_ahead(list);
  if (ahead != nullptr) {
    ahead->drop_below(least);
    ahead->least = least;
  }
  if (ahead != nullptr && !ahead->empty()) {
    list->id = *ahead->begin++;
  } else {
    const int status = read(list);
    if (status != 1) {
      return status;
    }
  }
  *item = &list->id;
  return 1;
}

}  // namespace ostren::fenra::streams

OstrenGenerator* articledb_guint64_generator_new(ArticledbCursor* cursor) {
  auto* list = g_new0(ArticledbGuint64Generator, 1);
  ostren_generator_init(&list->head, articledb_guint64_generator_next,
                        articledb_guint64_generator_free);
  list->inner = articledb_generator_from_cursor_new(cursor, &list->id, sizeof(list->id));
  return &list->head;
}

int articledb_guint64_generator_next(OstrenGenerator* gener, void** item) {
  return ostren::fenra::streams::id_list_skip(gener, 0, item);
}

int articledb_guint64_generator_free(OstrenGenerator* gener) {
  auto* list = reinterpret_cast<ArticledbGuint64Generator*>(gener);
  const int status = ostren_generator_free(list->inner);
  g_free(list);
  return status;
}
