// A store in a directory of its own, and short forms for writing to it and
// reading from it.
#ifndef FENRA_TESTS_STORE_FIXTURE_H
#define FENRA_TESTS_STORE_FIXTURE_H

#include <gmock/gmock.h>
#include <signal.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "base/handles.h"
#include "store/articledb_bulk.h"
#include "tests/support/process.h"
#include "tests/support/temporary_directory.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

using Strings = std::vector<std::string>;
using Ids = std::vector<guint64>;

// A token source over given tokens that ends with a given status. It calls `meanwhile` with
// the number of tokens that it has given, before each of them and before its end.
struct TokenList {
  Strings tokens;
  int end = ARTICLEDB_TOKEN_END;
  std::function<void(size_t)> meanwhile = {};
  size_t next = 0;

  static int pull(void* source, const char** token, int* length) {
    auto* list = static_cast<TokenList*>(source);
    if (list->meanwhile) {
      list->meanwhile(list->next);
    }
    if (list->next == list->tokens.size()) {
      return list->end;
    }
    const std::string& string = list->tokens[list->next++];
    *token = string.data();
    *length = static_cast<int>(string.size());
    return ARTICLEDB_TOKEN_OK;
  }
};

// The n-th put into a database fails, or kills the process.
struct BrokenPuts {
  static inline int (*real)(DB*, DB_TXN*, DBT*, DBT*, guint32);
  static inline int left;
  static inline int signal;

  static void install(DB* database, int puts, int signal_or_0) {
    real = database->put;
    left = puts;
    signal = signal_or_0;
    database->put = put;
  }

  static int put(DB* database, DB_TXN* txn, DBT* key, DBT* data, guint32 flags) {
    if (left-- == 0) {
      return signal == 0 ? EIO : raise(signal);
    }
    return real(database, txn, key, data, flags);
  }
};

// Article metadata whose string values the object keeps.
class Metadata {
 public:
  explicit Metadata(std::map<std::string, std::string> values = {}, guint length = 10)
      : values_(std::move(values)), table_(g_hash_table_new(g_str_hash, g_str_equal)) {
    for (auto& [key, value] : values_) {
      g_hash_table_insert(table_, const_cast<char*>(key.c_str()), value.data());
    }
    if (length != 0) {
      g_hash_table_insert(table_, const_cast<char*>("_length"), GUINT_TO_POINTER(length));
    }
  }
  ~Metadata() { g_hash_table_destroy(table_); }
  Metadata(const Metadata&) = delete;
  Metadata& operator=(const Metadata&) = delete;

  operator GHashTable*() const { return table_; }

 private:
  std::map<std::string, std::string> values_;
  GHashTable* table_;
};

inline std::map<std::string, std::string> articleValues(const std::string& url,
                                                        const std::string& text = "testua") {
  return {
      {"_url", url}, {"source", "iturria"}, {"date", "20260102"}, {"lang", "eu"}, {"_txt", text}};
}

struct HandleCloser {
  void operator()(ArticledbDb* db) const { EXPECT_EQ(articledb_db_close(db), 0); }
};
using Handle = std::unique_ptr<ArticledbDb, HandleCloser>;
using Bulk = std::unique_ptr<ArticledbBulk, ostren::fenra::Releaser<articledb_bulk_free>>;

using Field = DB* ArticledbDb::*;

class StoreTest : public ::testing::Test {
 protected:
  using Lookup = int (*)(ArticledbDb*, ArticledbCursor**, const char*, guint32);
  using Whole = int (*)(ArticledbDb*, ArticledbCursor**);
  using Put = int (*)(ArticledbTransaction*, const char*, guint32, guint64);

  void SetUp() override {
    db = newHandle();
    ASSERT_EQ(articledb_db_create(db, path.c_str()), 0);
    begin();
  }

  void TearDown() override { close(); }

  void begin() {
    t = articledb_transaction_new();
    ASSERT_EQ(articledb_transaction_begin(t, db), 0);
  }

  ArticledbDb* newHandle() const {
    ArticledbDb* const handle = articledb_db_new();
    EXPECT_EQ(uses_journal ? articledb_db_use_journal(handle) : 0, 0);
    return handle;
  }

  void close() {
    if (db != nullptr) {
      EXPECT_EQ(articledb_transaction_abort(t), 0);
      EXPECT_EQ(articledb_db_close(db), 0);
    }
    db = nullptr;
  }

  void open() {
    db = newHandle();
    ASSERT_EQ(articledb_db_open(db, path.c_str()), 0);
    begin();
  }

  void reopen() {
    close();
    open();
  }

  int openAndClose() const {
    ArticledbDb* handle = articledb_db_new();
    const int status = articledb_db_open(handle, path.c_str());
    EXPECT_EQ(articledb_db_close(handle), 0);
    return status;
  }

  // The store cannot be opened, and a message says why.
  void expectRefused(int status, const std::string& message) const {
    testing::internal::CaptureStderr();
    EXPECT_EQ(openAndClose(), status);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(message));
  }

  // Another handle on the store.
  Handle another() const {
    Handle handle(newHandle());
    EXPECT_EQ(articledb_db_open(handle.get(), path.c_str()), 0);
    return handle;
  }

  // Runs `work` with the other handle as the test's.
  template <typename Work>
  auto with(const Handle& other, Work work) {
    ArticledbDb* const mine = std::exchange(db, other.get());
    const auto result = work();
    db = mine;
    return result;
  }

  int index(GHashTable* metadata, TokenList tokens,
            ArticledbLemmatizerFunc lemmatize = articledb_lemmatizer_identity) {
    return articledb_db_index(db, metadata, TokenList::pull, &tokens, lemmatize, nullptr);
  }
  int index(const std::string& url, Strings tokens = {}, const std::string& text = "testua") {
    return index(Metadata(articleValues(url, text)), {std::move(tokens)});
  }

  static guint32 sizeOf(const std::string& text) { return static_cast<guint32>(text.size()); }

  int put(Put writer, const std::string& key, guint64 id) {
    return writer(t, key.data(), sizeOf(key), id);
  }
  int putForm(const std::string& form, guint64 id) {
    return put(articledb_transaction_put_form, form, id);
  }
  int putLemma(const std::string& lemma, const std::string& form) {
    return articledb_transaction_put_lemma(t, lemma.data(), sizeOf(lemma), form.data(),
                                           sizeOf(form));
  }

  ArticledbCursor* lookup(Lookup function, const std::string& key) {
    ArticledbCursor* cursor = nullptr;
    EXPECT_EQ(function(db, &cursor, key.data(), sizeOf(key)), 0);
    return cursor;
  }
  ArticledbCursor* whole(Whole function) {
    ArticledbCursor* cursor = nullptr;
    EXPECT_EQ(function(db, &cursor), 0);
    return cursor;
  }

  static ArticledbCursor* copyOf(ArticledbCursor* cursor) {
    ArticledbCursor* copy = nullptr;
    EXPECT_EQ(articledb_cursor_dup(cursor, &copy), 0);
    return copy;
  }

  // One read into a buffer of so many bytes: the item, or the status, a colon and the length.
  template <typename Read>
  static std::string once(ArticledbCursor* cursor, Read read, guint32 capacity = 4096) {
    std::string bytes(capacity, '?');
    ArticledbBuffer buffer = {bytes.data(), capacity, 0};
    const int status = read(cursor, &buffer);
    return status == CURSOR_OK ? bytes.substr(0, buffer.length)
                               : std::to_string(status) + ":" + std::to_string(buffer.length);
  }

  // The rest of what a read delivers; closes the cursor.
  template <typename Read>
  static Strings drain(ArticledbCursor* cursor, Read read) {
    const std::string end = std::to_string(CURSOR_END) + ":0";
    Strings items;
    for (std::string item; (item = once(cursor, read)) != end;) {
      items.push_back(item);
      EXPECT_LT(items.size(), 1000000U) << item;
    }
    EXPECT_EQ(once(cursor, read), end);
    EXPECT_EQ(articledb_cursor_close(cursor), 0);
    return items;
  }
  static Strings keys(ArticledbCursor* cursor) { return drain(cursor, articledb_cursor_next_key); }
  static Strings dups(ArticledbCursor* cursor) {
    return drain(cursor, articledb_cursor_next_data_dup);
  }
  static Ids ids(ArticledbCursor* cursor) {
    Ids result;
    for (const std::string& item : dups(cursor)) {
      guint64 id = 0;
      EXPECT_EQ(item.size(), sizeof id);
      memcpy(&id, item.data(), sizeof id);
      result.push_back(id);
    }
    return result;
  }
  Ids dateIds(guint32 date) {
    ArticledbCursor* cursor = nullptr;
    EXPECT_EQ(articledb_db_lookup_date(db, &cursor, date), 0);
    return ids(cursor);
  }
  Ids formIds(const std::string& form) { return ids(lookup(articledb_db_lookup_form, form)); }

  // The record of an id, or "-" and the status when there is none.
  template <typename Resolve>
  std::string record(Resolve resolve, guint64 id) {
    std::string bytes(1 << 20, '\0');
    auto size = static_cast<guint32>(bytes.size());
    const int status = resolve(db, id, bytes.data(), &size);
    return status == 0 ? bytes.substr(0, size) : "-" + std::to_string(status);
  }
  std::string url(guint64 id) { return record(articledb_db_lookup_id_to_url, id); }
  // The inflated text of an id, checked against its stored length.
  std::string text(guint64 id) {
    const std::string stored = record(articledb_db_lookup_id_to_txt, id);
    if (stored[0] == '-' && stored.size() < 4) {
      return stored;
    }
    guint32 length = 0;
    memcpy(&length, stored.data(), sizeof length);
    std::string plain(length + 1, '\0');
    uLongf inflated = plain.size();
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(plain.data()), &inflated,
                         reinterpret_cast<const Bytef*>(stored.data()) + 4, stored.size() - 4),
              Z_OK);
    EXPECT_EQ(inflated, length);
    return plain.substr(0, inflated);
  }

  // Has all that waits written to the databases, as a cursor over one of them wants it.
  int writeOut() {
    ArticledbCursor* const cursor = whole(articledb_db_get_urls);
    ArticledbBuffer none = {nullptr, 0, 0};
    const int status = articledb_cursor_next_key(cursor, &none);
    EXPECT_EQ(articledb_cursor_close(cursor), 0);
    return status == CURSOR_END || status == DB_BUFFER_SMALL ? 0 : status;
  }

  guint64 maxId() {
    guint64 id = ~0ULL;
    EXPECT_EQ(articledb_db_max_id(db, &id), 0);
    return id;
  }

  // Does the work in a process that then dies with the store open. Returns whether it got
  // so far, or died in the middle of it.
  bool getsToTheEnd(const std::function<void()>& work) {
    const int result = result_of([&] {
      db = newHandle();
      if (articledb_db_open(db, path.c_str()) == 0) {
        begin();
        work();
      }
      return HasFailure() ? 1 : 0;
    });
    EXPECT_TRUE(result == 0 || result == -SIGKILL) << result;
    return result == 0;
  }

  // Another process puts a posting and dies while it holds the gate.
  void neighbourDies() {
    EXPECT_FALSE(getsToTheEnd([this] {
      putForm("hila", 1);
      BrokenPuts::install(db->formdb, 0, SIGKILL);
      putForm("hila", 2);
    }));
  }

  // The same with nobody else there: what was only in memory is lost.
  bool getsToTheEndAlone(const std::function<void()>& work) {
    close();
    const bool ended = getsToTheEnd(work);
    reopen();
    return ended;
  }

  // Structure check of the closed store's database file.
  void verify() {
    DB* file = nullptr;
    ASSERT_EQ(db_create(&file, nullptr, 0), 0);
    EXPECT_EQ(file->verify(file, (path + "/fenra.index").c_str(), nullptr, stderr, DB_NOORDERCHK),
              0);
  }

  const TemporaryDirectory directory;
  const std::string& root = directory.path();
  std::string path = root + "/store";
  bool uses_journal = false;  // of handles that are opened from then on
  ArticledbDb* db = nullptr;
  ArticledbTransaction* t = nullptr;
};

#endif  // FENRA_TESTS_STORE_FIXTURE_H
