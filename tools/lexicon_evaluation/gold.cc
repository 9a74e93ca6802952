#include "tools/lexicon_evaluation/gold.h"

#include <glib.h>

#include <algorithm>
#include <memory>
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

std::string Folded(const std::string& word) {
  struct Free {
    void operator()(char* text) const { g_free(text); }
  };
  using Text = std::unique_ptr<char, Free>;
  const Text valid(g_utf8_make_valid(word.data(), static_cast<gssize>(word.size())));
  const Text small(g_utf8_strdown(valid.get(), -1));
  const Text apart(g_utf8_normalize(small.get(), -1, G_NORMALIZE_ALL));
  std::string folded;
  for (const char* at = apart.get(); *at != 0; at = g_utf8_next_char(at)) {
    if (g_unichar_ismark(g_utf8_get_char(at)) == FALSE) {
      folded.append(at, static_cast<const char*>(g_utf8_next_char(at)));
    }
  }
  return folded;
}

}  // namespace lexicon_evaluation
