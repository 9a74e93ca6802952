// The index lookups: from a form, lemma, source, date or trigram prefix to the
// stream of the articles that have it.
#include <algorithm>
#include <cstring>
#include <memory>

#include "store/reading/cursor.h"
#include "store/reading/prefix_scan.h"
#include "streams/articledb_generator.h"
#include "streams/id_set.h"
#include "streams/id_union.h"
#include "streams/sorted_unioner.h"

using ostren::fenra::streams::id_set_of_trigrams_new;
using ostren::fenra::streams::id_union_new;
using ostren::fenra::streams::union_of;

namespace {

constexpr guint32 MAX_TRIGRAM_LENGTH = TRIGRAM_BUILDER_TRIGRAM_SIZE;
constexpr guint32 MAX_FORM_LENGTH = 256;
constexpr guint32 DATE_LENGTH = 8;
// Up to so many lists a union costs little for each.
constexpr guint MAX_LISTS = 256;

struct CursorCloser {
  void operator()(ArticledbCursor* cursor) const { articledb_cursor_close(cursor); }
};
using CursorPtr = std::unique_ptr<ArticledbCursor, CursorCloser>;

// Lists on their way into a union; those that do not get there are freed.
class Lists {
 public:
  Lists() : lists_(g_ptr_array_new_with_free_func(free_list)) {}
  Lists(const Lists&) = delete;
  Lists& operator=(const Lists&) = delete;
  ~Lists() { g_ptr_array_unref(lists_); }

  // Takes over what articledb_guint64_generator_new has made.
  void add(OstrenGenerator* list) { g_ptr_array_add(lists_, list); }

  guint size() const { return lists_->len; }

  // The union of the lists, which takes them over.
  OstrenGenerator* unite() {
    const guint size = lists_->len;
    auto** const lists = reinterpret_cast<OstrenGenerator**>(lists_->pdata);
    OstrenGenerator* united = size == 0           ? ostren_empty_generator_new()
                              : size == 1         ? lists[0]
                              : size <= MAX_LISTS ? id_union_new(lists, size)
                                                  : union_of(lists, size, guint64_cmp);
    g_ptr_array_set_free_func(lists_, nullptr);
    return united;
  }

 private:
  static void free_list(gpointer list) { free_a_generator(list, nullptr); }

  GPtrArray* const lists_;
};

bool begins_with(const ArticledbBuffer& key, const char* prefix, guint32 length) {
  return key.length >= length && std::memcmp(key.data, prefix, length) == 0;
}

bool is_whole_trigram(const char* trigram, guint32 length) {
  return trigram[length - 1] == '\0' &&
         std::count(trigram, trigram + length, '\0') == TRIGRAM_BUILDER_WORDS;
}

OstrenGenerator* trigram_list_new(ArticledbDb* db, const char* trigram, guint32 length) {
  auto* const cursor = ostren::fenra::store::cursor_of_trigram_new(db, trigram, length);
  return cursor == nullptr ? ostren_empty_generator_new()
                           : articledb_guint64_generator_new(&cursor->head);
}

OstrenGenerator* new_trigram_generator(OstrenGenerator* inner) {
  auto* record = g_new0(ArticledbTrigramGenerator, 1);
  ostren_generator_init(&record->head, articledb_generator_from_trigram_next,
                        articledb_generator_from_trigram_free);
  record->inner = inner;
  return &record->head;
}

}  // namespace

OstrenGenerator* articledb_db_form_lookup_generator_new(ArticledbDb* db, const char* form,
                                                        guint32 length) {
  ArticledbCursor* cursor;
  if (articledb_db_lookup_form(db, &cursor, form, length) != 0) {
    return nullptr;
  }
  return articledb_guint64_generator_new(cursor);
}

OstrenGenerator* articledb_db_source_lookup_generator_new(ArticledbDb* db, const char* source,
                                                          guint32 length) {
  ArticledbCursor* cursor;
  if (articledb_db_lookup_source(db, &cursor, source, length) != 0) {
    return nullptr;
  }
  return articledb_guint64_generator_new(cursor);
}

OstrenGenerator* articledb_db_date_lookup_generator_new(ArticledbDb* db, guint32 date) {
  ArticledbCursor* cursor;
  if (articledb_db_lookup_date(db, &cursor, date) != 0) {
    return nullptr;
  }
  return articledb_guint64_generator_new(cursor);
}

OstrenGenerator* articledb_db_date_lookup_generator_new_from_string(ArticledbDb* db,
                                                                    const char* date,
                                                                    guint32 length) {
  if (length != DATE_LENGTH || date == nullptr) {
    return nullptr;
  }
  char digits[DATE_LENGTH + 1] = {};
  for (guint32 i = 0; i < DATE_LENGTH; ++i) {
    if (!g_ascii_isdigit(date[i])) {
      return nullptr;
    }
    digits[i] = date[i];
  }
  const guint64 number = g_ascii_strtoull(digits, nullptr, 10);
  return articledb_db_date_lookup_generator_new(db, static_cast<guint32>(number));
}

OstrenGenerator* articledb_db_lemma_lookup_generator_new(ArticledbDb* db, const char* lemma,
                                                         guint32 length) {
  ArticledbCursor* cursor;
  if (articledb_db_lookup_lemma(db, &cursor, lemma, length) != 0) {
    return nullptr;
  }
  const CursorPtr forms(cursor);

  Lists lists;
  char form[MAX_FORM_LENGTH];
  ArticledbBuffer buffer = {form, MAX_FORM_LENGTH, 0};
  while (articledb_cursor_next_data_dup(forms.get(), &buffer) == CURSOR_OK) {
    OstrenGenerator* stream = articledb_db_form_lookup_generator_new(db, form, buffer.length);
    if (stream == nullptr) {
      return nullptr;
    }
    lists.add(stream);
  }
  return lists.unite();
}

OstrenGenerator* articledb_db_trigram_lookup_generator_new(ArticledbDb* db, const char* trigram,
                                                           guint32 length) {
  if (length > MAX_TRIGRAM_LENGTH) {
    return nullptr;
  }
  if (length == 0) {
    return ostren_empty_generator_new();
  }
  if (ostren::fenra::store::trigrams_may_wait(db)) {
    return new_trigram_generator(is_whole_trigram(trigram, length)
                                     ? trigram_list_new(db, trigram, length)
                                     : id_set_of_trigrams_new(db, trigram, length));
  }
  ArticledbCursor* cursor;
  if (articledb_db_lookup_trigram(db, &cursor, trigram, length) != 0) {
    return nullptr;
  }
  CursorPtr scan(cursor);

  // The keys that begin with the given bytes follow each other in key order.
  Lists lists;
  char key[MAX_TRIGRAM_LENGTH];
  ArticledbBuffer buffer = {key, MAX_TRIGRAM_LENGTH, 0};
  while (articledb_cursor_next_key(scan.get(), &buffer) == CURSOR_OK &&
         begins_with(buffer, trigram, length)) {
    if (lists.size() == MAX_LISTS) {
      scan.reset();
      return new_trigram_generator(id_set_of_trigrams_new(db, trigram, length));
    }
    ArticledbCursor* ids;
    if (articledb_cursor_dup_with_key_data(scan.get(), &ids, key, buffer.length) != 0) {
      return nullptr;
    }
    lists.add(articledb_guint64_generator_new(ids));
  }
  scan.reset();
  return new_trigram_generator(lists.unite());
}

int articledb_generator_from_trigram_next(OstrenGenerator* gener, void** item) {
  auto* record = reinterpret_cast<ArticledbTrigramGenerator*>(gener);
  return ostren_generator_next(record->inner, item);
}

int articledb_generator_from_trigram_free(OstrenGenerator* gener) {
  auto* record = reinterpret_cast<ArticledbTrigramGenerator*>(gener);
  const int status = ostren_generator_free(record->inner);
  g_free(record);
  return status;
}
