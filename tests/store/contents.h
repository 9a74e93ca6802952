// Random articles, the ways that they can come to a store, and what its databases hold then.
#ifndef FENRA_TESTS_STORE_CONTENTS_H
#define FENRA_TESTS_STORE_CONTENTS_H

#include <random>

#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "tests/store/store_fixture.h"

// One article as every way of indexing takes it.
struct Source {
  std::map<std::string, std::string> values;
  TokenList tokens;
};

// Two lemmas for some forms, none for others.
inline GList* lemmas_of(void*, const char* form, int length) {
  const std::string word(form, static_cast<size_t>(length));
  GList* lemmas = articledb_string_list_new();
  if (length % 3 != 0) {
    lemmas = articledb_string_list_prepend(lemmas, word.substr(0, word.size() / 2).c_str());
  }
  if (length % 2 == 0) {
    lemmas = articledb_string_list_prepend(lemmas, "lema");
  }
  return lemmas;
}

// Words of a small vocabulary and some that are met once, in all lengths that matter. Some
// articles replace others, and some are refused. Of those that are not for the journal some
// have what it does not take, and some end with a failure of their source.
inline std::vector<Source> random_articles(int count, unsigned seed, bool for_the_journal = false) {
  std::mt19937 random(seed);
  const auto below = [&random](unsigned bound) { return random() % bound; };
  // Of keys that begin with one another. Berkeley DB's hash databases cannot keep those that
  // take pages of their own: they damage pages and hide others.
  const size_t lengths[] = {0, 100, 989, 999, 1000, 1024, 20000};
  const unsigned most = for_the_journal ? 4 : 7;
  std::vector<Source> articles;
  for (int i = 0; i < count; ++i) {
    Strings tokens;
    const bool plain = for_the_journal || below(2) == 0;
    for (unsigned left = below(120); left > 0; --left) {
      const unsigned kind = below(40);
      tokens.push_back(kind == 0            ? std::string(60 + below(10), 'l')
                       : kind == 1          ? "bakarra" + std::to_string(random())
                       : kind < 4 && !plain ? std::string("a\0b", kind)
                       : kind == 5          ? "w1" + std::string(lengths[below(most)], 'w') +
                                         std::to_string(below(9))
                                   : "w" + std::to_string(below(12) * below(12)));
      if (kind == 4) {
        tokens.insert(tokens.end(), 3, tokens.back());
      }
    }
    const std::string url = "http://a.eus/" + std::to_string(below(unsigned(count) / 2));
    const size_t length = below(3) == 0 ? lengths[below(most)] : 0;
    Source source = {articleValues(url + std::string(length, 'u'),
                                   std::string(below(3000), 'x') + std::to_string(i)),
                     {std::move(tokens)}};
    source.values["date"] = below(4) == 0 ? "" : std::to_string(20260101 + below(5));
    source.values["source"] = std::string(below(3) + length, 's');
    if (below(10) == 0) {
      source.values.erase(below(2) == 0 ? "lang" : "_txt");
    }
    source.tokens.end = !plain && below(5) == 0 ? -1 : +ARTICLEDB_TOKEN_END;
    articles.push_back(std::move(source));
  }
  return articles;
}

class ContentsTest : public StoreTest {
 protected:
  using Pairs = std::vector<std::pair<std::string, std::string>>;

  // The status is that of the source.
  int indexSource(const Source& source) {
    return StoreTest::index(Metadata(source.values), source.tokens, lemmas_of);
  }
  void indexAll(const std::vector<Source>& sources) {
    for (const Source& source : sources) {
      indexSource(source);
    }
  }

  // Prepares an article and adds it; returns what its preparation gave.
  static int add(ArticledbBulk* bulk, const Source& source,
                 ArticledbLemmatizerFunc lemmatize = lemmas_of) {
    TokenList tokens = source.tokens;
    ArticledbBulkArticle* prepared = nullptr;
    const int status = articledb_bulk_prepare(Metadata(source.values), TokenList::pull, &tokens,
                                              lemmatize, nullptr, &prepared);
    if (prepared != nullptr) {
      EXPECT_EQ(articledb_bulk_add(bulk, prepared, nullptr), 0);
    }
    return status;
  }

  // The pairs of a database, by key; those of one key in the database's order.
  static Pairs contentsOf(DB* database) {
    Pairs pairs;
    DBC* cursor = nullptr;
    EXPECT_EQ(database->cursor(database, nullptr, &cursor, 0), 0);
    DBT key = {};
    DBT data = {};
    int ret;
    while ((ret = cursor->get(cursor, &key, &data, DB_NEXT)) == 0) {
      pairs.emplace_back(std::string(static_cast<char*>(key.data), key.size),
                         std::string(static_cast<char*>(data.data), data.size));
    }
    EXPECT_EQ(ret, DB_NOTFOUND);
    EXPECT_EQ(cursor->close(cursor), 0);
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    return pairs;
  }

  // Those of all databases, in which nothing waits any more for being written.
  std::map<std::string, Pairs> contents() {
    EXPECT_EQ(writeOut(), 0);
    std::map<std::string, Pairs> all;
    for (const auto& spec : ostren::fenra::store::DATABASES) {
      all[spec.name] = contentsOf(db->*spec.field);
      for (const auto& [key, data] : all[spec.name]) {
        EXPECT_LE(key.size(), 1000U) << spec.name;
        DBT search = ostren::fenra::store::input_item(key);
        DBT found = ostren::fenra::store::ignored_item();
        EXPECT_EQ((db->*spec.field)->get(db->*spec.field, nullptr, &search, &found, 0), 0);
      }
    }
    return all;
  }
  using Contents = std::map<std::string, Pairs>;

  void expectContents(const Contents& expected, const std::string& description = "") {
    for (const auto& [name, pairs] : contents()) {
      EXPECT_EQ(pairs == expected.at(name), true) << name << " " << description;
    }
  }

  void makeAnew() {
    close();
    std::filesystem::remove_all(path);
    db = newHandle();
    ASSERT_EQ(articledb_db_create(db, path.c_str()), 0);
    begin();
  }

  // What the store holds after the work when each article is written to the databases at
  // once. Leaves the store empty.
  Contents contentsWithoutJournal(const std::function<void()>& work) {
    const bool used_journal = std::exchange(uses_journal, false);
    makeAnew();
    work();
    EXPECT_FALSE(std::filesystem::exists(path + "/fenra.journal"));
    auto all = contents();
    uses_journal = used_journal;
    makeAnew();
    return all;
  }
};

#endif  // FENRA_TESTS_STORE_CONTENTS_H
