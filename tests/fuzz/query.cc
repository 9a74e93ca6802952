// Queries of any bytes over generated pages: words against sets of lemmas computed by plain
// code, and the query language, whose answers ascend and whose marks are in the text.
//
// An input is a query, up to its first zero byte. Its bytes from 0x80 to 0xEF stand
// for the words of the pages, so that random queries have answers.
#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "facade/fenra.h"
#include "lexicon/ostren_ffst.h"
#include "query/articledb_query.h"
#include "tests/fuzz/check.h"
#include "tests/support/temporary_directory.h"

namespace {

using ostren::fenra::FenraData;
using ostren::fenra::ResultIterator;
using Strings = std::vector<std::string>;
using Lemmas = std::set<std::string>;

Strings split(const std::string& text) {
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

// Forms that share lemmas, forms whose analyses have no lemma, capitalised, unknown
// and long words, and words with hyphens.
const Strings kWords = split(
    "etxe etxea etxeak etxeetan Etxea mendi mendia mendietatik ur ura da zuen badu bada dute eta "
    "handi handiak ikusi ikusten xyzzy Xyzzy zinema zineman liburu liburua etxe-barne bat " +
    std::string(63, 'w') + " " + std::string(200, 'q'));

// What stands between words on a page and is not part of any.
const Strings kNoise = {
    " ", "\n", ", ", ". ", " 3.14 ", " txosten.pdf ", " \xc3\xb1 ", " www.adibidea.eus/etxea ",
    "! "};

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

class Collection {
 public:
  Collection() : file_(fstContent, fstContentSize) {
    FUZZ_CHECK(Pelko::open_lexicon(&lexicon_, file_.name()) == Pelko::VERIFIER_NO_ERROR);
    data_ = new FenraData((directory_ / "store").c_str(), file_.name());
    data_->incRef();
    FUZZ_CHECK(data_->error() == ostren::fenra::FENRA_NO_ERROR);
    for (size_t i = 0; i < 60; ++i) {
      // Every tenth page replaces an earlier one.
      add_page("u:" + std::to_string(i % 10 == 9 ? i / 2 : i), i % 2 == 0);
    }
  }
  ~Collection() {
    data_->decRef();
    Pelko::close_lexicon(lexicon_);
  }
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  FenraData* data() const { return data_; }

  // The URLs of the pages that hold every word, in the order of their ids.
  Strings expected(const Strings& words) const {
    Strings urls;
    for (const auto& [url, lemmas] : pages_) {
      if (!words.empty() &&
          std::all_of(words.begin(), words.end(), [&, &on_page = lemmas](const std::string& word) {
            return on_page.count(lemma(word)) > 0;
          })) {
        urls.push_back(url);
      }
    }
    return urls;
  }

 private:
  std::string lemma(const std::string& form) const {
    TransducerOutput analyses;
    Pelko::lookup(lexicon_, analyses, form.c_str());
    const std::string first = analyses.empty() ? "" : analyses[0];
    const size_t slash = first.find('/');
    const size_t plus = first.find('+');
    return plus != std::string::npos && slash < plus ? first.substr(slash + 1, plus - slash - 1)
                                                     : form;
  }

  void add_page(const std::string& url, bool html) {
    Lemmas lemmas;
    std::string text;
    for (size_t i = 4 + below(20); i > 0; --i) {
      const std::string& word = kWords[below(kWords.size())];
      lemmas.insert(lemma(word));
      text += word + kNoise[below(kNoise.size())];
      text += html && below(3) == 0 ? "<b>&#32;</b>" : "";
    }
    if (html) {
      lemmas.insert(lemma("Izenburua"));
      text = "<html><title>Izenburua</title><body><p>" + text + "</p><!-- mendi --></body></html>";
    }
    FUZZ_CHECK(data_->index(url.c_str(), text.c_str(), html ? "text/html" : "text/plain") ==
               ostren::fenra::FENRA_NO_ERROR);
    pages_.erase(std::remove_if(pages_.begin(), pages_.end(),
                                [&](const auto& page) { return page.first == url; }),
                 pages_.end());
    pages_.emplace_back(url, lemmas);
  }

  size_t below(size_t bound) { return random_() % bound; }

  const TemporaryDirectory directory_;
  const ostren::fenra::TmpFile file_;
  QorLexicon* lexicon_ = nullptr;
  FenraData* data_;
  std::mt19937 random_;
  std::vector<std::pair<std::string, Lemmas>> pages_;
};

std::string query_of(const uint8_t* data, size_t size) {
  std::string query;
  for (const uint8_t* byte = data; byte != data + size && *byte != 0; ++byte) {
    const bool is_word = *byte >= 0x80 && *byte < 0xF0;
    query +=
        is_word ? kWords[*byte % kWords.size()] + " " : std::string(1, static_cast<char>(*byte));
  }
  return query;
}

Strings words_of(const std::string& query) {
  Strings words;
  bool in_word = false;
  for (const char c : query) {
    if (is_letter(c) && !in_word) {
      words.emplace_back();
    }
    in_word = is_letter(c);
    if (in_word) {
      words.back() += c;
    }
  }
  return words;
}

using Query = std::unique_ptr<ArticledbQuery, void (*)(ArticledbQuery*)>;
using Marker = std::unique_ptr<ArticledbQueryMarker, void (*)(ArticledbQueryMarker*)>;

void check_marks(const Query& query, ArticledbDb* db, const std::string& text) {
  const Marker marker(articledb_query_marker_new(query.get(), db), articledb_query_marker_free);
  FUZZ_CHECK(marker != nullptr);
  const auto length = static_cast<guint32>(text.size());
  ArticledbQueryRange window = {};
  const ArticledbQueryRange* ranges = nullptr;
  guint32 count = 0;
  FUZZ_CHECK(articledb_query_snippet(marker.get(), text.data(), length, length / 2, &window,
                                     &ranges, &count) == 0);
  guint32 at = window.begin;
  for (guint32 i = 0; i < count; ++i) {
    FUZZ_CHECK(at <= ranges[i].begin && ranges[i].begin < ranges[i].end);
    at = ranges[i].end;
  }
  FUZZ_CHECK(at <= window.end && window.end <= length);
}

void check_language(const FenraData& data, const char* rules, const std::string& text) {
  ArticledbQuery* parsed = nullptr;
  ArticledbQueryError error = {};
  const int status =
      articledb_query_parse(text.data(), static_cast<guint32>(text.size()),
                            articledb_rules_by_name(rules), data.lemmatizer, &parsed, &error);
  FUZZ_CHECK(status >= 0 && (status == 0) == (parsed != nullptr));
  if (parsed == nullptr) {
    FUZZ_CHECK(error.position <= text.size() && g_utf8_validate(error.reason, -1, nullptr));
    return;
  }
  const Query query(parsed, articledb_query_free);
  OstrenGenerator* const stream = articledb_query_generator_new(parsed, data.db);
  void* item = nullptr;
  guint64 last = 0;
  while (ostren_generator_next(stream, &item) == 1) {
    FUZZ_CHECK(*static_cast<const guint64*>(item) > last);
    last = *static_cast<const guint64*>(item);
  }
  FUZZ_CHECK(ostren_generator_free(stream) == 0);
  check_marks(query, data.db, text + " Etxeak eta mendiak. etxea " + text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Collection collection;
  const std::string query = query_of(data, size);
  const Strings words = words_of(query);

  OstrenGenerator* const stream = collection.data()->parse_query(query.c_str());
  FUZZ_CHECK((stream != nullptr) == !words.empty());
  if (stream != nullptr) {
    FUZZ_CHECK(ostren_generator_free(stream) == 0);  // not pulled
  }

  const std::unique_ptr<ResultIterator> results(collection.data()->lookup(query.c_str()));
  Strings found;
  while (const char* url = results->next()) {
    found.emplace_back(url);
  }
  FUZZ_CHECK(results->next() == nullptr);
  FUZZ_CHECK(found == collection.expected(words));
  for (const char* rules : {ARTICLEDB_RULES_PLAIN, ARTICLEDB_RULES_WEB}) {
    check_language(*collection.data(), rules, query);
  }
  return 0;
}
