// The first-lemma lemmatizer.
#include "lexicon/articledb_lemmatizer.h"

#include <string_view>

#include "lexicon/first_result.h"
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

}  // namespace

void* articledb_simple_fst_lemmatizer_new(const char* path) {
  Pelko::xfst_init();
  QorLexicon* lexicon = nullptr;
  if (Pelko::open_lexicon(&lexicon, path) != Pelko::VERIFIER_NO_ERROR) {
    return nullptr;
  }
  return lexicon;
}

int articledb_simple_fst_lemmatizer_free(void* lemmatizer) {
  return lemmatizer == nullptr ? 0 : Pelko::close_lexicon(static_cast<QorLexicon*>(lemmatizer));
}

GList* articledb_simple_fst_lemmatizer_first_lemma(void* lemmatizer, const char* form, int length) {
  if (lemmatizer == nullptr) {
    return nullptr;
  }
  GList* const identity = articledb_lemmatizer_identity(nullptr, form, length);
  const char* const word = static_cast<const char*>(identity->data);
  char analysis[Pelko::RESULT_BUFFER_SIZE];
  std::string_view lemma;
  if (!Pelko::first_result(*static_cast<const QorLexicon*>(lemmatizer), word, analysis) ||
      !find_lemma(analysis, &lemma)) {
    return identity;
  }
  articledb_string_list_free(identity);
  return articledb_lemmatizer_identity(nullptr, lemma.data(), static_cast<int>(lemma.size()));
}
