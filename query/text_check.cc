#include "query/text_check.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "query/phrase.h"
#include "store/reading/article_text.h"
#include "streams/skip.h"

namespace ostren::fenra::query {
namespace {

// Phrases that are looked for in one text at the same time.
class PhraseSearch {
 public:
  explicit PhraseSearch(const Phrases& phrases) {
    for (const std::vector<std::string>* phrase : phrases) {
      matchers_.emplace_back(*phrase);
    }
  }

  // Whether the text has all of them. False, too, for a text that the rules cannot read.
  bool finds_all(const ArticledbRules& rules, const std::string& text) {
    const std::unique_ptr<void, void (*)(void*)> tokenizer(
        rules.tokenizer_new(text.data(), static_cast<int>(text.size())), rules.tokenizer_free);
    for (PhraseMatcher& matcher : matchers_) {
      matcher.restart();
    }
    // The first `missing` have not been found yet.
    size_t missing = matchers_.size();
    const char* token = nullptr;
    int length = 0;
    while (missing > 0 &&
           rules.next_token(tokenizer.get(), &token, &length) == ARTICLEDB_TOKEN_OK) {
      for (size_t i = 0; i < missing;) {
        if (matchers_[i].take({token, static_cast<size_t>(length)})) {
          std::swap(matchers_[i], matchers_[--missing]);
        } else {
          ++i;
        }
      }
    }
    return missing == 0;
  }

  bool empty() const { return matchers_.empty(); }

 private:
  std::vector<PhraseMatcher> matchers_;
};

// An exclusion, and where its stream stands.
class Excluder {
 public:
  explicit Excluder(Exclusion exclusion)
      : stream_(std::move(exclusion.stream)), search_(exclusion.phrases) {}

  // Sets *has to whether the stream has the id, which is greater than those asked for before.
  // False when it fails.
  bool has(guint64 id, bool* has) {
    while (status_ == 1 && id_ < id) {
      void* item = nullptr;
      status_ = streams::pull_from(stream_.get(), id, &item);
      id_ = status_ == 1 ? *static_cast<const guint64*>(item) : id_;
    }
    *has = status_ == 1 && id_ == id;
    return status_ != 2;
  }

  PhraseSearch& search() { return search_; }

 private:
  Stream stream_;
  PhraseSearch search_;
  int status_ = 1;
  guint64 id_ = 0;
};

struct TextCheck {
  OstrenGenerator head = {};
  const ArticledbRules& rules;
  Stream input;
  store::TextReader reader;
  PhraseSearch wanted;
  std::vector<Excluder> excluders = {};
  guint64 id = 0;  // the element

  bool read_text(bool* is_there) {
    const int status = reader.read(id);
    *is_there = status == 0;
    return status == 0 || status == STATUS_NOT_FOUND;
  }

  // Sets *passes for the article `id`. False when something fails.
  bool check(bool* passes) {
    bool read = !wanted.empty();
    *passes = true;
    if (read && !read_text(passes)) {
      return false;
    }
    *passes = *passes && wanted.finds_all(rules, reader.text());
    for (Excluder& excluder : excluders) {
      bool has = false;
      if (!*passes) {
        break;
      }
      if (!excluder.has(id, &has)) {
        return false;
      }
      if (has && !read && !read_text(passes)) {
        return false;
      }
      read = read || has;
      *passes = *passes && !(has && excluder.search().finds_all(rules, reader.text()));
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
                                const Phrases& phrases, std::vector<Exclusion> exclusions) {
  auto* check = new TextCheck{
      {}, rules, std::move(input), store::TextReader(db), PhraseSearch(phrases), {}, 0};
  ostren_generator_init(&check->head, text_check_next, text_check_free);
  for (Exclusion& exclusion : exclusions) {
    check->excluders.emplace_back(std::move(exclusion));
  }
  return &check->head;
}

}  // namespace ostren::fenra::query
