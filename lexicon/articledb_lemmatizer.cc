// The first-lemma lemmatizer.
#include "lexicon/articledb_lemmatizer.h"

#include <new>
#include <string_view>

#include "lexicon/first_result.h"
#include "lexicon/forms.h"
#include "lexicon/lemma_memory.h"
#include "lexicon/ostren_ffst.h"

namespace {

// Finds the lemma in an analysis CATEGORY "/" LEMMA "+" TAGS: what stands between
// the first "/" and the first "+". False when one of them is missing or the "+"
// comes first, as it does in analyses of forms with a particle in front.
bool find_lemma(std::string_view analysis, std::string_view* lemma) {
  const size_t slash = analysis.find('/');
  const size_t plus = analysis.find('+');
  if (slash == std::string_view::npos || plus == std::string_view::npos || plus < slash) {
    return false;
  }
  *lemma = analysis.substr(slash + 1, plus - slash - 1);
  return true;
}

// The first lemma as a list of one, from the transducer.
GList* search(const QorLexicon& lexicon, std::string_view form) {
  GList* const identity = Pelko::list_of(form);
  const char* const word = static_cast<const char*>(identity->data);
  char analysis[Pelko::RESULT_BUFFER_SIZE];
  std::string_view lemma;
  if (!Pelko::first_result(lexicon, word, analysis) || !find_lemma(analysis, &lemma)) {
    return identity;
  }
  articledb_string_list_free(identity);
  return Pelko::list_of(lemma);
}

}  // namespace

void* articledb_simple_fst_lemmatizer_new(const char* path) {
  Pelko::xfst_init();
  QorLexicon* lexicon = nullptr;
  if (Pelko::open_lexicon(&lexicon, path) != Pelko::VERIFIER_NO_ERROR) {
    return nullptr;
  }
  // Without room for it, every form is searched for.
  lexicon->memory = new (std::nothrow) Pelko::LemmaMemory;
  return lexicon;
}

int articledb_simple_fst_lemmatizer_free(void* lemmatizer) {
  return lemmatizer == nullptr ? 0 : Pelko::close_lexicon(static_cast<QorLexicon*>(lemmatizer));
}

GList* articledb_simple_fst_lemmatizer_first_lemma(void* lemmatizer, const char* form, int length) {
  if (lemmatizer == nullptr) {
    return nullptr;
  }
  const QorLexicon& lexicon = *static_cast<const QorLexicon*>(lemmatizer);
  const std::string_view word = Pelko::counted_bytes(form, length);
  if (lexicon.memory == nullptr) {
    return search(lexicon, word);
  }
  GList* lemmas = lexicon.memory->find(Pelko::LemmaMemory::PLAIN, word);
  if (lemmas == nullptr) {
    lemmas = search(lexicon, word);
    lexicon.memory->keep(Pelko::LemmaMemory::PLAIN, word, static_cast<const char*>(lemmas->data));
  }
  return lemmas;
}
