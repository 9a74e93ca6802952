#include "query/text_check.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "query/phrase.h"
#include "store/reading/article_text.h"
#include "streams/skip.h"

namespace ostren::fenra::query {
namespace {

// Bytes that a character can add to a word by any rules: seven of those that Basque pages have
// (up to U+024F, U+2000 to U+2FFF, U+FE00 to U+FE3F, U+1F000 to U+1FFFF), of which punctuation
// is one or none, and 72 of any other.
int most_word_bytes(std::string_view text, size_t at) {
  const auto c = static_cast<unsigned char>(text[at]);
  if (c < 0xC0) {
    return c < 0x80 ? 1 : 0;  // counted with the byte that the character begins with
  }
  const std::string_view two = text.substr(at, 2);
  if (two == "\xE2\x80") {
    return 1;
  }
  return c <= 0xC8 || c == 0xE2 || two == "\xEF\xB8" || two == "\xF0\x9F" ? 7 : 72;
}

// Whether trigrams take all words of the text.
bool all_words_fit_trigrams(std::string_view text) {
  int length = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    length = g_ascii_isspace(text[at]) ? 0 : length + most_word_bytes(text, at);
    if (length >= TRIGRAM_BUILDER_WORD_SIZE) {
      return false;
    }
  }
  return true;
}

// The end of the text, from a blank on or all of it. It has the tokens that it has in the text.
std::string_view tail_of(std::string_view text) {
  constexpr size_t TAIL_BYTES = 512;
  size_t begin = text.size() - std::min(text.size(), TAIL_BYTES);
  while (begin > 0 && begin < text.size() && !g_ascii_isspace(text[begin])) {
    ++begin;
  }
  return begin == text.size() ? text : text.substr(begin);
}

// Whether an ascending stream has ids.
class Membership {
 public:
  explicit Membership(Stream stream) : stream_(std::move(stream)) {}

  // Sets *has to whether it has the id, which is greater than those asked for before. False when
  // it fails. Without a stream it has none.
  bool has(guint64 id, bool* has) {
    while (stream_ != nullptr && status_ == 1 && id_ < id) {
      void* item = nullptr;
      status_ = streams::pull_from(stream_.get(), id, &item);
      id_ = status_ == 1 ? *static_cast<const guint64*>(item) : id_;
    }
    *has = stream_ != nullptr && status_ == 1 && id_ == id;
    return status_ != 2;
  }

  bool has_stream() const { return stream_ != nullptr; }

 private:
  Stream stream_;
  int status_ = 1;
  guint64 id_ = 0;
};

// Phrases that are looked for in one article at the same time.
class PhraseSearch {
 public:
  explicit PhraseSearch(Phrases phrases) {
    for (Phrase& phrase : phrases) {
      searches_.push_back({PhraseMatcher(*phrase.tokens), Membership(std::move(phrase.known))});
    }
  }

  // Goes to an article. Sets *open to whether its text has to be read. False when a stream fails.
  bool begin(guint64 id, bool* open) {
    missing_ = 0;
    all_known_ = true;
    for (size_t i = 0; i < searches_.size(); ++i) {
      bool known = false;
      if (!searches_[i].known.has(id, &known)) {
        return false;
      }
      if (!known) {
        all_known_ = all_known_ && searches_[i].known.has_stream();
        std::swap(searches_[i], searches_[missing_++]);
      }
    }
    *open = missing_ > 0;
    return true;
  }

  // Whether the text has those that are missing. False, too, for one that the rules cannot read.
  bool finds_all(const ArticledbRules& rules, std::string_view text) {
    if (all_known_ && all_words_fit_trigrams(text)) {
      const std::string_view tail = tail_of(text);
      constexpr int MOST_MISSED = TRIGRAM_BUILDER_WORDS - 1;
      if (take_tokens(rules, tail) >= MOST_MISSED || tail.size() == text.size()) {
        return missing_ == 0;
      }
    }
    take_tokens(rules, text);
    return missing_ == 0;
  }

 private:
  struct Search {
    PhraseMatcher matcher;
    Membership known;
  };

  // Takes off what the tokens have. Returns how many tokens were read.
  int take_tokens(const ArticledbRules& rules, std::string_view text) {
    const std::unique_ptr<void, void (*)(void*)> tokenizer(
        rules.tokenizer_new(text.data(), static_cast<int>(text.size())), rules.tokenizer_free);
    for (Search& search : searches_) {
      search.matcher.restart();
    }
    const char* token = nullptr;
    int length = 0;
    int tokens = 0;
    while (missing_ > 0 &&
           rules.next_token(tokenizer.get(), &token, &length) == ARTICLEDB_TOKEN_OK) {
      ++tokens;
      for (size_t i = 0; i < missing_;) {
        if (searches_[i].matcher.take({token, static_cast<size_t>(length)})) {
          std::swap(searches_[i], searches_[--missing_]);
        } else {
          ++i;
        }
      }
    }
    return tokens;
  }

  std::vector<Search> searches_;
  size_t missing_ = 0;  // the first so many have not been found in the article
  bool all_known_ = true;
};

struct Excluder {
  Membership articles;
  PhraseSearch search;
};

struct TextCheck {
  OstrenGenerator head = {};
  const ArticledbRules& rules;
  Stream input;
  store::TextReader reader;
  PhraseSearch wanted;
  std::vector<Excluder> excluders = {};
  guint64 id = 0;  // the element
  bool has_read = false;

  // Sets *finds to whether the article `id` has the phrases, and *is_there unless it has been
  // replaced. False when something fails.
  bool search(PhraseSearch* phrases, bool* finds, bool* is_there) {
    bool open = false;
    if (!phrases->begin(id, &open)) {
      return false;
    }
    *finds = true;
    if (!open) {
      return true;
    }
    if (!has_read) {
      const int status = reader.read(id);
      *is_there = status == 0;
      if (!*is_there) {
        return status == STATUS_NOT_FOUND;
      }
      has_read = true;
    }
    *finds = phrases->finds_all(rules, reader.text());
    return true;
  }

  // Sets *passes for the article `id`. False when something fails.
  bool check(bool* passes) {
    has_read = false;
    bool is_there = true;
    bool finds = false;
    if (!search(&wanted, &finds, &is_there)) {
      return false;
    }
    *passes = finds && is_there;
    for (Excluder& excluder : excluders) {
      bool has = false;
      if (!*passes) {
        break;
      }
      if (!excluder.articles.has(id, &has) ||
          (has && !search(&excluder.search, &finds, &is_there))) {
        return false;
      }
      *passes = is_there && !(has && finds);
    }
    return true;
  }
};

TextCheck* from_head(OstrenGenerator* gener) { return reinterpret_cast<TextCheck*>(gener); }

int text_check_next(OstrenGenerator* gener, void** item) {
  TextCheck* const check = from_head(gener);
  try {
    for (;;) {
      void* pulled = nullptr;
      const int status = ostren_generator_next(check->input.get(), &pulled);
      if (status != 1) {
        return status;
      }
      check->id = *static_cast<const guint64*>(pulled);
      bool passes = false;
      if (!check->check(&passes)) {
        return 2;
      }
      if (passes) {
        *item = &check->id;
        return 1;
      }
    }
  } catch (const std::exception&) {
    return 2;
  }
}

int text_check_free(OstrenGenerator* gener) {
  delete from_head(gener);
  return 0;
}

}  // namespace

OstrenGenerator* text_check_new(ArticledbDb* db, const ArticledbRules& rules, Stream input,
                                Phrases phrases, std::vector<Exclusion> exclusions) {
  auto* check = new TextCheck{
      {}, rules, std::move(input), store::TextReader(db), PhraseSearch(std::move(phrases)), {},
      0,  false};
  ostren_generator_init(&check->head, text_check_next, text_check_free);
  for (Exclusion& exclusion : exclusions) {
    check->excluders.push_back(
        {Membership(std::move(exclusion.stream)), PhraseSearch(std::move(exclusion.phrases))});
  }
  return &check->head;
}

}  // namespace ostren::fenra::query
