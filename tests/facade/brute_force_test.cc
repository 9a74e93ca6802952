// Every query of up to three words over generated pages, against sets of lemmas
// computed by plain code.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "facade/fenra.h"
#include "lexicon/ostren_ffst.h"
#include "tests/support/temporary_directory.h"

namespace ostren {
namespace fenra {
namespace {

using Urls = std::vector<std::string>;
using Lemmas = std::set<std::string>;

// Forms that share lemmas, forms whose analyses have no lemma, capitalised and
// unknown words, and words with hyphens.
const std::vector<std::string> kWords = {
    "etxe",      "etxea",      "etxeak", "etxeetan", "Etxea",      "mendi", "mendia", "mendietatik",
    "ur",        "ura",        "da",     "zuen",     "badu",       "bada",  "dute",   "eta",
    "handi",     "handiak",    "ikusi",  "ikusten",  "xyzzy",      "Xyzzy", "zinema", "zineman",
    "hizkuntza", "hizkuntzak", "liburu", "liburua",  "etxe-barne", "bat",
};

// What stands between words on a page and is not part of any.
const std::vector<std::string> kNoise = {
    " ", "\n", ", ", ". ", " 3.14 ", " txosten.pdf ", " \xc3\xb1 ", " www.adibidea.eus/etxea ",
    "! "};

class Lexicon {
 public:
  Lexicon() {
    const TmpFile file(fstContent, fstContentSize);
    EXPECT_EQ(Pelko::open_lexicon(&lexicon_, file.name()), Pelko::VERIFIER_NO_ERROR);
  }
  ~Lexicon() { Pelko::close_lexicon(lexicon_); }
  Lexicon(const Lexicon&) = delete;
  Lexicon& operator=(const Lexicon&) = delete;

  std::string Lemma(const std::string& form) const {
    TransducerOutput analyses;
    if (Pelko::lookup(lexicon_, analyses, form.c_str()) == 0) {
      return form;
    }
    const size_t slash = analyses[0].find('/');
    const size_t plus = analyses[0].find('+');
    const bool has_lemma = slash != std::string::npos && plus != std::string::npos && slash < plus;
    return has_lemma ? analyses[0].substr(slash + 1, plus - slash - 1) : form;
  }

 private:
  QorLexicon* lexicon_ = nullptr;
};

// The words of a query: its runs of ASCII letters.
std::vector<std::string> QueryWords(const std::string& query) {
  std::vector<std::string> words(1);
  for (char byte : query + " ") {
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z')) {
      words.back() += byte;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  words.pop_back();
  return words;
}

// Pages in the order of their ids; a page indexed again stands at its last place.
class Collection {
 public:
  void Add(const std::string& url, const Lemmas& lemmas) {
    for (auto& page : pages_) {
      if (page.first == url) {
        page.first.clear();
      }
    }
    pages_.emplace_back(url, lemmas);
  }

  Urls Search(const Lexicon& lexicon, const std::string& query) const {
    Urls urls;
    for (const auto& [url, lemmas] : pages_) {
      bool all = !url.empty();
      for (const std::string& word : QueryWords(query)) {
        all = all && lemmas.count(lexicon.Lemma(word)) > 0;
      }
      if (all) {
        urls.push_back(url);
      }
    }
    return urls;
  }

 private:
  std::vector<std::pair<std::string, Lemmas>> pages_;
};

class BruteForceTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* seed = getenv("FENRA_TEST_SEED");
    const unsigned long value = seed == nullptr ? 1 : strtoul(seed, nullptr, 10);
    RecordProperty("seed", std::to_string(value));
    random_.seed(value);
    fenra_.reset(Fenra::createInstance((directory_ / "store").c_str()));
    ASSERT_EQ(fenra_->error(), FENRA_NO_ERROR);
    for (int i = 0; i < 60; ++i) {
      // Every tenth page replaces an earlier one.
      IndexPage("http://adibidea.eus/" + std::to_string(i % 10 == 9 ? i / 2 : i), i % 2 == 0);
    }
  }

  void IndexPage(const std::string& url, bool html) {
    Lemmas lemmas;
    std::string text;
    for (int i = Below(12); i >= 0; --i) {
      const std::string& word = kWords[Below(kWords.size())];
      lemmas.insert(lexicon_.Lemma(word));
      text += word + kNoise[Below(kNoise.size())];
      if (html && Below(3) == 0) {
        text += "<b>&#32;</b>";
      }
    }
    if (html) {
      lemmas.insert(lexicon_.Lemma("Izenburua"));
      text = "<html><title>Izenburua</title><body><p>" + text + "</p><!-- mendi --></body></html>";
    }
    ASSERT_EQ(fenra_->index(url.c_str(), text.c_str(), html ? "text/html" : "text/plain"),
              FENRA_NO_ERROR)
        << text;
    collection_.Add(url, lemmas);
  }

  size_t Below(size_t bound) {
    return std::uniform_int_distribution<size_t>(0, bound - 1)(random_);
  }

  void ExpectSameAnswer(const std::string& query) {
    const std::unique_ptr<ResultIterator> results(fenra_->lookup(query.c_str()));
    Urls found;
    while (const char* url = results->next()) {
      found.push_back(url);
    }
    const Urls expected = collection_.Search(lexicon_, query);
    ASSERT_EQ(found, expected) << query;
    answers_ += found.size();
  }

  TemporaryDirectory directory_;
  Lexicon lexicon_;
  std::mt19937_64 random_;
  std::unique_ptr<Fenra> fenra_;
  Collection collection_;
  size_t answers_ = 0;
};

TEST_F(BruteForceTest, EveryQueryOfUpToThreeWords) {
  for (size_t a = 0; a < kWords.size(); ++a) {
    ExpectSameAnswer(kWords[a]);
    for (size_t b = 0; b < kWords.size(); ++b) {
      ExpectSameAnswer(kWords[a] + " " + kWords[b]);
      for (size_t c = b; c < kWords.size(); ++c) {
        ExpectSameAnswer(kWords[a] + " " + kWords[b] + " " + kWords[c]);
      }
    }
  }
  // The comparison is worth something only when there were answers.
  EXPECT_GT(answers_, 5000U);
}

}  // namespace
}  // namespace fenra
}  // namespace ostren
