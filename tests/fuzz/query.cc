// Queries of any bytes over a small collection, against sets of lemmas.
#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "facade/fenra.h"
#include "tests/fuzz/check.h"
#include "tests/support/temporary_directory.h"

namespace {

using ostren::fenra::FenraData;
using ostren::fenra::ResultIterator;
using Ids = std::set<size_t>;

// Texts of the articles; the address of each is its number.
const std::vector<std::string> kTexts = {
    "Gure etxea zuria da",
    "etxe zuriak eta etxeak ikusi",
    "Mendi handia da hori, mendietatik ikusten",
    "a b c d a",
    "da",
    "Etxe handia eta etxe-barne",
    "ura edan dute; ur handiak zuen",
    "xyzzy a da",
    std::string(200, 'q') + " " + std::string(63, 'w') + " luze",
};

class Collection {
 public:
  Collection() : lexicon_(fstContent, fstContentSize) {
    data_ = new FenraData((directory_ / "store").c_str(), lexicon_.name());
    data_->incRef();
    FUZZ_CHECK(data_->error() == ostren::fenra::FENRA_NO_ERROR);
    for (size_t id = 0; id < kTexts.size(); ++id) {
      const char* const text = kTexts[id].c_str();
      FUZZ_CHECK(data_->index(std::to_string(id).c_str(), text, "text/plain") ==
                 ostren::fenra::FENRA_NO_ERROR);
      add_lemmas(id, kTexts[id]);
    }
  }
  ~Collection() { data_->decRef(); }
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  FenraData* data() const { return data_; }

  std::string lemma(const std::string& form) const {
    GList* const lemmas = articledb_simple_fst_lemmatizer_first_lemma(
        data_->lemmatizer, form.data(), static_cast<int>(form.size()));
    FUZZ_CHECK(lemmas != nullptr && lemmas->next == nullptr);
    std::string only = static_cast<const char*>(lemmas->data);
    articledb_string_list_free(lemmas);
    return only;
  }

  // The articles that hold every word.
  Ids expected(const std::vector<std::string>& words) const {
    Ids ids;
    for (size_t i = 0; i < words.size(); ++i) {
      const auto found = articles_.find(lemma(words[i]));
      const Ids of_word = found != articles_.end() ? found->second : Ids();
      Ids both;
      std::set_intersection(ids.begin(), ids.end(), of_word.begin(), of_word.end(),
                            std::inserter(both, both.end()));
      ids = i == 0 ? of_word : both;
    }
    return ids;
  }

 private:
  void add_lemmas(size_t id, const std::string& text) {
    const std::unique_ptr<ArticledbUtf8Tokenizer, void (*)(ArticledbUtf8Tokenizer*)> tokenizer(
        articledb_utf8_tokenizer_new(text.data(), static_cast<int>(text.size())),
        articledb_utf8_tokenizer_free);
    const char* token;
    int length;
    while (articledb_utf8_tokenizer_next_token(tokenizer.get(), &token, &length) ==
           ARTICLEDB_TOKEN_OK) {
      articles_[lemma(std::string(token, static_cast<size_t>(length)))].insert(id);
    }
  }

  const TemporaryDirectory directory_;
  const ostren::fenra::TmpFile lexicon_;
  FenraData* data_;
  std::map<std::string, Ids> articles_;  // by lemma
};

std::vector<std::string> words_of(const std::string& query) {
  std::vector<std::string> words;
  bool in_word = false;
  for (const char c : query) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (letter && !in_word) {
      words.emplace_back();
    }
    if (letter) {
      words.back() += c;
    }
    in_word = letter;
  }
  return words;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Collection collection;
  const std::string query(data, std::find(data, data + size, uint8_t{0}));
  const std::vector<std::string> words = words_of(query);

  OstrenGenerator* const stream = collection.data()->parse_query(query.c_str());
  FUZZ_CHECK((stream != nullptr) == !words.empty());
  if (stream != nullptr) {
    FUZZ_CHECK(ostren_generator_free(stream) == 0);  // not pulled
  }

  const std::unique_ptr<ResultIterator> results(collection.data()->lookup(query.c_str()));
  std::vector<size_t> found;
  while (const char* url = results->next()) {
    found.push_back(strtoul(url, nullptr, 10));
  }
  FUZZ_CHECK(results->next() == nullptr);
  const Ids expected = collection.expected(words);
  FUZZ_CHECK(std::equal(found.begin(), found.end(), expected.begin(), expected.end()));
  return 0;
}
