#include "tools/lexicon_compiler/vocabulary.h"

#include <tuple>
#include <vector>

namespace lexicon_compiler {

namespace {

bool IsTag(const std::string& symbol) { return symbol.size() > 1 && symbol[0] == '<'; }

bool IsLemmaLetter(const std::string& symbol) {
  return symbol.size() == 1 && ((symbol[0] >= 'a' && symbol[0] <= 'z') || symbol[0] == '-');
}

// Adds the forms of one kind of analysis to its branch: a stem as a chain of its
// own, the endings as a copy of the source's graph, which all stems with the same
// output left over share.
class BranchBuilder {
 public:
  explicit BranchBuilder(Transducer* branch) : branch_(branch) {}

  // Adds the forms that begin with `stem` and go on from the source's state
  // `ending`.
  void AddForms(const std::string& stem, const SourceSection& source, uint32_t ending,
                std::string output) {
    uint32_t state = 0;
    for (const char letter : stem) {
      state = branch_->Extend(state, letter, TakeFront(&output));
    }
    branch_->AddArc(state, 0, 0, EndingState(source, ending, output));
  }

 private:
  static char TakeFront(std::string* output) {
    if (output->empty()) {
      return 0;
    }
    const char front = output->front();
    output->erase(0, 1);
    return front;
  }

  // The branch's copy of the source's state, with `output` left to write.
  uint32_t EndingState(const SourceSection& source, uint32_t index, const std::string& output) {
    const auto [entry, added] = copies_.try_emplace(std::tuple(&source, index, output), 0);
    if (!added) {
      return entry->second;
    }
    const uint32_t state = branch_->AddState();
    entry->second = state;
    if (source[index].is_final) {
      branch_->states[branch_->ExtendWriting(state, output)].is_final = true;
    }
    for (const SourceArc& arc : source[index].arcs) {
      std::string left = output;
      const char lower = arc.input.empty() ? '\0' : arc.input[0];
      const char upper = lower == 0 ? '\0' : TakeFront(&left);
      branch_->AddArc(state, lower, upper, EndingState(source, arc.target, left));
    }
    return state;
  }

  Transducer* branch_;
  std::map<std::tuple<const SourceSection*, uint32_t, std::string>, uint32_t> copies_;
};

class Extractor {
 public:
  Vocabulary Extract(const std::vector<SourceSection>& sections) {
    for (const SourceSection& section : sections) {
      source_ = &section;
      WalkLemma(0, "", "");
    }
    return std::move(vocabulary_);
  }

 private:
  // Follows all arcs that spell a lemma, up to the tag of its part of speech.
  void WalkLemma(uint32_t state, const std::string& form, const std::string& lemma) {
    for (const SourceArc& arc : (*source_)[state].arcs) {
      if (IsTag(arc.output)) {
        AddWord(arc, form, lemma);
      } else if (arc.output.empty() || IsLemmaLetter(arc.output)) {
        WalkLemma(arc.target, form + arc.input, lemma + arc.output);
      }
    }
  }

  // Adds the words whose lemma ends in front of the arc `tag`.
  void AddWord(const SourceArc& tag, const std::string& form, const std::string& lemma) {
    const std::string read = form + tag.input;
    if (tag.output == kPrefixTag) {
      WalkPrefixed(tag.target, read);
    } else if (tag.output == kVerbTag) {
      WalkVerb(tag.target, read, lemma);
    } else {
      AddForms(tag.output, read, tag.target, lemma);
    }
  }

  // Follows all arcs up to the tag of the verb form.
  void WalkVerb(uint32_t state, const std::string& form, const std::string& lemma) {
    for (const SourceArc& arc : (*source_)[state].arcs) {
      if (IsTag(arc.output)) {
        AddForms(std::string(kVerbTag) + arc.output, form + arc.input, arc.target, lemma);
      } else if (arc.output.empty()) {
        WalkVerb(arc.target, form + arc.input, lemma);
      }
    }
  }

  void AddForms(const std::string& tag, const std::string& stem, uint32_t ending,
                const std::string& lemma) {
    if (lemma.empty()) {
      return;
    }
    const std::vector<Analysis> analyses = AnalysesOf(tag, lemma);
    if (analyses.empty()) {
      vocabulary_.unknown_tags.insert(tag);
    }
    for (const Analysis& analysis : analyses) {
      vocabulary_.lemmas.insert(analysis.lemma);
      const std::pair kind(analysis.rank, analysis.category);
      builders_.try_emplace(kind, &vocabulary_.branches[kind])
          .first->second.AddForms(stem, *source_, ending, analysis.lemma + kLemmaEnd);
    }
  }

  // Behind a prefix a "+" begins the word that it stands in front of, whose
  // analyses are those of the whole.
  void WalkPrefixed(uint32_t state, const std::string& form) {
    for (const SourceArc& arc : (*source_)[state].arcs) {
      if (arc.output == "+") {
        WalkLemma(arc.target, form + arc.input, "");
      }
    }
  }

  const SourceSection* source_ = nullptr;
  Vocabulary vocabulary_;
  std::map<std::pair<Rank, Category>, BranchBuilder> builders_;
};

}  // namespace

Vocabulary ExtractVocabulary(std::vector<SourceSection> sections) {
  std::vector<SourceSection> words;
  for (SourceSection& section : sections) {
    if (!section.empty() && !HasCycle(section)) {
      KeepPlainWords(&section);
      words.push_back(std::move(section));
    }
  }
  return Extractor().Extract(words);
}

}  // namespace lexicon_compiler
