// The query language, against an evaluation in plain code.
#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "tests/query/query_store.h"

namespace fenra_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using IdSet = std::set<guint64>;

const std::string LONG_WORD(70, 'w');

// Forms of few lemmas, so that most queries have answers, compounds of them, and a word that is
// in no trigram.
const Strings WORDS = {"etxe",  "etxea",       "etxeak",     "etxeetan", "mendi", "mendia",
                       "ibai",  "ibaian",      "zuri",       "zuriak",   "bat",   "eta",
                       "Zuria", "mendi-etxea", "ibai-mendi", LONG_WORD};

// A query, and the articles that it asks for.
struct Asked {
  std::string query;
  IdSet ids;
};

class RandomCollection : public testing::TestWithParam<const char*> {
 protected:
  RandomCollection() : store_(GetParam()) {
    for (guint64 id = 1; id <= 80; ++id) {
      StoredText article;
      for (size_t words = 1 + below(9); words > 0; --words) {
        article.text += pick(WORDS) + pick({" ", ", ", ". ", "\n"});
      }
      article.source = pick({"", "berria", "argia eus"});
      article.date = pick({"", "20081231", "20090101", "20090315", "20100101"});
      // Every tenth replaces an earlier one.
      const guint64 url = id % 10 == 0 ? id / 2 : id;
      store_.add(article, "u:" + std::to_string(url));
      guint64& shown = shown_[url];
      articles_.erase(std::exchange(shown, id));
      articles_[id] = {article, store_.tokens(article.text)};
    }
  }

  size_t below(size_t bound) { return random_() % bound; }
  std::string pick(const Strings& from) { return from[below(from.size())]; }

  template <typename Has>
  IdSet those(Has has) const {
    IdSet ids;
    for (const auto& [id, article] : articles_) {
      if (has(article)) {
        ids.insert(id);
      }
    }
    return ids;
  }

  struct Article {
    StoredText stored;
    Strings tokens;
  };

  IdSet with_lemma(const std::string& form) const {
    return those([&](const Article& article) {
      return std::any_of(article.tokens.begin(), article.tokens.end(),
                         [lemma = store_.lemma(form), this](const std::string& token) {
                           return store_.lemma(token) == lemma;
                         });
    });
  }

  // Of a compound the whole, or all parts.
  IdSet with_word(const std::string& word) const {
    const Strings tokens = store_.tokens(word);
    IdSet ids = with_lemma(tokens.front());
    IdSet parts;
    for (size_t i = 1; i < tokens.size(); ++i) {
      const IdSet part = with_lemma(tokens[i]);
      parts = i == 1 ? part : both(parts, part);
    }
    ids.insert(parts.begin(), parts.end());
    return ids;
  }

  IdSet with_row(const Strings& row) const {
    return those([&](const Article& article) {
      return std::search(article.tokens.begin(), article.tokens.end(), row.begin(), row.end()) !=
             article.tokens.end();
    });
  }

  static IdSet both(const IdSet& a, const IdSet& b) {
    IdSet ids;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(ids, ids.end()));
    return ids;
  }
  static IdSet either(IdSet a, const IdSet& b) {
    a.insert(b.begin(), b.end());
    return a;
  }
  static IdSet without(const IdSet& a, const IdSet& b) {
    IdSet ids;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(ids, ids.end()));
    return ids;
  }

  Asked leaf() {
    const std::string word = pick(WORDS);
    switch (below(8)) {
      case 0:
        return {(below(2) == 0 ? "=" : "form:") + word, with_row({store_.tokens(word).front()})};
      case 1: {
        const std::string prefix = store_.tokens(word).front().substr(0, 1 + below(5));
        return {prefix + "*", those([&](const Article& article) {
                  return std::any_of(article.tokens.begin(), article.tokens.end(),
                                     [&](const std::string& token) {
                                       return token.compare(0, prefix.size(), prefix) == 0;
                                     });
                })};
      }
      case 2:
      case 3:
        return row();
      case 4: {
        const std::string source = pick({"berria", "argia eus", "ezer"});
        return {"source:\"" + source + "\"",
                those([&](const Article& article) { return article.stored.source == source; })};
      }
      case 5:
        return dates();
      default:
        return {word, with_word(word)};
    }
  }

  // Words that stand in a row somewhere, or nowhere.
  Asked row() {
    const std::string& text =
        std::next(articles_.begin(), below(articles_.size()))->second.stored.text;
    std::string words;
    if (below(4) == 0) {
      words = pick(WORDS) + " " + pick(WORDS);
    } else {
      const size_t begin = text.find_first_not_of(" ,.\n", below(text.size()));
      words = begin == std::string::npos ? "etxe" : text.substr(text.rfind(' ', begin) + 1);
      words = words.substr(0, words.find_last_not_of(" ,.\n", 5 + below(60)) + 1);
    }
    return {"\"" + words + "\"", with_row(store_.tokens(words))};
  }

  Asked dates() {
    const std::map<std::string, std::pair<int, int>> ranges = {
        {"2009", {20090000, 20099999}},          {"200903", {20090300, 20090399}},
        {"20081231", {20081231, 20081231}},      {"2008..200901", {20080000, 20090199}},
        {"..20090101", {1, 20090101}},           {"2010..", {20100000, 99999999}},
        {"20090101..2010", {20090101, 20109999}}};
    const auto range = std::next(ranges.begin(), below(ranges.size()));
    return {"date:" + range->first, those([&](const Article& article) {
              const int date = article.stored.date.empty() ? 0 : std::stoi(article.stored.date);
              return range->second.first <= date && date <= range->second.second;
            })};
  }

  Asked ask(size_t leaves) {
    if (leaves == 1) {
      return leaf();
    }
    const size_t left = 1 + below(leaves - 1);
    Asked a = ask(left);
    Asked b = ask(leaves - left);
    a.query = left > 1 ? "(" + a.query + ")" : a.query;
    b.query = leaves - left > 1 ? "(" + b.query + ")" : b.query;
    switch (below(8)) {
      case 0:
        return {a.query + " OR " + b.query, either(a.ids, b.ids)};
      case 1:
        return {a.query + " -" + b.query, without(a.ids, b.ids)};
      case 2:
        return {"NOT " + b.query + " " + a.query, without(a.ids, b.ids)};
      case 3:
        return {a.query + " OR NOT " + b.query, either(a.ids, without(everything(), b.ids))};
      case 4:
        return {a.query + " -(-" + b.query + ")", both(a.ids, b.ids)};
      case 5:
        return {a.query + " AND " + b.query, both(a.ids, b.ids)};
      default:
        return {a.query + " " + b.query, both(a.ids, b.ids)};
    }
  }

  IdSet everything() const {
    return those([](const Article&) { return true; });
  }

  QueryStore store_;
  std::mt19937 random_{20090315};
  std::map<guint64, guint64> shown_;     // the id of each URL
  std::map<guint64, Article> articles_;  // those that are shown
};

TEST_P(RandomCollection, AnswersAsPlainCodeDoes) {
  size_t answered = 0;
  for (int i = 0; i < 1500; ++i) {
    const Asked asked = ask(1 + below(6));
    const Ids expected(asked.ids.begin(), asked.ids.end());
    ASSERT_EQ(store_.answer(asked.query), expected) << asked.query;
    answered += expected.empty() ? 0 : 1;
  }
  EXPECT_GT(answered, 700U);
}

INSTANTIATE_TEST_SUITE_P(Rules, RandomCollection, testing::Values("plain", "web"));

class QueryTest : public testing::Test {
 protected:
  QueryTest() : store_("web") {}

  // "POSITION: REASON".
  std::string error_of(const std::string& query) const {
    ArticledbQueryError error = {};
    EXPECT_EQ(store_.parse(query, &error), nullptr) << query;
    return std::to_string(error.position) + ": " + error.reason;
  }

  QueryStore store_;
};

TEST_F(QueryTest, WhatIsNoQueryIsToldAtItsPlace) {
  std::string words64;
  for (int i = 0; i < 64; ++i) {
    words64 += "a" + std::to_string(i) + " ";
  }
  const std::string deep(65, '(');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "0: the query has no word"},
      {" ... \"\" -", "0: the query has no word"},
      {"-etxe NOT (mendi ibai)", "0: the query only says what is not wanted"},
      {"NOT etxe OR -mendi", "0: the query only says what is not wanted"},
      {"etxe izena:mendi", "5: there is no field 'izena'"},
      {"etxe \"mendi zuri", "5: this quote is not closed"},
      {"etxe (mendi (zuri)", "5: this '(' is not closed"},
      {"etxe) mendi", "4: this ')' has no '(' before it"},
      {"etxe ( .)", "5: there is no word between"},
      {"etxe OR", "5: OR stands between"},
      {"OR etxe", "0: OR stands between"},
      {"etxe OR OR mendi", "5: OR stands between"},
      {"etxe AND OR mendi", "5: AND stands between"},
      {"AND", "0: AND stands between"},
      {"etxe NOT", "5: NOT stands before"},
      {"etxe date: 2009", "5: there is nothing behind date:"},
      {"date:2009..2008", "5: '2009..2008' is no date"},
      {"date:..", "5: '..' is no date"},
      {"date:20091", "5: '20091' is no date"},
      {"=etxe,mendi", "0: 'etxe,mendi' is not one word"},
      {"etxe,men*", "0: 'etxe,men*' is not the beginning of one word"},
      {"et*xe", "2: '*' stands behind the beginning"},
      {words64 + "bat", "246: the query has more than 64 words"},
      {deep + "a", "64: parentheses stand at most 64 deep"},
      {std::string(4097, 'a'), "4096: the query has 4097 bytes; at most 4096"},
      {std::string(950, 'a') + "*", "0: the beginning of a word has at most 900 bytes"},
  };
  for (const auto& [query, reason] : cases) {
    EXPECT_THAT(error_of(query), testing::StartsWith(reason)) << query;
  }
  for (const std::string& query :
       {words64, std::string(64, '(') + "a" + std::string(64, ')'), std::string(4096, 'a'),
        std::string(900, 'a') + "*", std::string("http://argia.eus/a 12:30 etxe: or not and ="),
        std::string(4000, '-') + "a", std::string("a\0b\xff", 4)}) {
    EXPECT_NE(store_.parse(query), nullptr) << query;
  }
}

TEST_F(QueryTest, TellsWhatEachWordWasTakenFor) {
  store_.add({"Etxea eta etxeak"}, "u:1");
  store_.add({"etxe"}, "u:2");
  store_.add({"mendia"}, "u:2");
  const Query query = store_.parse("ETXEARI -mendi source:x date:2009.. \"Etxea eta\" et*");
  std::string found;
  for (guint32 i = 0; i < articledb_query_terms(query.get()); ++i) {
    const ArticledbQueryTerm& term = *articledb_query_term(query.get(), i);
    guint64 articles = 99;
    EXPECT_EQ(articledb_query_term_articles(query.get(), store_.db(), i, &articles), 0);
    found += std::to_string(term.kind) + (term.excluded != 0 ? "-" : "+") + "@" +
             std::to_string(term.position) + "+" + std::to_string(term.length) + " " + term.form +
             " " + (term.lemma == nullptr ? "" : term.lemma) + " " + std::to_string(articles) +
             "\n";
  }
  EXPECT_EQ(found,
            "1+@0+7 etxeari etxe 1\n"
            "1-@9+5 mendi mendi 1\n"
            "5+@15+8 x  0\n"
            "6+@24+11 2009..  0\n"
            "4+@36+11 etxea eta  1\n"
            "3+@48+3 et  1\n");
  EXPECT_EQ(articledb_query_term(query.get(), 6), nullptr);
}

// The store changes between two calls of the same query.
TEST_F(QueryTest, AnswersShowTheStoreAsItIs) {
  for (const char* query : {"etx*", "date:2009", "\"etxe zuri\""}) {
    EXPECT_THAT(store_.answer(query), IsEmpty());
  }
  store_.add({"etxe zuri", "", "20090315"}, "u:1");
  for (const char* query : {"etx*", "date:2009", "\"etxe zuri\""}) {
    EXPECT_THAT(store_.answer(query), ElementsAre(1)) << query;
  }
  store_.add({"etxe zuri bat", "", "20090316"}, "u:1");
  for (const char* query : {"etx*", "date:2009", "\"etxe zuri\""}) {
    EXPECT_THAT(store_.answer(query), ElementsAre(2)) << query;
  }
  // As only a host does it.
  ArticledbTransaction* t = articledb_transaction_new();
  EXPECT_EQ(articledb_transaction_begin(t, store_.db()), 0);
  EXPECT_EQ(articledb_transaction_put_date(t, 20100101, 2), 0);
  EXPECT_EQ(articledb_transaction_commit(t), 0);
  EXPECT_THAT(store_.answer("date:2009"), ElementsAre(2));
  EXPECT_THAT(store_.answer("date:2010"), ElementsAre(2));
}

TEST_F(QueryTest, ATextThatCannotBeReadFailsThePhraseOnly) {
  store_.add({"etxe zuri"}, "u:1");
  EXPECT_THAT(store_.answer("\"etxe zuri\""), ElementsAre(1));
  const char damaged[] =
      "\xff\xff\xff\x0f"
      "abc";
  guint64 id = 1;
  DBT key = {};
  key.data = &id;
  key.size = sizeof id;
  DBT data = {};
  data.data = const_cast<char*>(damaged);
  data.size = sizeof damaged;
  ASSERT_EQ(store_.db()->txtdb->del(store_.db()->txtdb, nullptr, &key, 0), 0);
  ASSERT_EQ(store_.db()->txtdb->put(store_.db()->txtdb, nullptr, &key, &data, 0), 0);
  EXPECT_THAT(store_.answer("etxe zuri"), ElementsAre(1));
  const Query query = store_.parse("\"etxe zuri\"");
  const Stream stream(articledb_query_generator_new(query.get(), store_.db()));
  void* item = nullptr;
  EXPECT_EQ(ostren_generator_next(stream.get(), &item), 2);
}

}  // namespace
}  // namespace fenra_test
