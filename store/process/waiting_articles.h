// What the gate knows of articles that are safe on disk, but not in the databases yet.
#ifndef FENRA_STORE_PROCESS_WAITING_ARTICLES_H
#define FENRA_STORE_PROCESS_WAITING_ARTICLES_H

#include <glib.h>

#include <string>
#include <string_view>

#include "store/articledb.h"

namespace ostren::fenra::store {

class ArticleEntries;
class WaitingView;

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

  // Brings view() up to date. Returns 0 or a code, as settle().
  virtual int look(ArticledbDb* db) = 0;
  virtual const WaitingView& view() const = 0;

  // Whether more may wait: 0, DECLINED, or the code of what failed.
  virtual int admits(ArticledbDb* db) = 0;

  // Adds an article and waits for the disk. `record` is as JournalFile::write takes it, and the
  // databases will grow by up to `growth` bytes for the article. Returns 0 and the article's
  // id; DECLINED; or the code of what failed.
  virtual int append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) = 0;

  // Adds an article that no record can hold, as the only one of the entries, with any id. `url` is
  // its URL. The rest as append().
  virtual int append_large(ArticledbDb* db, std::string_view url, ArticleEntries* entries,
                           guint64* id) = 0;

  // Adds the removal of the article that a URL shows. DB_NOTFOUND when there is none; otherwise
  // as append().
  virtual int append_removal(ArticledbDb* db, std::string_view url) = 0;

  // The databases' id counter is about to be changed.
  virtual void forget_last_id() = 0;

  // The handle leaves the store, with or without others there. What is done for it meanwhile
  // ends.
  virtual void end_work(ArticledbDb* db) = 0;

  // The last handle leaves: what waits can do so without the journal then. Returns 0 or a code, as
  // settle(), after which it is as before.
  virtual int set_aside(ArticledbDb* db) = 0;

  // Removes what is of no use any more then. The system's code.
  virtual int remove_journal() = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_WAITING_ARTICLES_H
