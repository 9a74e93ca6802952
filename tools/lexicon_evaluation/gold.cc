#include "tools/lexicon_evaluation/gold.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>

namespace lexicon_evaluation {

namespace {

// FORM or FORM*WEIGHT.
bool ParseForm(const std::string& field, GoldForm* form) {
  const size_t star = field.find('*');
  form->form = field.substr(0, star);
  form->weight = 1;
  if (star != std::string::npos) {
    const std::string digits = field.substr(star + 1);
    if (digits.empty() || digits.size() > 6 ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
      return false;
    }
    form->weight = std::stoi(digits);
  }
  return !form->form.empty() && form->weight > 0;
}

}  // namespace

std::vector<GoldForm> ReadGold(std::istream& source) {
  std::vector<GoldForm> forms;
  int number = 0;
  for (std::string line; std::getline(source, line);) {
    number++;
    line.resize(std::min(line.size(), line.find('#')));
    std::istringstream fields(line);
    GoldForm form;
    if (!(fields >> form.category)) {
      continue;
    }
    fields >> form.lemma;
    const size_t before = forms.size();
    for (std::string field; fields >> field;) {
      if (!ParseForm(field, &form)) {
        throw std::runtime_error("gold file, line " + std::to_string(number) + ": \"" + field +
                                 "\" is neither FORM nor FORM*WEIGHT");
      }
      forms.push_back(form);
    }
    if (forms.size() == before) {
      throw std::runtime_error("gold file, line " + std::to_string(number) + ": no form");
    }
  }
  return forms;
}

bool IsName(const std::string& category) {
  return category == "IZB" || category == "SIG" || category == "ATZ";
}

bool IsContent(const std::string& category) {
  static const std::set<std::string>& content =
      *new std::set<std::string>{"IZE", "ADJ", "ADB", "ADI", "ADT"};
  return content.count(category) > 0 || IsName(category);
}

}  // namespace lexicon_evaluation
