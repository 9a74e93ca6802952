#include "tools/lexicon_evaluation/running.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace lexicon_evaluation {

namespace {

// False for a field of another shape.
bool ParseWord(const std::string& field, GoldForm* word) {
  const size_t first = field.find(':');
  const size_t last = field.rfind(':');
  if (first == std::string::npos || field.find(':', first + 1) < last) {
    return false;
  }
  word->form = field.substr(0, first);
  word->lemma = first == last ? word->form : field.substr(first + 1, last - first - 1);
  word->category = field.substr(last + 1);
  word->weight = 1;
  return !word->form.empty() && !word->lemma.empty() && !word->category.empty();
}

bool IsSmall(const std::string& form) {
  return std::all_of(form.begin(), form.end(),
                     [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
}

}  // namespace

std::vector<GoldForm> ReadRunning(std::istream& source) {
  std::vector<GoldForm> words;
  int number = 0;
  for (std::string line; std::getline(source, line);) {
    number++;
    line.resize(std::min(line.size(), line.find('#')));
    std::istringstream fields(line);
    for (std::string field; fields >> field;) {
      GoldForm word;
      if (!ParseWord(field, &word)) {
        throw std::runtime_error("running text, line " + std::to_string(number) + ": \"" + field +
                                 "\" is neither FORM:LEMMA:CLASS nor FORM:CLASS");
      }
      words.push_back(std::move(word));
    }
  }
  return words;
}

std::vector<Selection> Selections(const std::vector<GoldForm>& words) {
  std::vector<Selection> selections = {
      {"all", words}, {"folded", words}, {"small", {}}, {"names", {}}};
  for (GoldForm& word : selections[1].words) {
    word.form = Folded(word.form);
    word.lemma = Folded(word.lemma);
  }
  for (const GoldForm& word : words) {
    if (IsName(word.category)) {
      selections[3].words.push_back(word);
    } else if (IsSmall(word.form)) {
      selections[2].words.push_back(word);
    }
  }
  return selections;
}

}  // namespace lexicon_evaluation
