#include "fst/att_lines.h"

#include <algorithm>
#include <cstring>

namespace fenra_fst {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// True when the line holds exactly n numbers: runs of digits with blanks between
// them. A byte that touches a number, or a '#' after a blank, ends the count.
bool is_n_number_line(const char* line, size_t line_length, int n) {
  const char* const end = line + line_length;
  int count = 0;
  while (line != end) {
    if (is_blank(*line)) {
      ++line;
    } else if (is_digit(*line)) {
      ++count;
      line = std::find_if_not(line, end, is_digit);
      if (line != end && !is_blank(*line)) {
        break;
      }
    } else if (*line == '#') {
      break;
    } else {
      return false;
    }
  }
  return count == n;
}

bool is_final_line(const char* line, size_t line_length) {
  return is_n_number_line(line, line_length, 1);
}

}  // namespace

bool is_edge_line(const char* line, size_t line_length) {
  return is_n_number_line(line, line_length, 4);
}

Number read_number(const char* text) {
  Number number{text, 0, 0};
  for (; is_digit(*text); ++text) {
    number.value = std::min(number.value * 10 + static_cast<uint64_t>(*text - '0'), Number::kHuge);
  }
  number.length = static_cast<size_t>(text - number.digits);
  return number;
}

EdgeLine read_edge_line(const char* line) {
  EdgeLine edge = {};
  for (Number* number : {&edge.source, &edge.target, &edge.upper, &edge.lower}) {
    while (is_blank(*line)) {
      ++line;
    }
    *number = read_number(line);
    line += number->length;
  }
  return edge;
}

bool DataLines::next() {
  line_ += length_;
  length_ = 0;
  for (;;) {
    for (; is_blank(*line_); ++line_) {
      number_ += *line_ == '\n' ? 1 : 0;
    }
    if (*line_ != '#') {
      break;
    }
    line_ += std::strcspn(line_, "\n");
  }
  length_ = std::strcspn(line_, "\n");
  if (section_ != Section::kSymbols) {
    const bool final_line = is_final_line(line_, length_);
    if (section_ == Section::kEdges) {
      section_ = final_line ? Section::kFinals : Section::kEdges;
    } else if (!final_line) {
      section_ = Section::kSymbols;
    }
  }
  return length_ > 0;
}

}  // namespace fenra_fst
