// A small store for queries, by either rules, with the lexicon of the library.
#ifndef FENRA_TESTS_QUERY_QUERY_STORE_H
#define FENRA_TESTS_QUERY_QUERY_STORE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/handles.h"
#include "facade/embedded_lexicon.h"
#include "facade/temporary_file.h"
#include "query/articledb_query.h"
#include "tests/support/temporary_directory.h"

namespace fenra_test {

using ostren::fenra::Releaser;
using Strings = std::vector<std::string>;
using Ids = std::vector<guint64>;
using Query = std::unique_ptr<ArticledbQuery, Releaser<articledb_query_free>>;
using Stream = std::unique_ptr<OstrenGenerator, Releaser<ostren_generator_free>>;
using Marker = std::unique_ptr<ArticledbQueryMarker, Releaser<articledb_query_marker_free>>;

inline void* lemmatizer() {
  static const std::unique_ptr<void, Releaser<articledb_simple_fst_lemmatizer_free>> lexicon(
      articledb_simple_fst_lemmatizer_new(
          ostren::fenra::TmpFile(fstContent, fstContentSize).name()));
  return lexicon.get();
}

struct StoredText {
  std::string text;
  std::string source = "";
  std::string date = "";
};

class QueryStore {
 public:
  explicit QueryStore(const char* rules) : rules_(*articledb_rules_by_name(rules)) {
    EXPECT_EQ(articledb_db_create_with_rules(db_, (directory_ / "store").c_str(), rules), 0);
  }
  ~QueryStore() { EXPECT_EQ(articledb_db_close(db_), 0); }
  QueryStore(const QueryStore&) = delete;
  QueryStore& operator=(const QueryStore&) = delete;

  ArticledbDb* db() const { return db_; }
  const ArticledbRules& rules() const { return rules_; }

  // Articles get the ids 1, 2, ...; those of one URL replace each other.
  void add(const StoredText& article, std::string url) {
    const std::unique_ptr<GHashTable, Releaser<g_hash_table_destroy>> metadata(
        g_hash_table_new(g_str_hash, g_str_equal));
    const auto insert = [&](const char* key, const char* value) {
      g_hash_table_insert(metadata.get(), const_cast<char*>(key), const_cast<char*>(value));
    };
    insert("_url", url.c_str());
    insert("source", article.source.c_str());
    insert("date", article.date.c_str());
    insert("lang", "eu");
    insert("_txt", article.text.c_str());
    g_hash_table_insert(metadata.get(), const_cast<char*>("_length"), GUINT_TO_POINTER(1));
    void* tokens = rules_.tokenizer_new(article.text.data(), static_cast<int>(article.text.size()));
    EXPECT_EQ(articledb_db_index(db_, metadata.get(), rules_.next_token, tokens, rules_.first_lemma,
                                 lemmatizer()),
              0);
    rules_.tokenizer_free(tokens);
  }

  // Null, and the error, for a query that is none.
  Query parse(const std::string& text, ArticledbQueryError* error = nullptr) const {
    ArticledbQuery* query = nullptr;
    const int status = articledb_query_parse(text.data(), static_cast<guint32>(text.size()),
                                             &rules_, lemmatizer(), &query, error);
    EXPECT_EQ(query != nullptr, status == 0) << text;
    return Query(query);
  }

  // The ids of an answer that have records.
  Ids answer(const std::string& text) const {
    const Query query = parse(text);
    const Stream stream(articledb_query_generator_new(query.get(), db_));
    Ids ids;
    void* item = nullptr;
    int status;
    while ((status = ostren_generator_next(stream.get(), &item)) == 1) {
      const guint64 id = *static_cast<const guint64*>(item);
      guint32 size = 0;
      if (articledb_db_lookup_id_to_url(db_, id, nullptr, &size) == STATUS_BUFFER_SMALL) {
        ids.push_back(id);
      }
    }
    EXPECT_EQ(status, 0) << text;
    return ids;
  }

  // The words of a text, the parts of compounds included.
  Strings tokens(const std::string& text) const {
    Strings tokens;
    void* tokenizer = rules_.tokenizer_new(text.data(), static_cast<int>(text.size()));
    const char* token = nullptr;
    int length = 0;
    while (rules_.next_token(tokenizer, &token, &length) == ARTICLEDB_TOKEN_OK) {
      tokens.emplace_back(token, length);
    }
    rules_.tokenizer_free(tokenizer);
    return tokens;
  }

  std::string lemma(const std::string& form) const {
    GList* lemmas = rules_.first_lemma(lemmatizer(), form.data(), static_cast<int>(form.size()));
    const std::string lemma = static_cast<const char*>(lemmas->data);
    articledb_string_list_free(lemmas);
    return lemma;
  }

 private:
  const TemporaryDirectory directory_;
  ArticledbDb* const db_ = articledb_db_new();
  const ArticledbRules& rules_;
};

}  // namespace fenra_test

#endif  // FENRA_TESTS_QUERY_QUERY_STORE_H
