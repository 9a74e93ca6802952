#include "tools/lexicon_compiler/morphology.h"

#include <algorithm>
#include <tuple>

#include "tools/lexicon_compiler/build_error.h"

namespace lexicon_compiler {

namespace {

// The suffixes of a class that change the stem in one way and give one category.
struct Part {
  int drop;
  bool doubles;
  Branch branch;  // what is empty is as the stem has it
  std::vector<const Suffix*> suffixes;
};

class Compiler {
 public:
  Compiler(const Morphology& morphology, AcyclicFst* fst) : morphology_(morphology), fst_(fst) {}

  std::map<Branch, StateId> Run() {
    std::map<Branch, std::vector<Path>> paths;
    for (const Entry& entry : morphology_.entries()) {
      const std::vector<Part>& parts = PartsOf(entry.suffixes);
      for (size_t i = 0; i < parts.size(); i++) {
        AddPaths(entry, i, parts[i], &paths);
      }
    }
    std::map<Branch, StateId> compiled;
    for (auto& [branch, branch_paths] : paths) {
      compiled[branch] = fst_->FromPaths(std::move(branch_paths));
    }
    return compiled;
  }

 private:
  void AddPaths(const Entry& entry, size_t index, const Part& part,
                std::map<Branch, std::vector<Path>>* paths) {
    const std::string surface = Changed(entry.stem, part, entry.suffixes);
    const std::string upper = entry.lemma + "+";
    const size_t written = std::min(surface.size(), upper.size());
    const StateId tail = Continue({entry.suffixes, index}, part.suffixes, upper.substr(written));
    if (tail == fst_->Nothing()) {
      return;
    }
    Branch branch = entry.branch;
    if (!part.branch.category.empty()) {
      branch.category = part.branch.category;
    }
    if (!part.branch.strength.empty()) {
      branch.strength = part.branch.strength;
    }
    (*paths)[branch].push_back({Align(surface, upper.substr(0, written)), tail});
  }

  // The suffixes, while `pending` is left to write.
  StateId Continue(std::pair<ClassId, size_t> id, const std::vector<const Suffix*>& suffixes,
                   const std::string& pending) {
    const auto key = std::make_tuple(id.first, id.second, pending);
    const auto known = continuations_.find(key);
    if (known != continuations_.end()) {
      return known->second;
    }
    std::vector<Path> paths;
    for (const Suffix* suffix : suffixes) {
      // Nothing is pending when the lemma has been closed before the stem's end.
      const bool derives = suffix->derives && !pending.empty();
      const std::string upper = derives ? suffix->tail + "+" : pending;
      if (!suffix->has_next) {
        paths.push_back({Align(suffix->surface, upper), fst_->Empty()});
        continue;
      }
      AddFollowers(*suffix, upper, &paths);
    }
    const StateId state = fst_->FromPaths(std::move(paths));
    continuations_.emplace(key, state);
    return state;
  }

  // The suffix with those of its next class behind it.
  void AddFollowers(const Suffix& suffix, const std::string& upper, std::vector<Path>* paths) {
    if (!open_.insert(suffix.next).second) {
      throw BuildError("class " + morphology_.NameOfClass(suffix.next) + " follows itself");
    }
    const std::vector<Part>& parts = PartsOf(suffix.next);
    for (size_t i = 0; i < parts.size(); i++) {
      const std::string surface = Changed(suffix.surface, parts[i], suffix.next);
      const size_t written = std::min(surface.size(), upper.size());
      paths->push_back({Align(surface, upper.substr(0, written)),
                        Continue({suffix.next, i}, parts[i].suffixes, upper.substr(written))});
    }
    open_.erase(suffix.next);
  }

  // The letters as the suffixes of the part want them in front.
  std::string Changed(std::string letters, const Part& part, ClassId id) const {
    const auto drop = static_cast<size_t>(part.drop);
    if (letters.size() < drop || (part.doubles && letters.size() == drop)) {
      throw BuildError("class " + morphology_.NameOfClass(id) + " changes the end of \"" + letters +
                       "\", which is too short");
    }
    letters.resize(letters.size() - drop);
    if (part.doubles) {
      letters.push_back(letters.back());
    }
    return letters;
  }

  const std::vector<Part>& PartsOf(ClassId id) {
    const auto known = parts_.find(id);
    if (known != parts_.end()) {
      return known->second;
    }
    std::map<std::tuple<int, bool, Branch>, std::vector<const Suffix*>> groups;
    for (const Suffix& suffix : morphology_.Suffixes(id)) {
      groups[{suffix.drop, suffix.doubles, suffix.branch}].push_back(&suffix);
    }
    std::vector<Part>& parts = parts_[id];
    for (auto& [key, suffixes] : groups) {
      parts.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key), std::move(suffixes)});
    }
    return parts;
  }

  const Morphology& morphology_;
  AcyclicFst* fst_;
  std::map<ClassId, std::vector<Part>> parts_;
  std::map<std::tuple<ClassId, size_t, std::string>, StateId> continuations_;
  std::set<ClassId> open_;
};

}  // namespace

std::string NameOf(const Branch& branch) {
  return branch.strength.empty() ? branch.category : branch.category + "." + branch.strength;
}

ClassId Morphology::ClassNamed(const std::string& name) {
  const auto [it, is_new] = by_name_.emplace(name, static_cast<ClassId>(classes_.size()));
  if (is_new) {
    names_.push_back(name);
    classes_.emplace_back();
  }
  return it->second;
}

std::map<Branch, StateId> Morphology::Compile(AcyclicFst* fst) const {
  return Compiler(*this, fst).Run();
}

}  // namespace lexicon_compiler
