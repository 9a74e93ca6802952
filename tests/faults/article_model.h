// Articles that processes write, replace and look for which are killed at any moment, and
// what all of them know of these.
#ifndef FENRA_TESTS_FAULTS_ARTICLE_MODEL_H
#define FENRA_TESTS_FAULTS_ARTICLE_MODEL_H

#include <atomic>
#include <bitset>
#include <optional>
#include <set>

#include "streams/articledb_generator.h"
#include "tests/faults/support.h"
#include "tests/store/store_fixture.h"

namespace faults {

// Made before the processes are started. The text of an article is given by its URL's number
// and by its version, which is in the URL record too. Words and URLs are long prefixes of
// one another.
class ArticleModel {
 public:
  enum class Kind {
    FOR_THE_JOURNAL,  // URLs and words of up to 1,000 bytes, articles of some words
    ANY               // of up to 20,000 bytes; now and then up to 10,000 words
  };

  explicit ArticleModel(Kind kind) : kind_(kind) {
    constexpr uint32_t kFamilies = 4;
    const uint32_t step = kind == Kind::ANY ? 99 : 4;
    for (uint32_t word = 0; word < kWords; ++word) {
      const std::string family = letters(word / 8 % kFamilies);
      words_.push_back(is_long(word)
                           ? family.substr(0, (1 + word * 37 % 200) * step) + word_of(word)
                       : word < kFamilies ? letters(word).substr(0, 9)
                                          : word_of(word));
    }
    words_.emplace_back("etxea");
    for (uint32_t url = 0; url < kUrls; ++url) {
      const uint32_t length = 10 + url / 4 * (kind == Kind::ANY ? 36 : 1);
      urls_.push_back(url % 4 == 0 ? "https://adibidea.eus/" + letters(0).substr(0, length)
                                   : url_of(url));
      numbers_[urls_.back()] = url;
    }
    EXPECT_NE(lemmatizer(), nullptr);
  }

  uint64_t written() const { return known_->written; }
  uint64_t answers() const { return known_->answers; }

  // Indexes the next version of some URL of which this writer is the only one, or deletes it.
  void write(ArticledbDb* db, std::mt19937_64& random, uint32_t writer, uint32_t writers) const {
    // Of ever more URLs, so that new ones come and old ones are replaced.
    const auto most = static_cast<uint32_t>(std::min<uint64_t>(kUrls, 20 + written() / 2));
    const auto url = static_cast<uint32_t>(random() % (most / writers) * writers + writer);
    const uint32_t acknowledged = known_->acknowledged[url];
    const uint32_t version = ++known_->tried[url];
    if (is_deletion(version)) {
      const int status =
          articledb_db_delete(db, urls_[url].data(), static_cast<guint32>(urls_[url].size()));
      // One that was killed may have done it.
      const bool is_shown = acknowledged != 0 && acknowledged + 1 == version;
      EXPECT_TRUE(status == 0 || (status == STATUS_NOT_FOUND && !is_shown)) << status;
    } else {
      EXPECT_EQ(index(db, url, version), 0) << urls_[url].substr(0, 60) << " " << version;
    }
    known_->acknowledged[url] = version;
    ++known_->written;
  }

  // Asks for a word, or for that of all articles. The answer has what was acknowledged
  // before and is not replaced, no article that had been replaced before, and of each URL
  // one article at a time.
  void ask(ArticledbDb* db, std::mt19937_64& random) const {
    const auto word = static_cast<uint32_t>(random() % 3 == 0 ? kCommon : random() % kWords);
    const std::vector<uint32_t> before(known_->acknowledged, known_->acknowledged + kUrls);
    std::vector<uint64_t> ids(kUrls);
    read(db, word, [&](const Shown& article) {
      const uint32_t url = article.url;
      EXPECT_GE(article.version, before[url]) << "URL " << url << " was replaced";
      EXPECT_LE(article.version, known_->tried[url]) << "URL " << url;
      EXPECT_TRUE(ids[url] == 0 || !shown(db, ids[url])) << "two articles of URL " << url;
      ids[url] = article.id;
    });
    for (uint32_t url = 0; url < kUrls; ++url) {
      // Whatever replaces an article has the common word, and it may not have the other one.
      const bool stays = (word == kCommon && !may_be_deleted(url, before[url])) ||
                         known_->tried[url] == before[url];
      EXPECT_FALSE(before[url] != 0 && ids[url] == 0 && stays && has_word(url, before[url], word))
          << "URL " << url << " is missing for " << words_[word].substr(0, 60);
    }
    ++known_->answers;
  }

  // While nobody writes: each URL shows its last version, acknowledged or in flight, or nothing
  // when that was a deletion, and all words have the answers of these. A URL that may show nothing,
  // since nothing was acknowledged of it or it was deleted, may show an article half written.
  // Returns the ids of the others.
  std::vector<uint64_t> expect_all(ArticledbDb* db) const {
    std::vector<uint32_t> versions(kUrls);
    std::vector<uint64_t> ids;
    read_acknowledged(db, kCommon, [&](const Shown& article) {
      EXPECT_EQ(versions[article.url], 0U) << "two articles of URL " << article.url;
      versions[article.url] = article.version;
      ids.push_back(article.id);
    });
    std::vector<std::set<uint32_t>> expected(kWords);
    for (uint32_t url = 0; url < kUrls; ++url) {
      const uint32_t acknowledged = known_->acknowledged[url];
      EXPECT_TRUE(versions[url] >= acknowledged ||
                  (versions[url] == 0 && may_be_deleted(url, acknowledged - 1)))
          << "URL " << url;
      EXPECT_FALSE(is_deletion(versions[url])) << "URL " << url;
      EXPECT_LE(versions[url], known_->tried[url]) << "URL " << url;
      for (uint32_t word = 0; versions[url] != 0 && word < kWords; ++word) {
        if (has_word(url, versions[url], word)) {
          expected[word].insert(url);
        }
      }
    }
    for (uint32_t word = 0; word < kWords; ++word) {
      std::set<uint32_t> found;
      read_acknowledged(db, word, [&](const Shown& article) { found.insert(article.url); });
      EXPECT_EQ(found, expected[word]) << words_[word].substr(0, 60);
    }
    return ids;
  }

 private:
  static constexpr uint32_t kUrls = 2000;
  static constexpr uint32_t kWords = 400;
  static constexpr uint32_t kCommon = kWords;  // stands for the word of all articles

  struct Known {
    std::atomic<uint64_t> written{0};  // articles
    std::atomic<uint64_t> answers{0};
    // The last versions.
    std::atomic<uint32_t> tried[kUrls] = {};
    std::atomic<uint32_t> acknowledged[kUrls] = {};
  };

  struct Shown {
    uint64_t id;
    uint32_t url;
    uint32_t version;
  };
  using Take = std::function<void(const Shown&)>;

  // What the long words, and URLs, of a family begin with; none that the lexicon knows, or
  // takes an ending off.
  static std::string letters(uint32_t family) {
    std::mt19937_64 random(family);
    std::string letters = "xq";
    while (letters.size() < 20000) {
      letters.push_back("bcdfghjmpqvwxy"[random() % 14]);
    }
    return letters;
  }

  // Some versions delete the article.
  static bool is_deletion(uint32_t version) { return version % 4 == 3; }

  // Whether a version behind this one does.
  bool may_be_deleted(uint32_t url, uint32_t version) const {
    while (version < known_->tried[url]) {
      if (is_deletion(++version)) {
        return true;
      }
    }
    return false;
  }

  static bool is_long(uint32_t word) { return word % 8 == 0 && word >= 8; }

  std::vector<uint32_t> words_of(uint32_t url, uint32_t version) const {
    if (is_deletion(version)) {
      return {};
    }
    std::mt19937_64 random(uint64_t{url} << 32 | version);
    const bool many = kind_ == Kind::ANY && random() % 30 == 0;
    std::vector<uint32_t> words(5 + random() % 60 + (many ? random() % 10000 : 0));
    for (uint32_t& word : words) {
      word = static_cast<uint32_t>(random() % kWords);
      word += is_long(word) && random() % (many ? 1000 : 4) != 0 ? 1 : 0;
    }
    words.push_back(kCommon);
    return words;
  }

  bool has_word(uint32_t url, uint32_t version, uint32_t word) const {
    std::bitset<kWords + 1>& words = word_sets_[{url, version}];
    if (words.none()) {
      for (const uint32_t one : words_of(url, version)) {
        words.set(one);
      }
    }
    return words.test(word);
  }

  int index(ArticledbDb* db, uint32_t url, uint32_t version) const {
    std::string text;
    for (const uint32_t word : words_of(url, version)) {
      text += words_[word] + " ";
    }
    auto values = articleValues(urls_[url], text);
    values["bertsioa"] = std::to_string(version);
    values["source"] = url % 16 == 0 ? urls_[url] : "iturria";
    const Tokenizer tokenizer(
        articledb_utf8_tokenizer_new(text.data(), static_cast<int>(text.size())));
    return articledb_db_index(db, Metadata(values), articledb_utf8_tokenizer_next_token,
                              tokenizer.get(), articledb_simple_fst_lemmatizer_first_lemma,
                              lemmatizer());
  }

  // The article of an id, while it has not been replaced.
  std::optional<Shown> shown(ArticledbDb* db, uint64_t id) const {
    std::string record(64 << 10, '\0');  // the URL may be the source as well
    auto size = static_cast<guint32>(record.size());
    const int status = articledb_db_lookup_id_to_url(db, id, record.data(), &size);
    if (status == STATUS_NOT_FOUND) {
      return std::nullopt;
    }
    EXPECT_EQ(status, 0);
    const size_t bar = record.find('|');
    const auto number = numbers_.find(record.substr(0, bar));
    const std::string key = "bertsioa=\"";
    const size_t value = record.find(key, std::min(bar, record.size()));
    if (number == numbers_.end() || value == std::string::npos) {
      ADD_FAILURE() << "article " << id << " has the record " << record.substr(0, 60);
      return std::nullopt;
    }
    const auto version = static_cast<uint32_t>(std::stoul(record.substr(value + key.size())));
    return Shown{id, number->second, version};
  }

  // Takes the articles of an answer. Forms of more than 256 bytes are not found by a lemma.
  void read(ArticledbDb* db, uint32_t word, const Take& take) const {
    const std::string& key = words_[word];
    const bool by_lemma = key.size() <= 256 && word % 2 == 0 && word != kCommon;
    const std::unique_ptr<OstrenGenerator, ostren::fenra::Releaser<ostren_generator_free>> stream(
        (by_lemma ? articledb_db_lemma_lookup_generator_new
                  : articledb_db_form_lookup_generator_new)(db, key.data(),
                                                            static_cast<guint32>(key.size())));
    ASSERT_NE(stream, nullptr);
    void* item = nullptr;
    uint64_t last = 0;
    int status;
    while ((status = ostren_generator_next(stream.get(), &item)) == 1) {
      const uint64_t id = *static_cast<const guint64*>(item);
      EXPECT_GT(id, last);
      last = id;
      if (const std::optional<Shown> article = shown(db, id)) {
        EXPECT_TRUE(has_word(article->url, article->version, word)) << key.substr(0, 60);
        take(*article);
      }
    }
    EXPECT_EQ(status, 0);
  }

  void read_acknowledged(ArticledbDb* db, uint32_t word, const Take& take) const {
    read(db, word, [&](const Shown& article) {
      const uint32_t acknowledged = known_->acknowledged[article.url];
      if (acknowledged != 0 && !may_be_deleted(article.url, acknowledged - 1)) {
        take(article);
      }
    });
  }

  const Kind kind_;
  std::vector<std::string> words_;
  std::vector<std::string> urls_;
  std::map<std::string, uint32_t> numbers_;  // of the URLs
  const Shared<Known> known_;
  mutable std::map<std::pair<uint32_t, uint32_t>, std::bitset<kWords + 1>> word_sets_;
};

}  // namespace faults

#endif  // FENRA_TESTS_FAULTS_ARTICLE_MODEL_H
