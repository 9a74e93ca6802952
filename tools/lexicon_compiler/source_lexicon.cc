#include "tools/lexicon_compiler/source_lexicon.h"

#include <algorithm>
#include <charconv>
#include <istream>
#include <string_view>

#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/postorder.h"

namespace lexicon_compiler {

namespace {

constexpr uint32_t kMaxStates = 1 << 22;

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  while (!line.empty()) {
    const size_t tab = std::min(line.find('\t'), line.size());
    fields.push_back(line.substr(0, tab));
    line.remove_prefix(std::min(tab + 1, line.size()));
  }
  return fields;
}

class SectionReader {
 public:
  explicit SectionReader(std::istream& in) : in_(in) {}

  std::vector<SourceSection> Read() {
    std::vector<SourceSection> sections(1);
    std::string line;
    while (std::getline(in_, line)) {
      ++line_number_;
      if (line == "--") {
        sections.emplace_back();
      } else {
        ReadRow(line, &sections.back());
      }
    }
    return sections;
  }

 private:
  void ReadRow(std::string_view line, SourceSection* section) {
    const std::vector<std::string_view> fields = SplitFields(line);
    if (fields.size() == 2) {
      StateAt(fields[0], section);
      (*section)[Number(fields[0])].is_final = true;
    } else if (fields.size() == 5) {
      StateAt(fields[0], section);
      StateAt(fields[1], section);
      (*section)[Number(fields[0])].arcs.push_back(
          {Number(fields[1]), Symbol(fields[2]), Symbol(fields[3])});
    } else {
      Fail("has " + std::to_string(fields.size()) + " fields instead of 2 or 5");
    }
  }

  void StateAt(std::string_view field, SourceSection* section) const {
    const size_t needed = size_t{Number(field)} + 1;
    if (section->size() < needed) {
      section->resize(needed);
    }
  }

  uint32_t Number(std::string_view field) const {
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
    if (error != std::errc() || end != field.data() + field.size() || number >= kMaxStates) {
      Fail("has the state number \"" + std::string(field) + "\"");
    }
    return number;
  }

  static std::string Symbol(std::string_view field) {
    return field == "@0@" ? std::string() : std::string(field);
  }

  [[noreturn]] void Fail(const std::string& reason) const {
    throw BuildError("printed dictionary: line " + std::to_string(line_number_) + " " + reason);
  }

  std::istream& in_;
  size_t line_number_ = 0;
};

bool IsPlain(const std::string& input) {
  return input.empty() ||
         (input.size() == 1 && ((input[0] >= 'a' && input[0] <= 'z') || input[0] == '-'));
}

}  // namespace

std::vector<SourceSection> ReadSections(std::istream& printed) {
  return SectionReader(printed).Read();
}

bool HasCycle(const SourceSection& section) {
  std::vector<uint32_t> order;
  return !PostOrder(section, &order);
}

void KeepPlainWords(SourceSection* section) {
  std::vector<uint32_t> order;
  if (!PostOrder(*section, &order)) {
    throw BuildError("a section with cycles has no list of words");
  }
  std::vector<bool> live(section->size());
  for (const uint32_t index : order) {
    SourceState& state = (*section)[index];
    const auto useless = [&live](const SourceArc& arc) {
      return !IsPlain(arc.input) || !live[arc.target];
    };
    state.arcs.erase(std::remove_if(state.arcs.begin(), state.arcs.end(), useless),
                     state.arcs.end());
    live[index] = state.is_final || !state.arcs.empty();
  }
}

}  // namespace lexicon_compiler
