// Words, lemmas, URLs and sources of any length. Berkeley DB's hash databases cannot keep
// those that take pages of their own: such a key damages pages when it is written again and
// again, and hides shorter ones that it begins with.
#include <set>

#include "tests/store/contents.h"

namespace {

using ostren::fenra::store::DATABASES;

enum class Way { AT_ONCE, JOURNAL, BULK };

class LongKeysTest : public ContentsTest, public testing::WithParamInterface<Way> {
 protected:
  // Adds an article in the way of the test and to the model. Its id is articles_.size().
  void add(const std::string& url, const std::string& source, const Strings& words) {
    articles_.push_back({url, source, words});
    if (bulk_ == nullptr && GetParam() == Way::BULK) {
      ASSERT_EQ(articledb_bulk_new(&bulk_, (root + "/bulk").c_str(), 1 << 20), 0);
    }
    Source article = {articleValues(url), {words}};
    article.values["source"] = source;
    if (GetParam() == Way::AT_ONCE) {
      article.tokens.tokens.push_back(AT_ONCE);
    }
    ASSERT_EQ(bulk_ != nullptr ? ContentsTest::add(bulk_, article, lemmatize)
                               : index(Metadata(article.values), article.tokens, lemmatize),
              0);
  }

  // Ends the building, and looks for damage.
  void finish() {
    if (bulk_ != nullptr) {
      ASSERT_EQ(articledb_bulk_finish(bulk_, nullptr, nullptr), 0);
      articledb_bulk_free(bulk_);
      path = root + "/bulk";
    }
    close();
    verify();
    open();
  }

  void expect_answers_of_the_model() {
    std::map<std::string, Ids> forms;
    std::map<std::string, Ids> sources;
    std::map<std::string, Ids> urls;
    for (guint64 id = 1; id <= articles_.size(); ++id) {
      const Article& article = articles_[id - 1];
      for (const std::string& word : std::set(article.words.begin(), article.words.end())) {
        forms[word].push_back(id);
      }
      sources[article.source].push_back(id);
      urls[article.url].push_back(id);
    }
    ASSERT_EQ(maxId(), articles_.size());
    expect("forms", forms, [this](const std::string& form) { return formIds(form); });
    expect("lemmas", forms, [this](const std::string& form) {
      const bool known = dups(lookup(articledb_db_lookup_lemma, lemma_of(form))).size() == 1;
      return known ? formIds(form) : Ids{};
    });
    expect("sources", sources, [this](const std::string& source) {
      return ids(lookup(articledb_db_lookup_source, source));
    });
    expect("URLs", urls, [this, &urls](const std::string& url) {
      guint64 id = 0;
      articledb_transaction_get_id_from_url(t, url.c_str(), static_cast<guint32>(url.size()), &id);
      const Ids& ids = urls[url];
      return std::count(ids.begin(), ids.end(), id) == 1 ? ids : Ids{};
    });
    std::map<std::string, Ids> live;
    for (guint64 id = 1; id <= articles_.size(); ++id) {
      const std::string stored = record(articledb_db_lookup_id_to_url, id);
      live[stored.substr(0, stored.find('|'))].push_back(id);
    }
    for (auto& [url, ids] : urls) {
      ids.erase(ids.begin(), ids.end() - 1);
    }
    expect("live articles", urls, [&live](const std::string& url) { return live[url]; });
  }

  // Nothing longer gets into the databases, but for the records of URLs and texts.
  void expect_short_items() const {
    constexpr size_t LONGEST = 1000;
    for (const auto& spec : DATABASES) {
      const bool has_records =
          spec.field == &ArticledbDb::urldb || spec.field == &ArticledbDb::txtdb;
      size_t longest = 0;
      for (const auto& [key, data] : contentsOf(db->*spec.field)) {
        longest = std::max({longest, key.size(), has_records ? 0 : data.size()});
      }
      EXPECT_LE(longest, LONGEST) << spec.name;
    }
  }

 private:
  struct Article {
    std::string url;
    std::string source;
    Strings words;
  };

  static std::string lemma_of(const std::string& form) { return form + "-lema"; }
  static GList* lemmatize(void*, const char* form, int length) {
    return articledb_string_list_prepend(
        articledb_string_list_new(),
        lemma_of(std::string(form, static_cast<size_t>(length))).c_str());
  }

  // Each key gives what is expected of it.
  template <typename Read>
  static void expect(const char* what, const std::map<std::string, Ids>& expected, Read read) {
    Strings wrong;
    for (const auto& [key, ids] : expected) {
      if (read(key) != ids) {
        wrong.push_back(key.substr(0, 20) + "... of " + std::to_string(key.size()));
      }
    }
    EXPECT_THAT(wrong, testing::IsEmpty()) << what;
  }

  std::vector<Article> articles_;
  ArticledbBulk* bulk_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Ways, LongKeysTest, testing::Values(Way::AT_ONCE, Way::JOURNAL, Way::BULK),
                         [](const auto& way) {
                           return way.param == Way::AT_ONCE   ? "AtOnce"
                                  : way.param == Way::JOURNAL ? "Journal"
                                                              : "Bulk";
                         });

// Also those that end where the longest key does, and a little before and behind it.
TEST_P(LongKeysTest, AreWrittenAgainAndAgain) {
  std::mt19937 random(1);
  const size_t lengths[] = {1030, 990, 1000, 1001, 1024, 1025, 4096, 20000};
  for (size_t i = 0; i < 2000; ++i) {
    Strings words;
    for (int left = 0; left < 30; ++left) {
      words.push_back("h" + std::to_string(random() % 700));
    }
    const bool has_long = i % 20 == 0;
    const size_t length = i % 40 == 0 ? lengths[0] : lengths[i / 40 % 8];
    if (has_long) {
      words.insert(words.begin() + 15, std::string(length, '-'));
    }
    add(has_long ? std::string(length, 'u') : "u" + std::to_string(i),
        has_long ? std::string(length, 's') : "iturria", words);
  }
  finish();
  expect_answers_of_the_model();
  expect_short_items();
}

TEST_P(LongKeysTest, HideNoShortOnesThatTheyBeginWith) {
  constexpr size_t LONG_ONES = 900;
  std::mt19937 random(2);
  const auto continued = [&random](std::string key) {
    for (size_t left = 1000 + random() % 500; left > 0; --left) {
      key.push_back(static_cast<char>('a' + random() % 26));
    }
    return key;
  };
  const std::string url = "http://a.eus/x";
  add(url, "egunkaria", {"etxe", "mendi"});
  for (size_t i = 0; i < LONG_ONES; i += 20) {
    Strings words;
    for (size_t word = 0; word < 20; ++word) {
      words.push_back(continued(word % 2 == 0 ? "etxe" : "mendi"));
    }
    add(continued(url), continued("egunkaria"), words);
    add(url, "egunkaria", {"etxe"});
  }
  add(url, "egunkaria", {"etxe", "mendi"});
  finish();
  expect_answers_of_the_model();
}

}  // namespace
