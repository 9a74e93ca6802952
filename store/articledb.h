// The article store: a Berkeley DB environment in a store directory, with nine
// named databases in the file "fenra.index". docs/store-format.md has the key
// and data layout of each.
//
// Status of the operations: 0 for success, the values below, or a Berkeley DB,
// system or zlib code passed through unchanged.
//
// Lengths are byte counts; strings given with a length need no terminator unless
// a contract says so. Article ids are guint64, handed out from 1 upward and
// never reused; 0 is never an article id.
//
// A word form, lemma, URL or source may have any length. The databases have a shorter
// string for one of more than 1,000 bytes, which every lookup and writer puts in its place; it
// shows in walks over the keys, in ArticledbCursor::key, and as form under a lemma.
//
// A store handle, and every transaction record, cursor and generator made from
// it, is used by one thread at a time, and only by the process that opened it: a
// forked child opens its own, and is given EPERM for its parent's. Several handles, of one process
// or of many, can have a store open. When a process dies in the middle of an operation, another
// one's next operation recovers the store; docs/reliability.md has the details.
#ifndef FENRA_ARTICLEDB_H
#define FENRA_ARTICLEDB_H

// Two names that db.h uses and strict C modes leave out of <sys/types.h>.
typedef unsigned int u_int;
typedef unsigned long u_long;
#include <db.h>
#include <fenra/articledb_lemmatizer.h>
#include <fenra/articledb_rules.h>
#include <fenra/articledb_util.h>
#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

enum {
  // A required metadata value is missing.
  STATUS_MISSING_METADATA = 4,
  // The record is longer than the caller's buffer.
  STATUS_BUFFER_SMALL = 5,
  // The key has no record.
  STATUS_NOT_FOUND = 6,
  // The store was made with rules of words that this version does not have.
  STATUS_UNKNOWN_RULES = 7,
  // The store is open for reading only, and somebody has written to it since.
  STATUS_STORE_CHANGED = 8,
  // The store cannot be opened for reading only: it was not closed in order, or somebody has it
  // open and has written to it.
  STATUS_NOT_IN_ORDER = 9
};

// What a string that the databases have a shorter one for keeps of its beginning, in bytes.
enum { ARTICLEDB_MOST_PREFIX_BYTES = 900 };

// ---- store handle ----

// The Berkeley DB handles are replaced by others when the store had to be recovered. Read
// through them, the databases have every article that was indexed with this handle, unless that
// uses the journal; and every other one since the last call of the library that reads.
typedef struct ArticledbDb {
  DB_ENV* env;
  DB* urldb;      // article id -> URL record
  DB* urlidx;     // URL -> article ids
  DB* datedb;     // date -> article ids
  DB* sourcedb;   // source -> article ids
  DB* txtdb;      // article id -> compressed text
  DB* formdb;     // word form -> article ids
  DB* trigramdb;  // word trigram -> article ids
  DB* lemmadb;    // lemma -> word forms
  DB* iddb;       // the id counter, and the name of the rules of words
  // Counters of articledb_db_index since the handle was made, modulo 2^32.
  guint32 indexed_articles;    // stored successfully
  guint32 submitted_articles;  // calls
  guint32 indexed_tokens;      // tokens of the stored articles
  guint32 processed_tokens;    // tokens read
  guint32 indexed_text_bytes;  // text bytes of the stored articles
  guint32 submitted_length;    // sum of the "_length" values
  // Private: what the handle shares with the others on the store; null until opening.
  struct ArticledbGate* gate;
  // Private: what the handle keeps in memory of what it has read and written; null until opening.
  struct ArticledbMemory* memory;
} ArticledbDb;

// A new empty handle, or null when memory is short. Released by
// articledb_db_close.
FENRA_API ArticledbDb* articledb_db_new(void);

// Makes the directory `path` (mode 0700, no parents) and a new store of plain words in it.
// Returns 0; -1, with nothing reported and no handle made, when the directory
// exists already or cannot be made; or the failing call's code, reported through
// the environment's error method. After a failure the handles made so far stay
// in `db` for articledb_db_close.
FENRA_API int articledb_db_create(ArticledbDb* db, const char* path);

// As articledb_db_create, with the rules of words of that name, one of those in
// articledb_rules.h, which the store keeps. EINVAL, and nothing made, for another name. A
// directory that exists is opened, and a store whose making was cut short completed; EEXIST
// when it is one with other rules.
FENRA_API int articledb_db_create_with_rules(ArticledbDb* db, const char* path, const char* rules);

// Opens the store in an existing directory. Status and failures as
// articledb_db_create. A directory without a store becomes one without an id
// counter, in which nothing can be indexed.
//
// Both may share the store with other handles, of this process or of others. The
// first one in runs recovery, unless the store was closed in order. One that waits two
// minutes for another's opening or closing fails with EBUSY. EPERM: the directory, or a
// file in it, could have been prepared by another user, and has not been touched.
FENRA_API int articledb_db_open(ArticledbDb* db, const char* path);

// Opens the store in an existing directory for reading only. Nothing is written to the
// directory and no lock is taken: permission to read the files is enough, as it is on a
// read-only file system, and whose they are makes no difference. It takes a store that was closed
// in order, or one that others have open who have only read since, and makes nobody wait. The
// cache, of the size that DB_CONFIG sets if that can be read, belongs to the handle.
//
// Everything that reads works with the handle as ever: lookups, cursors, generators,
// articledb_db_get_rules, articledb_db_max_id. What would write gives EROFS and changes nothing.
// The handle shows the store as it is at the opening. From the time on that somebody else
// changes the store, what has to be read of its files gives STATUS_STORE_CHANGED, with one
// message; what had been read before, as the rest of a batch of a list, may still be given. Such
// a handle can only be closed. Compaction puts another directory into the place, which the
// handle does not see.
//
// Returns 0; STATUS_NOT_IN_ORDER, with the remedy in a message; STATUS_STORE_CHANGED when
// somebody has written to it meanwhile, and another try may succeed; EINVAL, also with a message,
// for files that cannot be a store's; ENOENT without a store; EACCES when a file cannot be read;
// else the system's or Berkeley DB's code. Failures are reported through the environment's
// error method; the handles made so far stay in `db` for articledb_db_close.
FENRA_API int articledb_db_open_read_only(ArticledbDb* db, const char* path);

// The rules of words that the open store was made with, by which its articles are to be
// indexed, and their words to be looked for. *rules is set on success only.
// STATUS_UNKNOWN_RULES, with a message through the environment, for others than this version
// has; else Berkeley DB's code.
FENRA_API int articledb_db_get_rules(ArticledbDb* db, const ArticledbRules** rules);

// Closes the databases and the environment and releases the handle. Null gives
// 0. When a close fails, its code is returned, a message goes to standard error
// and the handle stays: a later call carries on with the first handle that is
// still open, or, after DB_RUNRECOVERY, recovers the store first.
FENRA_API int articledb_db_close(ArticledbDb* db);

// Copies the six counters.
FENRA_API void articledb_db_get_stats(ArticledbDb* db, guint32* indexed_articles,
                                      guint32* indexed_tokens, guint32* indexed_text_bytes,
                                      guint32* submitted_articles, guint32* processed_tokens,
                                      guint32* submitted_length);

// Makes a checkpoint once 10,240 KiB of log have been written since the last
// one, and deletes the log files that are no longer needed. articledb_db_index does
// the like by itself.
FENRA_API int articledb_db_remove_logs(ArticledbDb* db);

// The last id handed out, 0 on a new store.
FENRA_API int articledb_db_max_id(ArticledbDb* db, guint64* id);

// ---- transaction records and writers ----

// Groups the writes of one article. Every write is in the store the moment its
// call returns; commit and abort only release the record. A write survives a crash
// once an article has been indexed after it, or the store has been closed.
typedef struct ArticledbTransaction {
  ArticledbDb* store;  // borrowed
  DB_TXN* txn;         // always null
} ArticledbTransaction;

// A new record, or null when memory is short. Ended by exactly one of
// articledb_transaction_commit and articledb_transaction_abort.
FENRA_API ArticledbTransaction* articledb_transaction_new(void);
FENRA_API int articledb_transaction_begin(ArticledbTransaction* t, ArticledbDb* db);
FENRA_API int articledb_transaction_commit(ArticledbTransaction* t);
FENRA_API int articledb_transaction_abort(ArticledbTransaction* t);

// Draws the next article id. *id is set on success only.
FENRA_API int articledb_transaction_next_id(ArticledbTransaction* t, guint64* id);

// The writers. One that meets the page of a positioned cursor is tried again for half
// a second and then gives DB_LOCK_DEADLOCK. A pair that is already stored is not stored twice and
// gives 0, except that put_url replaces the record of the id, and put_txt gives DB_KEYEXIST for the
// same record and adds a different one.
FENRA_API int articledb_transaction_put_url(ArticledbTransaction* t, const char* url_record,
                                            guint32 length, guint64 id);
FENRA_API int articledb_transaction_put_urlidx(ArticledbTransaction* t, guint64 id, const char* url,
                                               guint32 length);
FENRA_API int articledb_transaction_put_form(ArticledbTransaction* t, const char* form,
                                             guint32 length, guint64 id);
FENRA_API int articledb_transaction_put_trigram(ArticledbTransaction* t, const char* trigram,
                                                guint32 length, guint64 id);
FENRA_API int articledb_transaction_put_source(ArticledbTransaction* t, const char* source,
                                               guint32 length, guint64 id);
FENRA_API int articledb_transaction_put_lemma(ArticledbTransaction* t, const char* lemma,
                                              guint32 lemma_length, const char* form,
                                              guint32 form_length);
// `record` is a text record: the text's length, 4 bytes, and its zlib stream.
FENRA_API int articledb_transaction_put_txt(ArticledbTransaction* t, guint64 id, const char* record,
                                            guint32 length);
FENRA_API int articledb_transaction_put_date(ArticledbTransaction* t, guint32 date, guint64 id);

// Removes the URL record and then the text records of an id; its postings stay.
// DB_NOTFOUND, and the text untouched, when the id has no URL record.
FENRA_API int articledb_transaction_delete_id(ArticledbTransaction* t, const guint64* id);

// The first id stored for the zero-terminated URL, in byte order of the ids.
// STATUS_NOT_FOUND, and *id untouched, when there is none.
FENRA_API int articledb_transaction_get_id_from_url(ArticledbTransaction* t, const char* url,
                                                    guint32 length, guint64* id);

// Packs a URL record: the URL and, if the table has a key that does not begin
// with '_', a '|' and a pair key="value"; for each such key, in reverse of the
// table's own order. Nothing is escaped. The caller releases the string with
// g_free.
FENRA_API char* articledb_pack_url_with_metadata(const char* url, GHashTable* metadata);

// ---- indexing ----

// Has the handle use the store's journal, best before it is opened. articledb_db_index puts
// articles there then, where they are as safe as in the databases, and they are written to those
// together with others. What waits is found at once by every lookup, of this handle and of all
// others; but a handle that does not use the journal has it written to the databases first, at its
// opening and whenever it reads, as cursors over whole databases and the single writers do with any
// handle. It is for a collection that grows article by article, and for asking it: an article costs
// a small part of what it costs otherwise, and no reader waits for it. A write of the databases
// that fails later, for want of room or for a cursor that a host keeps positioned, is not the
// article's failure. Some articles are written to the databases all the same, and what waits with
// them: those with a zero byte in a token, and all for as long as a host keeps a cursor positioned.
//
// Returns 0; EROFS for a handle that only reads; -1 when memory is short.
FENRA_API int articledb_db_use_journal(ArticledbDb* db);

// Is told now and then how much of what waits has been written to the databases, out of `total`, in
// a unit of no meaning. It may not use the store.
typedef void (*ArticledbWritingProgressFunc)(void* state, guint64 done, guint64 total);

// Has the function told when a call with the handle, its opening among them, writes what waits;
// best before it is opened. Without one a message comes when that takes longer than three seconds.
// Null ends it. 0, or -1 when memory is short.
FENRA_API int articledb_db_tell_writing(ArticledbDb* db, ArticledbWritingProgressFunc progress,
                                        void* state);

// Stores one article. `metadata` has string keys and is only read: "source",
// "_url", "date" (decimal digits), "lang" and "_txt" (the text), strings, and
// "_length" (the raw length, nonzero, held in the value slot itself). Draws a new
// id, posts every token as a form, every trigram of tokens, and every lemma that
// `lemmatize` gives for a token, and puts the article's records into the place of those of
// earlier articles with the same URL: of them either the one or the other is shown.
//
// Returns 0 when all of it is on disk, in the databases unless the handle uses the journal;
// STATUS_MISSING_METADATA, also for an empty URL, with nothing written; -1 when memory is short;
// else the failing step's code: Berkeley DB's, zlib's, or the token source's own value. A failure
// leaves what was written before it: records, in the place of those of earlier articles, and the
// terms of the tokens before; from a handle that uses the journal, nothing or that.
FENRA_API int articledb_db_index(ArticledbDb* db, GHashTable* metadata,
                                 ArticledbNextTokenFunc next_token, void* tokenizer,
                                 ArticledbLemmatizerFunc lemmatize, void* lemmatizer);

// Removes the article that the URL shows, with its URL record and its text, as an article that
// replaces it would; what earlier ones may have left goes with it. Its postings stay, and its id
// is in the answers of lookups until the store is compacted, but resolves to nothing.
//
// Returns 0 when that is on disk: either both records are there or neither, whoever is killed,
// and whoever reads after it finds neither. STATUS_NOT_FOUND, and nothing done, when the URL shows
// no article; -1 when memory is short; else Berkeley DB's code, with the article there as before.
FENRA_API int articledb_db_delete(ArticledbDb* db, const char* url, guint32 length);

// Tells whether articledb_db_index would store again what the URL of `metadata` shows already:
// the same text, the same pairs in the URL record in whatever order, so the same source and date,
// and all of its words. *unchanged is then 1, else 0: also when the article's indexing was cut
// short before its last words. Writes nothing of an article.
//
// The token source, which gives the tokens that it would give for articledb_db_index, is read only
// when everything else is the same, and then to its end. Returns 0; STATUS_MISSING_METADATA as
// articledb_db_index; -1 when memory is short; what the token source has failed with; or Berkeley
// DB's code. *unchanged is set on success only.
FENRA_API int articledb_db_is_unchanged(ArticledbDb* db, GHashTable* metadata,
                                        ArticledbNextTokenFunc next_token, void* tokenizer,
                                        int* unchanged);

// ---- cursors ----

// Results of a cursor read besides Berkeley DB's codes.
enum {
  CURSOR_OK = 1,  // a record was read
  CURSOR_END = 2  // no further record, or the searched key is absent; also the
                  // result of every later read
};

typedef struct ArticledbCursor {
  DBC* dbc;         // owned; null while the cursor needs none
  DBT key;          // empty, or the cursor's own copy of a key
  guint32 next_op;  // Berkeley DB get operation of the next read
  // Private fields follow: cursors are only made by the functions below.
} ArticledbCursor;

// The caller's storage for one key or data item.
typedef struct ArticledbBuffer {
  void* data;
  guint32 capacity;  // bytes at data
  // Set by every read to the item's length, also when it does not fit. When
  // articledb_cursor_next_key_and_data searches, its key buffer holds the search
  // key, and `length` is also that key's length; EINVAL when it exceeds capacity.
  guint32 length;
} ArticledbBuffer;

// Cursors over a whole database. On success *cursor is a new cursor, to be closed
// before the store; on failure it is null. -1 when memory is short, else
// Berkeley DB's code.
FENRA_API int articledb_db_get_urls(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_forms(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_trigrams(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_lemmas(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_sources(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_txts(ArticledbDb* db, ArticledbCursor** cursor);
FENRA_API int articledb_db_get_dates(ArticledbDb* db, ArticledbCursor** cursor);

// The reads give CURSOR_OK, CURSOR_END or Berkeley DB's code. DB_BUFFER_SMALL
// leaves the item's length in the buffer; the read can be repeated with a larger
// one and then delivers that item.
//
// A cursor that has been read keeps a page locked against writes, also those of its own
// thread, until it is closed; and its reads give DB_RUNRECOVERY once the store has been
// recovered. Not so a key lookup that is read with next_data_dup, nor a duplicate made
// for a key: these read ahead in batches, hold nothing in between, go on after a
// recovery and deliver what is stored behind their place meanwhile.
//
// next_key: the next distinct key. next_data: the data item of the next pair.
// next_data_dup: the next data item under the cursor's key. next_key_and_data:
// the next pair.
FENRA_API int articledb_cursor_next_key(ArticledbCursor* cursor, ArticledbBuffer* key);
FENRA_API int articledb_cursor_next_data(ArticledbCursor* cursor, ArticledbBuffer* data);
FENRA_API int articledb_cursor_next_data_dup(ArticledbCursor* cursor, ArticledbBuffer* data);
FENRA_API int articledb_cursor_next_key_and_data(ArticledbCursor* cursor, ArticledbBuffer* key,
                                                 ArticledbBuffer* data);

// Releases the cursor whatever happens and returns the close status.
FENRA_API int articledb_cursor_close(ArticledbCursor* cursor);

// A second cursor on the same record, which its first read delivers, with a copy
// of the cursor's key or of the given one. *out is set on success only.
FENRA_API int articledb_cursor_dup(ArticledbCursor* cursor, ArticledbCursor** out);
FENRA_API int articledb_cursor_dup_with_key_data(ArticledbCursor* cursor, ArticledbCursor** out,
                                                 const char* key, guint32 length);

// ---- key lookups and id resolution ----

// A cursor on the data items of one key, read with
// articledb_cursor_next_data_dup: ascending ids under a form, source or date;
// forms in byte order under a lemma. An absent key shows at the first read.
// Status and *cursor as the whole-database cursors.
FENRA_API int articledb_db_lookup_form(ArticledbDb* db, ArticledbCursor** cursor, const char* form,
                                       guint32 length);
FENRA_API int articledb_db_lookup_lemma(ArticledbDb* db, ArticledbCursor** cursor,
                                        const char* lemma, guint32 length);
FENRA_API int articledb_db_lookup_source(ArticledbDb* db, ArticledbCursor** cursor,
                                         const char* source, guint32 length);
FENRA_API int articledb_db_lookup_date(ArticledbDb* db, ArticledbCursor** cursor, guint32 date);

// A cursor on the first trigram key that is not less than the given bytes, in
// byte order; its first read delivers that record. When every key is less, the
// first read delivers the first key of the database. EINVAL, and no cursor, for
// more than 192 bytes.
FENRA_API int articledb_db_lookup_trigram(ArticledbDb* db, ArticledbCursor** cursor,
                                          const char* trigram, guint32 length);

// The id of the article that the URL shows. STATUS_NOT_FOUND, and *id untouched, when it shows
// none: it has never had an article, or that was deleted. -1 when memory is short.
FENRA_API int articledb_db_lookup_url(ArticledbDb* db, const char* url, guint32 length,
                                      guint64* id);

// Copies the URL record, respectively the text record, of an id into `buffer`
// (`*size` bytes, no terminator added). 0 and STATUS_BUFFER_SMALL set *size to
// the record's length; STATUS_NOT_FOUND and Berkeley DB's codes leave it alone.
FENRA_API int articledb_db_lookup_id_to_url(ArticledbDb* db, guint64 id, void* buffer,
                                            guint32* size);
FENRA_API int articledb_db_lookup_id_to_txt(ArticledbDb* db, guint64 id, void* buffer,
                                            guint32* size);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_H
