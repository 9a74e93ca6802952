// Copies of a store, made while others may use it and write to it.
//
// Nothing of the store is changed and its gate is not entered: a copy takes permission to read
// the store's files and no more, and nobody waits for it.
//
// `progress`, here and below, may be null; it is called with `state` from the calling thread, and
// any result but 0 ends the work with ECANCELED. *message, unless `message` is null, becomes what
// has failed and the remedy, for people, to be released with g_free; null where 0 is returned and
// when memory is short.
//
// Status: 0, -1 when memory is short, or a code of the system or of Berkeley DB; for all of the
// copies: ENOENT when there is no store; EAGAIN when it changes too fast, or has been compacted
// meanwhile.
#ifndef FENRA_ARTICLEDB_BACKUP_H
#define FENRA_ARTICLEDB_BACKUP_H

#include <fenra/articledb_bulk.h>
#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

// Makes a backup of the store in the directory `store`: a store that has been closed in order,
// in the directory `path`, which must not exist or be an empty directory; the directory above it
// exists. It has every article that had been acknowledged before the call, and those whose
// indexing ended while the log was copied. What else stands in the store's directory, as the
// record of the lexicon and DB_CONFIG, goes along, but for directories, links and what is no
// file. Directory and files belong to the caller, and nobody else can read them.
//
// The backup is verified: the structure of all of its pages, and the order of the items of each
// database, are checked as articledb_backup_check does it, when its log has been replayed and
// the articles that waited in the journal are in the databases. Whether the articles are whole
// is not looked at: what they lack, they lack in the store. All of it is on the disk when it gets
// its name, in one step. Until then it is written to the directory `path`.fenra-build, which is
// removed after a failure; that of a process that was killed is removed by the next backup to
// `path`.
//
// EEXIST: there is something at `path`. EINVAL: `path` is in the store. EBUSY: another backup or
// build works on `path`. EPERM: `path`.fenra-build is no directory, or somebody else's, or others
// can write to it. DB_VERIFY_BAD: the pages are damaged, those of the store too most likely.
FENRA_API int articledb_backup(const char* store, const char* path,
                               ArticledbBulkProgressFunc progress, void* state, char** message);

// Copies the database file, the log and the journal of the store to `directory`, which exists and
// is empty, and replays the whole log there: to look at, not to keep. Nothing is checked, nor
// waited for until it is on the disk. The articles that wait in the journal come to the databases
// when the copy is opened. After a failure the directory has a part of it.
FENRA_API int articledb_backup_snapshot(const char* store, const char* directory,
                                        ArticledbBulkProgressFunc progress, void* state,
                                        char** message);

// Is told of a fault, in a line for people, which it only reads.
typedef void (*ArticledbBackupFaultFunc)(void* state, const char* line);

// Checks the database file of a store or snapshot that nobody has open: the structure of its
// pages, and the order and the hashing of the items of each database. Calls `fault` for each
// fault; damage is no failure. `progress` and `state` as above; both functions get `state`. One
// call at a time for a file.
FENRA_API int articledb_backup_check(const char* directory, ArticledbBackupFaultFunc fault,
                                     ArticledbBulkProgressFunc progress, void* state);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_BACKUP_H
