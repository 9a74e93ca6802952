#include "tools/lexicon_compiler/ending_rules.h"

#include <algorithm>
#include <set>
#include <utility>

#include "lexicon/ending_key.h"

namespace lexicon_compiler {

namespace {

// Words that an end must have been seen in before it counts more than the shorter one.
constexpr double kPrior = 0.5;

// By the number of the rule. There are few behind one end of words.
using Weights = std::vector<std::pair<size_t, double>>;

void Add(size_t rule, double weight, Weights* weights) {
  const auto found = std::find_if(weights->begin(), weights->end(),
                                  [rule](const auto& entry) { return entry.first == rule; });
  if (found == weights->end()) {
    weights->emplace_back(rule, weight);
  } else {
    found->second += weight;
  }
}

bool IsName(const Entry& entry) { return entry.branch.category == "IZB"; }

// The class's suffixes, with those that follow when `deep`.
void ListSuffixes(const Morphology& morphology, ClassId id, const std::string& front, bool deep,
                  std::set<std::string>* list) {
  for (const Suffix& suffix : morphology.Suffixes(id)) {
    if (!suffix.has_next) {
      list->insert(front + suffix.surface);
    } else if (deep) {
      ListSuffixes(morphology, suffix.next, front + suffix.surface, false, list);
    }
  }
}

// How often the names of a text have each ending.
class EndingCounts {
 public:
  explicit EndingCounts(const std::vector<lexicon_evaluation::GoldForm>& text) {
    for (const lexicon_evaluation::GoldForm& word : text) {
      if (lexicon_evaluation::IsName(word.category)) {
        counts_[RuleBetween(word.form, word.lemma)] += 1;
      }
    }
  }

  double Of(const EndingRule& rule) const {
    const auto found = counts_.find(rule);
    return found == counts_.end() ? 0 : found->second;
  }

  // What each of so many endings has that could occur and does not.
  double OfUnseen(size_t endings) const {
    const auto once = std::count_if(counts_.begin(), counts_.end(),
                                    [](const auto& count) { return count.second == 1; });
    return (static_cast<double>(once) + 1) / static_cast<double>(endings + 1);
  }

 private:
  std::map<EndingRule, double> counts_;
};

class Counter {
 public:
  Counter(const Grammar& grammar, const std::vector<lexicon_evaluation::GoldForm>& text)
      : morphology_(grammar.morphology), counts_(text) {}

  void CountNames() {
    std::map<std::string, std::map<std::string, EndingRule>> forms;  // by lemma
    for (const Entry& entry : morphology_.entries()) {
      if (IsName(entry)) {
        for (const std::string& suffix : SuffixesOf(entry.suffixes)) {
          const std::string form = entry.stem + suffix;
          forms[entry.lemma].emplace(form, RuleBetween(form, entry.lemma));
        }
      }
    }
    for (const auto& [lemma, rules] : forms) {
      CountForms(rules);
    }
  }

  std::map<std::string, EndingRule> Rules() {
    std::sort(forms_.begin(), forms_.end(),
              [](const Form& a, const Form& b) { return a.reversed < b.reversed; });
    std::map<std::string, EndingRule> rules;
    Descend(forms_.begin(), forms_.end(), 0, {{kNothing, 1.0}}, kNothing, &rules);
    return rules;
  }

 private:
  struct Form {
    std::string reversed;
    size_t rule;
    double weight;
  };
  using Forms = std::vector<Form>::const_iterator;

  // The forms agree in their last `letters` letters, where `shorter` is likely and `rule`
  // stands.
  void Descend(Forms begin, Forms end, size_t letters, const Weights& shorter, size_t rule,
               std::map<std::string, EndingRule>* rules) const {
    begin = std::find_if(begin, end,
                         [letters](const Form& form) { return form.reversed.size() > letters; });
    while (letters < Pelko::MOST_END_LETTERS && begin < end) {
      const char letter = begin->reversed[letters];
      Weights seen;
      Forms next = begin;
      for (; next < end && next->reversed[letters] == letter; ++next) {
        Add(next->rule, next->weight, &seen);
      }
      const Weights own = Mixed(std::move(seen), shorter);
      const size_t likeliest = Likeliest(own, letters + 1);
      if (likeliest != rule) {
        const std::string word_end(begin->reversed, 0, letters + 1);
        rules->emplace(std::string(word_end.rbegin(), word_end.rend()), rules_[likeliest]);
      }
      Descend(begin, next, letters + 1, own, likeliest, rules);
      begin = next;
    }
  }

  // The class's own suffixes and those of two steps that the text has.
  const std::set<std::string>& SuffixesOf(ClassId id) {
    const auto [at, is_new] = suffixes_.try_emplace(id);
    if (is_new) {
      ListSuffixes(morphology_, id, "", false, &at->second);
      std::set<std::string> deep;
      ListSuffixes(morphology_, id, "", true, &deep);
      for (const std::string& suffix : deep) {
        if (counts_.Of({suffix.size(), ""}) > 0) {
          at->second.insert(suffix);
        }
      }
    }
    return at->second;
  }

  // The forms of one name, which is one word whatever forms it has.
  void CountForms(const std::map<std::string, EndingRule>& rules) {
    const double unseen = counts_.OfUnseen(rules.size());
    double all = 0;
    for (const auto& [form, rule] : rules) {
      all += std::max(counts_.Of(rule), unseen);
    }
    for (const auto& [form, rule] : rules) {
      const double weight = std::max(counts_.Of(rule), unseen) / all;
      forms_.push_back({std::string(form.rbegin(), form.rend()), NumberOf(rule), weight});
    }
  }

  size_t NumberOf(const EndingRule& rule) {
    const auto [at, is_new] = numbers_.emplace(rule, rules_.size());
    if (is_new) {
      rules_.push_back(rule);
    }
    return at->second;
  }

  static Weights Mixed(Weights mixed, const Weights& shorter) {
    for (const auto& [rule, probability] : shorter) {
      Add(rule, kPrior * probability, &mixed);
    }
    double all = 0;
    for (const auto& [rule, weight] : mixed) {
      all += weight;
    }
    for (auto& [rule, weight] : mixed) {
      weight /= all;
    }
    return mixed;
  }

  // Of the rules that take off nothing but letters that have been looked at.
  size_t Likeliest(const Weights& weights, size_t letters) const {
    std::pair<size_t, double> best = {kNothing, 0};
    for (const auto& [rule, weight] : weights) {
      if (rules_[rule].taken_off <= letters && weight > best.second) {
        best = {rule, weight};
      }
    }
    return best.first;
  }

  static constexpr size_t kNothing = 0;  // the rule that leaves the word as it is

  const Morphology& morphology_;
  const EndingCounts counts_;
  std::map<ClassId, std::set<std::string>> suffixes_;
  std::vector<EndingRule> rules_ = {EndingRule()};
  std::map<EndingRule, size_t> numbers_ = {{EndingRule(), kNothing}};
  std::vector<Form> forms_;
};

}  // namespace

EndingRule RuleBetween(const std::string& form, const std::string& lemma) {
  const size_t most = std::min(form.size(), lemma.size());
  size_t same = 0;
  while (same < most && form[same] == lemma[same]) {
    same++;
  }
  return {form.size() - same, lemma.substr(same)};
}

std::map<std::string, EndingRule> CountEndingRules(
    const Grammar& grammar, const std::vector<lexicon_evaluation::GoldForm>& text) {
  Counter counter(grammar, text);
  counter.CountNames();
  return counter.Rules();
}

std::vector<std::string> EndingsOfNames(const Grammar& grammar) {
  std::set<ClassId> classes;
  for (const Entry& entry : grammar.morphology.entries()) {
    if (IsName(entry)) {
      classes.insert(entry.suffixes);
    }
  }
  std::set<std::string> endings;
  for (const ClassId id : classes) {
    ListSuffixes(grammar.morphology, id, "", true, &endings);
  }
  endings.erase("");
  return {endings.begin(), endings.end()};
}

}  // namespace lexicon_compiler
