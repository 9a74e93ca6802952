// Forms as lemmatizers are given them, and lemmas as they hand them out.
#ifndef FENRA_LEXICON_FORMS_H
#define FENRA_LEXICON_FORMS_H

#include <cstring>
#include <string_view>

#include "lexicon/articledb_lemmatizer.h"

namespace Pelko {

// The form as far as it counts: up to `length` bytes or the first zero byte.
inline std::string_view counted_bytes(const char* form, int length) {
  return form == nullptr || length <= 0
             ? std::string_view()
             : std::string_view(form, strnlen(form, static_cast<size_t>(length)));
}

// A list of one.
inline GList* list_of(std::string_view lemma) {
  return articledb_lemmatizer_identity(nullptr, lemma.data(), static_cast<int>(lemma.size()));
}

}  // namespace Pelko

#endif  // FENRA_LEXICON_FORMS_H
