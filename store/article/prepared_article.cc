#include "store/article/prepared_article.h"

#include <cstring>
#include <stdexcept>
#include <string_view>

#include "store/layout/stored_key.h"

namespace ostren::fenra::store {
namespace {

struct StringListReleaser {
  void operator()(GList* list) const { articledb_string_list_free(list); }
};

// Takes an article's tokens in.
class WordTaker {
 public:
  WordTaker(PreparedArticle* article, const WordSource& source)
      : article_(*article), source_(source) {
    trigram_builder_init(&builder_);
  }

  // Returns what the token source has ended with.
  int take_all() {
    const char* token = nullptr;
    int length = 0;
    int status;
    while ((status = source_.next_token(source_.tokenizer, &token, &length)) ==
           ARTICLEDB_TOKEN_OK) {
      if (length < 0) {
        throw std::length_error("token");
      }
      take({token, static_cast<size_t>(length)});
    }
    return status;
  }

 private:
  void take(std::string_view token) {
    const StoredKey stored(token);
    const guint32 number = article_.words.number(stored.bytes());
    if (number >= is_form_.size()) {
      is_form_.resize(number + 1, false);
    }
    if (!is_form_[number]) {
      is_form_[number] = true;
      article_.forms.push_back(number);
      take_lemmas(token, number);
    }
    take_trigram(token, number);
  }

  void take_lemmas(std::string_view token, guint32 number) {
    const std::unique_ptr<GList, StringListReleaser> lemmas(
        source_.lemmatize(source_.lemmatizer, token.data(), static_cast<int>(token.size())));
    for (const GList* lemma = lemmas.get(); lemma != nullptr; lemma = lemma->next) {
      const StoredKey stored(static_cast<const char*>(lemma->data));
      const guint32 lemma_number = article_.words.number(stored.bytes());
      article_.lemmas.push_back({lemma_number, number});
    }
  }

  // The builder says when there is a trigram; its words are known by their numbers. A
  // word ends there at its first zero byte.
  void take_trigram(std::string_view token, guint32 number) {
    const char* trigram = nullptr;
    int trigram_length = 0;
    const int built = trigram_builder_next_trigram(
        &builder_, token.data(), static_cast<int>(token.size()), &trigram, &trigram_length);
    last_[0] = last_[1];
    last_[1] = last_[2];
    const size_t end = strnlen(token.data(), token.size());
    last_[2] = end == token.size() ? number : article_.words.number(token.substr(0, end));
    if (built != 0) {
      article_.trigrams.push_back({{last_[0], last_[1], last_[2]}});
    }
  }

  PreparedArticle& article_;
  const WordSource source_;
  TrigramBuilder builder_;
  guint32 last_[TRIGRAM_BUILDER_WORDS] = {};  // the last words, the newest at the end
  std::vector<bool> is_form_;                 // by number
};

}  // namespace

int prepare_article(GHashTable* metadata, const WordSource& source,
                    std::unique_ptr<PreparedArticle>* prepared) {
  const Article read = article_read(metadata);
  if (!read.complete()) {
    return STATUS_MISSING_METADATA;
  }
  auto article = std::make_unique<PreparedArticle>();
  const int ret = build_text_record(read.txt, &article->text_record);
  if (ret != 0) {
    return ret;
  }
  // It was allocated for the worst case.
  auto* const bytes = static_cast<char*>(
      g_try_realloc(article->text_record.bytes.get(), article->text_record.length));
  if (bytes != nullptr) {
    static_cast<void>(article->text_record.bytes.release());
    article->text_record.bytes.reset(bytes);
  }
  article->url_key = StoredKey({read.url.bytes, read.url.length}).bytes();
  article->source_key = StoredKey({read.source.bytes, read.source.length}).bytes();
  article->date = read.date_number();
  const std::unique_ptr<char, GlibReleaser> url_record(
      articledb_pack_url_with_metadata(read.url.bytes, metadata));
  article->url_record = url_record.get();
  const int status = WordTaker(article.get(), source).take_all();
  *prepared = std::move(article);
  return status == ARTICLEDB_TOKEN_END ? 0 : status;
}

}  // namespace ostren::fenra::store
