#include "query/phrase.h"

#include <algorithm>
#include <set>

#include "query/stream.h"

namespace ostren::fenra::query {
namespace {

using LookUp = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

// The keys under which an article with the phrase is.
struct Keys {
  std::set<std::string> trigrams;
  std::set<std::string> forms;
};

Keys keys_of(const std::vector<std::string>& phrase) {
  Keys keys;
  std::vector<bool> covered(phrase.size());
  TrigramBuilder builder;
  trigram_builder_init(&builder);
  for (size_t i = 0; i < phrase.size(); ++i) {
    const char* trigram = nullptr;
    int length = 0;
    if (trigram_builder_next_trigram(&builder, phrase[i].data(), static_cast<int>(phrase[i].size()),
                                     &trigram, &length) == 1) {
      keys.trigrams.emplace(trigram, static_cast<size_t>(length));
      covered[i] = covered[i - 1] = covered[i - 2] = true;
    }
  }
  for (size_t i = 0; i < phrase.size(); ++i) {
    if (!covered[i]) {
      keys.forms.insert(phrase[i]);
    }
  }
  return keys;
}

// Cuts `stream` with the lookups of the keys. False when one of them fails.
bool cut_with(ArticledbDb* db, LookUp look_up, const std::set<std::string>& keys, Stream* stream) {
  for (const std::string& key : keys) {
    Stream found(look_up(db, key.data(), static_cast<guint32>(key.size())));
    if (found == nullptr) {
      return false;
    }
    *stream = cut(std::move(*stream), std::move(found));
  }
  return true;
}

bool all_fit_trigrams(const std::vector<std::string>& phrase) {
  return std::all_of(phrase.begin(), phrase.end(), [](const std::string& token) {
    return token.size() < TRIGRAM_BUILDER_WORD_SIZE;
  });
}

}  // namespace

PhraseMatcher::PhraseMatcher(const std::vector<std::string>& phrase)
    : phrase_(&phrase), border_(phrase.size() + 1) {
  size_t border = 0;
  for (size_t i = 1; i < phrase.size(); ++i) {
    while (border > 0 && phrase[i] != phrase[border]) {
      border = border_[border];
    }
    border += phrase[i] == phrase[border] ? 1 : 0;
    border_[i + 1] = border;
  }
}

bool PhraseMatcher::take(std::string_view token) {
  if (matched_ == phrase_->size()) {
    matched_ = border_[matched_];
  }
  while (matched_ > 0 && (*phrase_)[matched_] != token) {
    matched_ = border_[matched_];
  }
  matched_ += (*phrase_)[matched_] == token ? 1 : 0;
  return matched_ == phrase_->size();
}

OstrenGenerator* phrase_candidates(ArticledbDb* db, const std::vector<std::string>& phrase) {
  const Keys keys = keys_of(phrase);
  Stream stream;
  const bool found =
      cut_with(db, articledb_db_trigram_lookup_generator_new, keys.trigrams, &stream) &&
      cut_with(db, articledb_db_form_lookup_generator_new, keys.forms, &stream);
  return found ? stream.release() : nullptr;
}

bool is_one_key(const std::vector<std::string>& phrase) {
  return phrase.size() == 1 || (phrase.size() == TRIGRAM_BUILDER_WORDS && all_fit_trigrams(phrase));
}

bool begins_trigrams(const std::vector<std::string>& phrase) {
  return phrase.size() == TRIGRAM_BUILDER_WORDS - 1 && all_fit_trigrams(phrase);
}

OstrenGenerator* articles_with_trigrams_of(ArticledbDb* db,
                                           const std::vector<std::string>& phrase) {
  std::string beginning;
  for (const std::string& token : phrase) {
    beginning.append(token.c_str(), token.size() + 1);
  }
  return articledb_db_trigram_lookup_generator_new(db, beginning.data(),
                                                   static_cast<guint32>(beginning.size()));
}

}  // namespace ostren::fenra::query
