// A store for id streams.
#ifndef FENRA_TESTS_STREAMS_STREAM_STORE_H
#define FENRA_TESTS_STREAMS_STREAM_STORE_H

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
  using Query = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

  void SetUp() override {
    StoreTest::SetUp();
    for (DB* lists : {db->formdb, db->lemmadb, db->sourcedb, db->datedb, db->trigramdb}) {
      Cursors::real_make = std::exchange(lists->cursor, Cursors::make);
    }
  }

  void post(Put writer, const std::string& key, const Script& ids) {
    for (const guint64 id : ids) {
      ASSERT_EQ(put(writer, key, id), 0);
    }
  }
  void post(const std::string& form, const Script& ids) {
    post(articledb_transaction_put_form, form, ids);
  }

  void postLemma(const std::string& lemma, const Strings& forms) {
    for (const std::string& form : forms) {
      ASSERT_EQ(putLemma(lemma, form), 0);
    }
  }

  OstrenGenerator* ask(Query make, const std::string& key) {
    return make(db, key.data(), sizeOf(key));
  }
};

}  // namespace fenra_test

#endif  // FENRA_TESTS_STREAMS_STREAM_STORE_H
