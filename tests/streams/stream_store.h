// A store for id streams.
#ifndef FENRA_TESTS_STREAMS_STREAM_STORE_H
#define FENRA_TESTS_STREAMS_STREAM_STORE_H

#include <string>
#include <utility>

#include "streams/articledb_generator.h"
#include "tests/store/store_fixture.h"
#include "tests/streams/stub_generator.h"

namespace fenra_test {

// Counts the Berkeley DB cursors that the databases of lists make during a test.
struct Cursors {
  static inline int made;
  static inline int (*real_make)(DB*, DB_TXN*, DBC**, guint32);

  static int make(DB* db, DB_TXN* txn, DBC** cursor, guint32 flags) {
    ++made;
    return real_make(db, txn, cursor, flags);
  }
};

class StreamStoreTest : public StoreTest {
 protected:
  using Put = int (*)(ArticledbTransaction*, const char*, guint32, guint64);
  using Query = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

  void SetUp() override {
    StoreTest::SetUp();
    for (DB* lists : {db->formdb, db->lemmadb, db->sourcedb, db->datedb, db->trigramdb}) {
      Cursors::real_make = std::exchange(lists->cursor, Cursors::make);
    }
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
