#include "tools/lexicon_compiler/grammar.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "tools/lexicon_compiler/build_error.h"

namespace lexicon_compiler {

namespace {

constexpr size_t kMostAlternatives = 5000;  // that one word's braces may stand for

std::vector<std::string> SplitAt(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  if (!text.empty() && text.back() == separator) {
    parts.emplace_back();
  }
  return parts;
}

// Cuts `text` at the first `separator` and returns what stood behind it.
bool CutAt(std::string* text, char separator, std::string* behind) {
  const size_t at = text->find(separator);
  if (at == std::string::npos) {
    return false;
  }
  *behind = text->substr(at + 1);
  text->resize(at);
  return true;
}

bool EndsWith(const std::string& word, const std::string& ending) {
  return word.size() >= ending.size() &&
         word.compare(word.size() - ending.size(), ending.size(), ending) == 0;
}

bool IsPlain(const std::string& word) {
  return std::all_of(word.begin(), word.end(),
                     [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

Branch BranchNamed(std::string name) {
  Branch branch;
  CutAt(&name, '.', &branch.strength);
  branch.category = name;
  return branch;
}

// Every string that a pattern with alternatives in braces stands for. Braces do
// not nest; false when they are not balanced or stand for too many strings.
bool ExpandBraces(const std::string& pattern, std::vector<std::string>* expanded) {
  expanded->assign(1, "");
  size_t at = 0;
  while (at < pattern.size()) {
    std::vector<std::string> pieces;
    const size_t open = pattern.find_first_of("{}", at);
    if (open == at) {
      const size_t close = pattern.find('}', at);
      if (pattern[at] == '}' || close == std::string::npos) {
        return false;
      }
      pieces = SplitAt(pattern.substr(at + 1, close - at - 1), ',');
      if (pieces.empty()) {
        return false;
      }
      at = close + 1;
    } else {
      const size_t end = std::min(open, pattern.size());
      pieces.push_back(pattern.substr(at, end - at));
      at = end;
    }
    if (expanded->size() * pieces.size() > kMostAlternatives) {
      return false;
    }
    std::vector<std::string> longer;
    for (const std::string& begin : *expanded) {
      for (const std::string& piece : pieces) {
        longer.push_back(begin + piece);
      }
    }
    *expanded = std::move(longer);
  }
  return true;
}

}  // namespace

void GrammarReader::Fail(const std::string& what) const { throw BuildError(place_ + ": " + what); }

void GrammarReader::Read(std::istream& source, const std::string& name) {
  block_.clear();
  int number = 0;
  for (std::string line; std::getline(source, line);) {
    place_ = name + ":" + std::to_string(++number);
    line.resize(std::min(line.size(), line.find('#')));
    std::istringstream stream(line);
    std::vector<std::string> fields;
    for (std::string field; stream >> field;) {
      fields.push_back(field);
    }
    if (fields.empty()) {
      continue;
    }
    if (line[0] != ' ' && line[0] != '\t') {
      Header(fields);
      continue;
    }
    for (const std::string& item : fields) {
      Item(item);
    }
  }
  if (source.bad()) {
    throw BuildError(name + ": cannot be read");
  }
}

void GrammarReader::Header(const std::vector<std::string>& fields) {
  block_ = fields[0];
  block_name_ = fields.size() > 1 ? fields[1] : "";
  const bool needs_no_name = block_ == "order" || block_ == "roots" || block_ == "lemmas";
  if (!needs_no_name && block_name_.empty()) {
    Fail("\"" + block_ + "\" needs a name behind it");
  }
  if (block_ == "class") {
    const auto [defined, is_new] = defined_.emplace(block_name_, place_);
    if (!is_new) {
      Fail("class " + block_name_ + " has been defined at " + defined->second);
    }
    grammar_->morphology.ClassNamed(block_name_);
  } else if (block_ == "select") {
    selects_[block_name_];
  } else if (block_ == "prefix") {
    prefixes_[block_name_];
  } else if (block_ == "exact") {
    grammar_->exact.push_back({block_name_, {}});
  } else if (block_ == "compound") {
    grammar_->compounds.emplace_back();
    grammar_->compounds.back().branch = BranchNamed(block_name_);
  } else if (block_ == "words") {
    words_ = Words();
    words_.branch = BranchNamed(block_name_);
    for (size_t i = 2; i < fields.size(); i++) {
      std::string field = fields[i];
      std::string value;
      if (!CutAt(&field, '=', &value)) {
        words_.suffixes = field;
      } else if (field == "lemma") {
        words_.lemma = value;
      } else if (field == "prefixes") {
        words_.prefixes = SplitAt(value, ',');
      } else {
        Fail("\"" + fields[i] + "\" should be a class, lemma=... or prefixes=...");
      }
    }
    if (words_.suffixes.empty()) {
      Fail("\"words\" needs a word class and a suffix class");
    }
  } else if (!needs_no_name) {
    Fail("\"" + block_ +
         "\" is no kind of block; there are class, select, prefix, words, order, "
         "compound, exact, roots and lemmas");
  }
}

void GrammarReader::Item(const std::string& item) {
  std::string key = item;
  std::string value;
  if (block_ == "class") {
    AddSuffix(item);
  } else if (block_ == "words") {
    AddWord(item);
  } else if (block_ == "order") {
    grammar_->order.push_back(BranchNamed(item));
  } else if (block_ == "exact") {
    grammar_->exact.back().results.push_back(item);
  } else if (block_.empty()) {
    Fail("an indented line stands in front of the first block");
  } else if (!CutAt(&key, block_ == "select" ? ':' : '=', &value) || value.empty()) {
    Fail("\"" + item + "\" should have two parts, as \"select\" wants ENDING:CLASS and \"" +
         (block_ == "select" ? "prefix" : block_) + "\" wants LETTERS=LETTERS");
  } else if (block_ == "select") {
    selects_[block_name_].rules.emplace_back(key == "*" ? "" : key,
                                             grammar_->morphology.ClassNamed(value));
  } else if (block_ == "prefix") {
    prefixes_[block_name_].rules.emplace_back(key == "*" ? "" : key, value);
  } else if (block_ == "compound") {
    AddCompoundPart(key, value);
  } else if (block_ == "roots") {
    grammar_->roots.emplace_back(key, value);
  } else {
    grammar_->lemmas[key] = value;
  }
}

// [~...|&] LETTERS|0 [=TAIL] [@BRANCH] [>CLASS], or >CLASS alone, which stands
// for all suffixes of a class that has been defined before.
void GrammarReader::AddSuffix(const std::string& item) {
  const ClassId id = grammar_->morphology.ClassNamed(block_name_);
  std::string text = item;
  Suffix suffix;
  std::string next;
  suffix.has_next = CutAt(&text, '>', &next);
  size_t at = 0;
  for (; at < text.size() && text[at] == '~'; at++) {
    suffix.drop++;
  }
  if (at < text.size() && text[at] == '&') {
    suffix.doubles = true;
    at++;
  }
  text.erase(0, at);
  std::string branch;
  if (CutAt(&text, '@', &branch)) {
    suffix.branch = BranchNamed(branch);
  }
  suffix.derives = CutAt(&text, '=', &suffix.tail);
  if (text.empty() && suffix.has_next && !suffix.derives) {
    if (defined_.count(next) == 0 || next == block_name_) {
      Fail("class " + next + " must be defined before its suffixes are taken over");
    }
    const std::vector<Suffix> included =
        grammar_->morphology.Suffixes(grammar_->morphology.ClassNamed(next));
    for (Suffix taken : included) {
      if ((suffix.drop > 0 || suffix.doubles) && (taken.drop > 0 || taken.doubles)) {
        Fail("class " + next + " changes its stem already");
      }
      taken.drop += suffix.drop;
      taken.doubles |= suffix.doubles;
      grammar_->morphology.Suffixes(id).push_back(taken);
    }
    return;
  }
  suffix.surface = text == "0" ? "" : text;
  if (text.empty() || (text != "0" && !IsPlain(text)) || !IsPlain(suffix.tail)) {
    Fail("\"" + item +
         "\" is no suffix; letters are a to z and the hyphen, and 0 is the empty one");
  }
  if (suffix.has_next) {
    suffix.next = grammar_->morphology.ClassNamed(next);
  }
  grammar_->morphology.Suffixes(id).push_back(suffix);
}

void GrammarReader::AddCompoundPart(const std::string& key, const std::string& value) {
  Compound& compound = grammar_->compounds.back();
  const std::vector<std::string> parts = SplitAt(value, ',');
  if (key == "joint" && IsPlain(value)) {
    compound.joint = value;
  } else if (key == "words" && std::all_of(parts.begin(), parts.end(), IsPlain)) {
    compound.words.insert(compound.words.end(), parts.begin(), parts.end());
  } else if (key == "letters" && value.size() <= 2 &&
             std::all_of(value.begin(), value.end(), IsDigit)) {
    compound.most_letters = std::stoul(value);
  } else if (key == "heads") {
    std::transform(parts.begin(), parts.end(), std::back_inserter(compound.heads), BranchNamed);
  } else {
    Fail("\"" + key + "=" + value + "\" should be words=, letters= (up to 99), joint= or heads=");
  }
}

// PATTERN[=LEMMA]
void GrammarReader::AddWord(const std::string& item) {
  std::string pattern = item;
  std::string lemma = words_.lemma;
  CutAt(&pattern, '=', &lemma);
  std::vector<std::string> expanded;
  if (!ExpandBraces(pattern, &expanded)) {
    Fail("\"" + item + "\": braces do not match, or stand for more than " +
         std::to_string(kMostAlternatives) + " words");
  }
  for (const std::string& word : expanded) {
    if (word.empty() || !IsPlain(word) || !IsPlain(lemma)) {
      Fail("\"" + item + "\" is no word; letters are a to z and the hyphen");
    }
    AddWordWithPrefixes(word, lemma.empty() ? word : lemma);
  }
}

void GrammarReader::AddWordWithPrefixes(const std::string& word, const std::string& lemma) {
  const ClassId suffixes = ClassFor(word);
  grammar_->morphology.Add({words_.branch, word, lemma, suffixes});
  for (const std::string& prefix : words_.prefixes) {
    grammar_->morphology.Add({words_.branch, WithPrefix(prefix, word), lemma, suffixes});
  }
}

ClassId GrammarReader::ClassFor(const std::string& word) const {
  const auto select = selects_.find(words_.suffixes);
  if (select == selects_.end()) {
    return grammar_->morphology.ClassNamed(words_.suffixes);
  }
  for (const auto& [ending, id] : select->second.rules) {
    if (EndsWith(word, ending)) {
      return id;
    }
  }
  Fail("choice " + words_.suffixes + " has no class for \"" + word + "\"");
}

std::string GrammarReader::WithPrefix(const std::string& prefix, const std::string& word) const {
  const auto rules = prefixes_.find(prefix);
  if (rules == prefixes_.end()) {
    Fail("prefix " + prefix + " has not been defined");
  }
  for (const auto& [beginning, replacement] : rules->second.rules) {
    if (word.compare(0, beginning.size(), beginning) == 0) {
      return replacement + word.substr(beginning.size());
    }
  }
  Fail("prefix " + prefix + " has no rule for \"" + word + "\"");
}

void GrammarReader::Finish() const {
  const Morphology& morphology = grammar_->morphology;
  const auto check = [&](ClassId id, const std::string& where) {
    if (defined_.count(morphology.NameOfClass(id)) == 0) {
      throw BuildError("class " + morphology.NameOfClass(id) + ", which " + where +
                       " has, is not defined");
    }
  };
  for (const Entry& entry : morphology.entries()) {
    check(entry.suffixes, "\"" + entry.stem + "\"");
  }
  for (const auto& [name, place] : defined_) {
    const ClassId id = grammar_->morphology.ClassNamed(name);
    for (const Suffix& suffix : morphology.Suffixes(id)) {
      if (suffix.has_next) {
        check(suffix.next, "class " + name);
      }
    }
  }
}

}  // namespace lexicon_compiler
