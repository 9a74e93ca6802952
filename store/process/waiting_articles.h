// What the gate knows of articles that are safe on disk, but not in the databases yet.
#ifndef FENRA_STORE_PROCESS_WAITING_ARTICLES_H
#define FENRA_STORE_PROCESS_WAITING_ARTICLES_H

#include <glib.h>

#include <string>

#include "store/articledb.h"

namespace ostren::fenra::store {

class WaitingIndex;

// Result of a call that cannot be served: the article has to be written to the databases at
// once. Like WRITES_LOST it is no code of Berkeley DB, the system or zlib, and stays inside of
// the library.
constexpr int DECLINED = -1002;

// All of it is used under the gate, with the environment in order.
class WaitingArticles {
 public:
  virtual ~WaitingArticles() = default;

  // Writes them to the databases. Returns 0, or a code after which they wait on: Berkeley
  // DB's, the system's, -1 when memory is short, EPROTO for what cannot be read. Failures that
  // do not pass by themselves are reported. After an ENOSPC it is tried again only when the
  // disk has more room.
  virtual int settle(ArticledbDb* db) = 0;

  // Brings index() up to date. Returns 0 or a code, as settle().
  virtual int look(ArticledbDb* db) = 0;
  virtual const WaitingIndex& index() const = 0;

  // Whether more may wait: 0, DECLINED, or the code of what failed.
  virtual int admits(ArticledbDb* db) = 0;

  // Adds an article and waits for the disk. `record` is as JournalFile::write takes it, and the
  // databases will grow by up to `growth` bytes for the article. Returns 0 and the article's
  // id; DECLINED; or the code of what failed.
  virtual int append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) = 0;

  // The databases' id counter is about to be changed.
  virtual void forget_last_id() = 0;

  // Removes what is on disk of them, once all of it is safe without. The system's code.
  virtual int remove() = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_WAITING_ARTICLES_H
