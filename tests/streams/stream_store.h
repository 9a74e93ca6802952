// A store for id streams, and what it does with Berkeley DB cursors.
#ifndef FENRA_TESTS_STREAMS_STREAM_STORE_H
#define FENRA_TESTS_STREAMS_STREAM_STORE_H

#include <cerrno>
#include <string>
#include <utility>

#include "streams/articledb_generator.h"
#include "tests/store/store_fixture.h"
#include "tests/streams/stub_generator.h"

namespace fenra_test {

// The cursors of the databases of lists, whose methods are replaced for the length
// of a test.
struct Cursors {
  static inline int open;  // now
  static inline int made;  // by a database, since a test set it to 0
  static inline int left;  // that can be made before making one fails

  static int make(DB* db, DB_TXN* txn, DBC** cursor, guint32 flags) {
    ++made;
    return left-- > 0 ? count(real_make(db, txn, cursor, flags), cursor) : ENOMEM;
  }

  static inline int (*real_make)(DB*, DB_TXN*, DBC**, guint32);

 private:
  static int close(DBC* cursor) {
    --open;
    return real_close(cursor);
  }

  static int dup(DBC* cursor, DBC** copy, guint32 flags) {
    return left-- > 0 ? count(real_dup(cursor, copy, flags), copy) : ENOMEM;
  }

  static int count(int status, DBC** cursor) {
    open += status == 0 ? 1 : 0;
    // A closed cursor is used again with the methods that it had.
    if (status == 0 && (*cursor)->close != close) {
      real_dup = std::exchange((*cursor)->dup, dup);
      real_close = std::exchange((*cursor)->close, close);
    }
    return status;
  }

  static inline int (*real_dup)(DBC*, DBC**, guint32);
  static inline int (*real_close)(DBC*);
};

class StreamStoreTest : public StoreTest {
 protected:
  using Put = int (*)(ArticledbTransaction*, const char*, guint32, guint64);
  using Query = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

  void SetUp() override {
    StoreTest::SetUp();
    Cursors::open = 0;
    Cursors::left = G_MAXINT;
    for (DB* lists : {db->formdb, db->lemmadb, db->sourcedb, db->datedb, db->trigramdb}) {
      Cursors::real_make = std::exchange(lists->cursor, Cursors::make);
    }
  }

  void TearDown() override {
    EXPECT_EQ(Cursors::open, 0);
    StoreTest::TearDown();
  }

  static guint32 sizeOf(const std::string& text) { return static_cast<guint32>(text.size()); }

  void post(Put put, const std::string& key, const Script& ids) {
    for (const guint64 id : ids) {
      ASSERT_EQ(put(t, key.data(), sizeOf(key), id), 0);
    }
  }
  void post(const std::string& form, const Script& ids) {
    post(articledb_transaction_put_form, form, ids);
  }

  void postLemma(const std::string& lemma, const Strings& forms) {
    for (const std::string& form : forms) {
      ASSERT_EQ(articledb_transaction_put_lemma(t, lemma.data(), sizeOf(lemma), form.data(),
                                                sizeOf(form)),
                0);
    }
  }

  OstrenGenerator* ask(Query make, const std::string& key) {
    return make(db, key.data(), sizeOf(key));
  }
};

}  // namespace fenra_test

#endif  // FENRA_TESTS_STREAMS_STREAM_STORE_H
