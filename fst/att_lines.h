// The lines of AT&T text.
#ifndef FENRA_FST_ATT_LINES_H
#define FENRA_FST_ATT_LINES_H

#include <cstddef>
#include <cstdint>

namespace fenra_fst {

// Exactly four numbers: an arc.
bool is_edge_line(const char* line, size_t line_length);

// A decimal number and the text it was read from. Values past every limit of the
// format are cut to kHuge.
struct Number {
  static constexpr uint64_t kHuge = uint64_t{1} << 40;
  const char* digits;
  size_t length;
  uint64_t value;
};

// The number at the start of `text`, of length 0 when there is none.
Number read_number(const char* text);

struct EdgeLine {
  Number source, target, upper, lower;
};

EdgeLine read_edge_line(const char* line);

// What the data lines at one place of the text mean.
enum class Section { kEdges, kFinals, kSymbols };

// Walks the data lines of a text: those that are neither blank nor comments.
class DataLines {
 public:
  explicit DataLines(const char* text) : line_(text) {}

  // Moves to the next data line; false when there is none.
  bool next();

  const char* line() const { return line_; }
  size_t length() const { return length_; }
  // Counted from 1, skipped lines included; after the last data line, that of the
  // end of the text.
  size_t number() const { return number_; }
  Section section() const { return section_; }

 private:
  const char* line_;
  size_t length_ = 0;
  size_t number_ = 1;
  Section section_ = Section::kEdges;
};

}  // namespace fenra_fst

#endif  // FENRA_FST_ATT_LINES_H
