// Id streams over the store: generators backed by cursors, the index lookups by
// word form, lemma, source, date and trigram prefix, and the set operators with
// the order of article ids fixed. Protocol and ownership: ostren_generator.h.
#ifndef FENRA_ARTICLEDB_GENERATOR_H
#define FENRA_ARTICLEDB_GENERATOR_H

#include <fenra/articledb.h>
#include <fenra/export.h>
#include <fenra/ostren_generator.h>
#include <glib.h>

FENRA_BEGIN_DECLS

// ---- lists and comparison ----

// Frees one generator with ostren_generator_free. `user_data` is ignored; the
// shape is GFunc's, so that g_list_foreach(list, free_a_generator, NULL) frees
// every generator of a list.
FENRA_API void free_a_generator(gpointer generator, gpointer user_data);

// Compares two pointers to guint64, unsigned: -1, 0 or 1. The order of every id
// stream; the shape is GCompareFunc's.
FENRA_API gint guint64_cmp(gconstpointer a, gconstpointer b);

// The operators of ostren_generator.h with guint64_cmp as comparison. The cutter and the
// substractor give the same elements, but let streams over the store, ranges and unions of
// them go past the ids that they would drop without reading them: an intersection of a rare
// with a frequent word costs in proportion to the rare one, and so does a rare word without a
// frequent one. A failure that lies in what is passed over does not show.
FENRA_API OstrenGenerator* articledb_guint64_cutter_new(OstrenGenerator* left,
                                                        OstrenGenerator* right);
FENRA_API OstrenGenerator* articledb_guint64_unioner_new(OstrenGenerator* left,
                                                         OstrenGenerator* right);
FENRA_API OstrenGenerator* articledb_guint64_substractor_new(OstrenGenerator* left,
                                                             OstrenGenerator* right);

// ---- generators over a cursor ----

typedef struct ArticledbCursorGenerator {
  OstrenGenerator head;
  ArticledbCursor* cursor;  // owned
  ArticledbBuffer buffer;   // data and capacity: the storage given at creation
  gint32 ended;             // private: 1 once the end has been reached
} ArticledbCursorGenerator;

typedef struct ArticledbGuint64Generator {
  OstrenGenerator head;
  OstrenGenerator* inner;  // owned: a cursor generator that reads into `id`
  guint64 id;              // the id last read, machine byte order
  void* ahead;             // private: what the cursor has read ahead
} ArticledbGuint64Generator;

// The data items that articledb_cursor_next_data_dup delivers from `cursor`,
// which it takes over and closes when it is freed. Each is read into `data`
// (`capacity` bytes, borrowed); the element is a pointer to the generator's
// ArticledbBuffer. Pulls give 1, 0 at the end (an absent key included), or 2
// after a store error or an item longer than the capacity. Freeing returns the
// status of closing the cursor.
FENRA_API OstrenGenerator* articledb_generator_from_cursor_new(ArticledbCursor* cursor, void* data,
                                                               guint32 capacity);
FENRA_API int articledb_generator_from_cursor_next(OstrenGenerator* gener, void** item);
FENRA_API int articledb_generator_from_cursor_free(OstrenGenerator* gener);

// The 8-byte ids under the key of a lookup cursor (articledb_db_lookup_form,
// _source, _date), which it takes over: ascending guint64 elements. Pull and
// free results as those of the cursor generator.
FENRA_API OstrenGenerator* articledb_guint64_generator_new(ArticledbCursor* cursor);
FENRA_API int articledb_guint64_generator_next(OstrenGenerator* gener, void** item);
FENRA_API int articledb_guint64_generator_free(OstrenGenerator* gener);

// Every id from 1 to the largest one handed out, also those of replaced
// articles. Null when the id counter cannot be read.
FENRA_API OstrenGenerator* articledb_db_get_id_universe_new(ArticledbDb* db);

// ---- index lookups ----
//
// Each gives an id stream that the caller owns. A key that is not in its index
// gives an empty stream; null always means a failure. Store errors while a
// stream is read reach the consumer as status 2. Lengths are bytes, and keys
// need no terminator.

FENRA_API OstrenGenerator* articledb_db_form_lookup_generator_new(ArticledbDb* db, const char* form,
                                                                  guint32 length);
FENRA_API OstrenGenerator* articledb_db_source_lookup_generator_new(ArticledbDb* db,
                                                                    const char* source,
                                                                    guint32 length);
FENRA_API OstrenGenerator* articledb_db_date_lookup_generator_new(ArticledbDb* db, guint32 date);

// The date as exactly 8 ASCII digits, read as one decimal number ("20090315"
// is 20090315); null for any other text.
FENRA_API OstrenGenerator* articledb_db_date_lookup_generator_new_from_string(ArticledbDb* db,
                                                                              const char* date,
                                                                              guint32 length);

// The articles with a date from `first` to `last`, both included, as of the call, which takes a
// step for every date that the store has and for every article of these.
FENRA_API OstrenGenerator* articledb_db_date_range_lookup_generator_new(ArticledbDb* db,
                                                                        guint32 first,
                                                                        guint32 last);

// The articles that hold a form which begins with the given bytes, as of the call, which takes a
// step for every form that the store has and for every article of these. Null, too, for a longer
// prefix than ARTICLEDB_MOST_PREFIX_BYTES, which the store keeps of any form.
FENRA_API OstrenGenerator* articledb_db_form_prefix_lookup_generator_new(ArticledbDb* db,
                                                                         const char* prefix,
                                                                         guint32 length);

// The articles that hold any form of the lemma: the union over the forms that
// the store keeps under it. Collecting the forms stops quietly at a store error
// or at a form longer than 256 bytes.
FENRA_API OstrenGenerator* articledb_db_lemma_lookup_generator_new(ArticledbDb* db,
                                                                   const char* lemma,
                                                                   guint32 length);

// The articles that hold a trigram whose key begins with the given bytes: a
// whole trigram (three words, each with its zero byte), or any prefix of one.
// Length 0 gives the empty stream, more than 192 null.
//
// Up to 256 matching keys keep a cursor each, and an article that is indexed while
// the stream is read is shown as by the other lookups: when one of those keys has it.
// When there are more, the call reads all of their ids and keeps a bit for every id
// that the store has handed out; then the stream shows the articles as of the call.
FENRA_API OstrenGenerator* articledb_db_trigram_lookup_generator_new(ArticledbDb* db,
                                                                     const char* trigram,
                                                                     guint32 length);

typedef struct ArticledbTrigramGenerator {
  OstrenGenerator head;
  OstrenGenerator* inner;  // owned: the union over the matching keys
} ArticledbTrigramGenerator;

// Next and free of the stream that articledb_db_trigram_lookup_generator_new
// returns: the inner stream's results, passed through.
FENRA_API int articledb_generator_from_trigram_next(OstrenGenerator* gener, void** item);
FENRA_API int articledb_generator_from_trigram_free(OstrenGenerator* gener);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_GENERATOR_H
