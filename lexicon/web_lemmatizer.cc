#include "lexicon/web_lemmatizer.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "lexicon/ending_key.h"
#include "lexicon/first_result.h"
#include "lexicon/forms.h"
#include "lexicon/lemma_memory.h"
#include "lexicon/ostren_ffst.h"

namespace {

// What is left of a word without its ending has so many letters at least.
constexpr size_t FEWEST_LETTERS = 2;
// Endings of numbers too: 5k and 4a are no forms of 5 and 4.
constexpr size_t FEWEST_LETTERS_BEHIND_DIGITS = 2;
// The class of stems that the lexicon guesses by itself; here they are guessed better.
constexpr std::string_view GUESSED = "ASM/";

bool is_letter(char c) { return c >= 'a' && c <= 'z'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

class Words {
 public:
  explicit Words(const QorLexicon& lexicon) : lexicon_(lexicon) {}

  std::string lemma(const std::string& form) const {
    const size_t front = form.size() - last_letters(form);
    if (front == 0) {
      return lemma_of_letters(form);
    }
    if (front == form.size()) {
      return form;
    }
    const std::string letters = form.substr(front);
    const char joint = form[front - 1];
    if (joint == '-' || joint == '\'') {
      return lemma_behind_joint(form, form.substr(0, front), letters);
    }
    const bool foreign = (joint & 0x80) != 0;
    const bool number = is_digit(joint) && letters.size() >= FEWEST_LETTERS_BEHIND_DIGITS;
    return (foreign || number) && is_ending(letters) ? form.substr(0, front) : form;
  }

 private:
  static size_t last_letters(const std::string& form) {
    return static_cast<size_t>(std::find_if_not(form.rbegin(), form.rend(), is_letter) -
                               form.rbegin());
  }

  // pdf-aren, eremu-izenak. `front` is the form up to the joint.
  std::string lemma_behind_joint(const std::string& form, const std::string& front,
                                 const std::string& letters) const {
    const std::optional<std::string> known = listed(form);
    if (is_ending(letters) && !(known && is_headword(letters))) {
      const std::string stem = front.substr(0, front.size() - 1);
      return last_letters(stem) == stem.size() ? lemma_of_letters(stem) : stem;
    }
    return known ? *known : front + lemma_of_letters(letters);
  }

  std::string lemma_of_letters(const std::string& word) const {
    const std::optional<std::string> known = listed(word);
    return known ? *known : guess(word);
  }

  // The lemma that the lexicon has.
  std::optional<std::string> listed(const std::string& word) const {
    char result[Pelko::RESULT_BUFFER_SIZE];
    if (!Pelko::first_result(lexicon_, word.c_str(), result)) {
      return std::nullopt;
    }
    const std::string_view analysis = result;
    const size_t slash = analysis.find('/');
    if (slash == std::string_view::npos || analysis.substr(0, slash + 1) == GUESSED) {
      return std::nullopt;
    }
    const std::string_view lemma = analysis.substr(slash + 1);
    return std::string(lemma.substr(0, lemma.find('+')));
  }

  // Whether the letters are a word that no ending has been put to, such as "era".
  bool is_headword(const std::string& letters) const {
    return letters.size() > FEWEST_LETTERS && listed(letters) == letters;
  }

  bool is_ending(const std::string& letters) const {
    char unused[Pelko::RESULT_BUFFER_SIZE];
    size_t read = 0;
    return letters.size() <= Pelko::MOST_ENDING_LETTERS &&
           Pelko::result_of_key(lexicon_, Pelko::ending_key("-" + letters).c_str(), unused, &read);
  }

  // By the rule for the longest end of the word that has one.
  std::string guess(const std::string& word) const {
    const size_t longest = std::min(word.size(), Pelko::MOST_END_LETTERS);
    std::string key = Pelko::ending_key(std::string_view(word).substr(word.size() - longest));
    while (key.size() > 1) {
      char rule[Pelko::RESULT_BUFFER_SIZE];
      size_t read = 0;
      if (Pelko::result_of_key(lexicon_, key.c_str(), rule, &read)) {
        char* put_on = nullptr;
        const size_t taken_off = std::strtoul(rule, &put_on, 10);
        if (taken_off + FEWEST_LETTERS <= word.size() && *put_on == '/') {
          const std::string_view letters = put_on + 1;
          return word.substr(0, word.size() - taken_off) +
                 std::string(letters.substr(0, letters.find('+')));
        }
      }
      // The key of a shorter end is the beginning of that of a longer one.
      key.resize(std::min(read, key.size() - 1));
    }
    return word;
  }

  const QorLexicon& lexicon_;
};

// As a list of one; the form itself when there is no memory for more.
GList* lemmas_of(const QorLexicon& lexicon, std::string_view word) {
  try {
    return Pelko::list_of(Words(lexicon).lemma(std::string(word)));
  } catch (const std::bad_alloc&) {
    return Pelko::list_of(word);
  }
}

}  // namespace

GList* articledb_web_lemmatizer_first_lemma(void* lemmatizer, const char* form, int length) {
  if (lemmatizer == nullptr) {
    return nullptr;
  }
  const QorLexicon& lexicon = *static_cast<const QorLexicon*>(lemmatizer);
  const std::string_view word = Pelko::counted_bytes(form, length);
  GList* lemmas = nullptr;
  if (lexicon.memory != nullptr) {
    lemmas = lexicon.memory->find(Pelko::LemmaMemory::WEB, word);
  }
  if (lemmas == nullptr) {
    lemmas = lemmas_of(lexicon, word);
    if (lexicon.memory != nullptr) {
      lexicon.memory->keep(Pelko::LemmaMemory::WEB, word, static_cast<const char*>(lemmas->data));
    }
  }
  return lemmas;
}
