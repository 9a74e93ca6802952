#include "query/word.h"

#include <glib.h>

#include <algorithm>
#include <memory>

#include "base/handles.h"
#include "query/stream.h"

namespace ostren::fenra::query {
namespace {

bool has_letter(std::string_view word) {
  return std::any_of(word.begin(), word.end(), [](char byte) {
    return g_ascii_isalpha(byte) || (static_cast<unsigned char>(byte) & 0x80) != 0;
  });
}

Stream lemma_stream(ArticledbDb* db, const Word& word) {
  return Stream(articledb_db_lemma_lookup_generator_new(db, word.lemma.data(),
                                                        static_cast<guint32>(word.lemma.size())));
}

}  // namespace

// Calls `visit(form, is_part)`.
template <typename Visit>
bool WordReader::visit_tokens(std::string_view text, Visit visit) const {
  const std::unique_ptr<void, void (*)(void*)> tokenizer(
      rules_.tokenizer_new(text.data(), static_cast<int>(text.size())), rules_.tokenizer_free);
  const char* token = nullptr;
  int length = 0;
  int status;
  while ((status = rules_.next_token(tokenizer.get(), &token, &length)) == ARTICLEDB_TOKEN_OK) {
    visit(std::string(token, static_cast<size_t>(length)), rules_.is_part(tokenizer.get()) != 0);
  }
  return status == ARTICLEDB_TOKEN_END;
}

bool WordReader::read(std::string_view text, std::vector<Word>* words) const {
  words->clear();
  return visit_tokens(text, [&](std::string form, bool is_part) {
    std::vector<Word>* siblings = is_part ? &words->back().parts : words;
    const auto is_form = [&form](const Word& word) { return word.form == form; };
    if (is_part && (!has_letter(words->back().form) ||
                    std::any_of(siblings->begin(), siblings->end(), is_form))) {
      return;
    }
    std::string lemma = lemma_of(form);
    siblings->push_back({std::move(form), std::move(lemma), {}});
  });
}

bool WordReader::read_tokens(std::string_view text, std::vector<std::string>* tokens) const {
  tokens->clear();
  return visit_tokens(text, [&](std::string form, bool) { tokens->push_back(std::move(form)); });
}

std::string WordReader::lemma_of(const std::string& form) const {
  const std::unique_ptr<GList, Releaser<articledb_string_list_free>> lemmas(
      rules_.first_lemma(lemmatizer_, form.data(), static_cast<int>(form.size())));
  return lemmas == nullptr ? form : static_cast<const char*>(lemmas->data);
}

OstrenGenerator* word_stream(ArticledbDb* db, const Word& word) {
  Stream whole = lemma_stream(db, word);
  Stream parts;
  for (const Word& part : word.parts) {
    Stream stream = lemma_stream(db, part);
    if (stream == nullptr) {
      return nullptr;
    }
    parts = cut(std::move(parts), std::move(stream));
  }
  return whole == nullptr ? nullptr : united(std::move(whole), std::move(parts)).release();
}

}  // namespace ostren::fenra::query
