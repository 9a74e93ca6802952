#include "tools/lexicon_evaluation/stemmers.h"

#include <memory>

#ifdef FENRA_HAVE_SNOWBALL
#include <libstemmer.h>
#endif
#ifdef FENRA_HAVE_HUNSPELL
#include <hunspell/hunspell.hxx>
#endif

namespace lexicon_evaluation {

namespace {

#ifdef FENRA_HAVE_SNOWBALL
Lemmatizer Snowball() {
  const std::shared_ptr<sb_stemmer> stemmer(sb_stemmer_new("basque", "UTF_8"), sb_stemmer_delete);
  if (stemmer == nullptr) {
    return nullptr;
  }
  return [stemmer](const std::string& form) {
    const auto* letters = reinterpret_cast<const sb_symbol*>(form.data());
    const sb_symbol* stem = sb_stemmer_stem(stemmer.get(), letters, static_cast<int>(form.size()));
    const int length = sb_stemmer_length(stemmer.get());
    return Answer{true, std::string(reinterpret_cast<const char*>(stem), length)};
  };
}
#endif

#ifdef FENRA_HAVE_HUNSPELL
Lemmatizer HunspellStems(const std::string& dictionary) {
  const std::string suffixes = dictionary.substr(0, dictionary.rfind('.')) + ".aff";
  const auto hunspell = std::make_shared<Hunspell>(suffixes.c_str(), dictionary.c_str());
  return [hunspell](const std::string& form) {
    const std::vector<std::string> stems = hunspell->stem(form);
    return stems.empty() ? Answer{hunspell->spell(form), form} : Answer{true, stems.front()};
  };
}
#endif

}  // namespace

std::vector<std::pair<std::string, Lemmatizer>> OtherStemmers(const std::string& dictionary) {
  std::vector<std::pair<std::string, Lemmatizer>> stemmers;
#ifdef FENRA_HAVE_SNOWBALL
  if (Lemmatizer snowball = Snowball()) {
    stemmers.emplace_back("snowball", std::move(snowball));
  }
#endif
#ifdef FENRA_HAVE_HUNSPELL
  stemmers.emplace_back("hunspell", HunspellStems(dictionary));
#endif
  (void)dictionary;
  return stemmers;
}

}  // namespace lexicon_evaluation
