#include "store/article/article_terms.h"

#include <cerrno>
#include <cstring>

#include "base/handles.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {
namespace {

using StringList = std::unique_ptr<GList, Releaser<articledb_string_list_free>>;

// About a megabyte of log.
constexpr guint32 PORTION_TOKENS = 4096;
constexpr size_t PORTION_BYTES = size_t{1} << 20;

// What is remembered of the earlier portions of an article.
constexpr size_t REMEMBERED_BYTES = size_t{4} << 20;

}  // namespace

int ArticleTerms::take(const WordSource& source, Portion portion) {
  while (portion == Portion::WHOLE || !is_full()) {
    const char* token = nullptr;
    int length = 0;
    const int status = source.next_token(source.tokenizer, &token, &length);
    if (status != ARTICLEDB_TOKEN_OK) {
      return status;
    }
    if (length < 0) {
      return EINVAL;
    }
    ++tokens_;
    ++portion_tokens_;
    take_token({token, static_cast<size_t>(length)}, source);
  }
  return ARTICLEDB_TOKEN_OK;
}

bool ArticleTerms::is_full() const {
  return portion_tokens_ >= PORTION_TOKENS || bytes_ >= PORTION_BYTES;
}

void ArticleTerms::take_token(std::string_view token, const WordSource& source) {
  const guint32 number = strings_.number(StoredKey(token).bytes());
  const bool is_new = take_form(number);
  take_trigram(token, number);
  if (is_new || source.asking == WordSource::Asking::EVERY_TOKEN) {
    take_lemmas(token, number, source);
  }
}

void ArticleTerms::add(Kind kind, size_t place, size_t bytes) {
  terms_.push_back({kind, static_cast<guint32>(place)});
  bytes_ += bytes;
}

// Tells whether the form is new.
bool ArticleTerms::take_form(guint32 number) {
  if (number >= is_form_.size()) {
    is_form_.resize(size_t{number} + 1, false);
  }
  if (is_form_[number]) {
    return false;
  }
  is_form_[number] = true;
  forms_.push_back(number);
  add(Kind::FORM, forms_.size() - 1, strings_[number].size());
  return true;
}

// The builder says when there is a trigram; its words are known by their numbers. A word ends
// there at its first zero byte.
void ArticleTerms::take_trigram(std::string_view token, guint32 number) {
  const char* trigram = nullptr;
  int length = 0;
  const bool built =
      trigram_builder_next_trigram(&trigram_builder_, token.data(), static_cast<int>(token.size()),
                                   &trigram, &length) != 0;
  const size_t end = token.empty() ? 0 : strnlen(token.data(), token.size());
  if (end != token.size()) {
    plain_ = false;
    number = strings_.number(token.substr(0, end));
  }
  if (built && !in_run_) {
    sequence_.insert(sequence_.end(), {BREAK, last_words_[0], last_words_[1]});
  }
  if (built) {
    sequence_.push_back(number);
    add(Kind::TRIGRAM, sequence_.size() - TRIGRAM_BUILDER_WORDS, static_cast<size_t>(length));
  }
  in_run_ = built;
  last_words_[0] = last_words_[1];
  last_words_[1] = number;
}

void ArticleTerms::take_lemmas(std::string_view token, guint32 number, const WordSource& source) {
  const StringList lemmas(
      source.lemmatize(source.lemmatizer, token.data(), static_cast<int>(token.size())));
  for (const GList* lemma = lemmas.get(); lemma != nullptr; lemma = lemma->next) {
    const StoredKey stored(static_cast<const char*>(lemma->data));
    if (lemmas_.insert({strings_.number(stored.bytes()), number})) {
      add(Kind::LEMMA, lemmas_.size() - 1, stored.bytes().size() + strings_[number].size());
    }
  }
}

std::string ArticleTerms::trigram(guint32 place) const {
  std::string trigram;
  for (guint32 i = place; i < place + TRIGRAM_BUILDER_WORDS; ++i) {
    trigram.append(strings_[sequence_[i]]).push_back('\0');
  }
  return trigram;
}

void ArticleTerms::next_portion() {
  plain_ = false;
  forms_.clear();
  sequence_.clear();
  lemmas_.clear();
  terms_.clear();
  bytes_ = 0;
  portion_tokens_ = 0;
  in_run_ = false;
  if (strings_.bytes() > REMEMBERED_BYTES && tokens_ != 0) {
    const std::string older(strings_[last_words_[0]]);
    const std::string newer(strings_[last_words_[1]]);
    strings_.clear();
    is_form_.clear();
    last_words_[0] = strings_.number(older);
    last_words_[1] = strings_.number(newer);
  }
}

}  // namespace ostren::fenra::store
