#include "query/snippet.h"

#include <algorithm>
#include <array>

namespace ostren::fenra::query {
namespace {

bool is_blank(char c) { return g_ascii_isspace(c); }

// How many matches of each term a row of matches has.
class TermCounts {
 public:
  void add(TermSet terms) { change(terms, 1); }
  void remove(TermSet terms) { change(terms, -1); }

  int different() const { return different_; }

  // Whether there would be as many different ones without these.
  bool spares(TermSet terms) const {
    for (TermSet rest = terms; rest != 0; rest &= rest - 1) {
      if (counts_[static_cast<size_t>(__builtin_ctzll(rest))] == 1) {
        return false;
      }
    }
    return true;
  }

 private:
  void change(TermSet terms, int by) {
    for (TermSet rest = terms; rest != 0; rest &= rest - 1) {
      int& count = counts_[static_cast<size_t>(__builtin_ctzll(rest))];
      different_ += (count == 0 ? 1 : 0) - (count + by == 0 ? 1 : 0);
      count += by;
    }
  }

  std::array<int, ARTICLEDB_QUERY_MOST_WORDS> counts_ = {};
  int different_ = 0;
};

// The shortest row of matches of at most `most` bytes that has the most different terms, the
// first of these. One match is always such a row.
ArticledbQueryRange best_row(const std::vector<Match>& matches, guint32 most) {
  ArticledbQueryRange best = {matches.front().begin, matches.front().end};
  int most_different = 0;
  TermCounts counts;
  size_t first = 0;
  for (const Match& last : matches) {
    counts.add(last.terms);
    while (matches[first].begin != last.begin &&
           (last.end - matches[first].begin > most || counts.spares(matches[first].terms))) {
      counts.remove(matches[first++].terms);
    }
    const ArticledbQueryRange row = {matches[first].begin, last.end};
    if (counts.different() > most_different ||
        (counts.different() == most_different && row.end - row.begin < best.end - best.begin)) {
      most_different = counts.different();
      best = row;
    }
  }
  return best;
}

// Where a sentence, or a line, may begin: behind blanks, which a full stop or a line feed is
// before.
bool begins_sentence(std::string_view text, size_t at) {
  if (at == 0) {
    return true;
  }
  if (!is_blank(text[at - 1]) || (at < text.size() && is_blank(text[at]))) {
    return false;
  }
  size_t before = at;
  while (before > 0 && is_blank(text[before - 1])) {
    if (text[--before] == '\n') {
      return true;
    }
  }
  return before == 0 || text[before - 1] == '.' || text[before - 1] == '!' ||
         text[before - 1] == '?';
}

bool begins_word(std::string_view text, size_t at) {
  return at == 0 || (is_blank(text[at - 1]) && (at == text.size() || !is_blank(text[at])));
}

bool inside_character(std::string_view text, size_t at) {
  return at < text.size() && (text[at] & 0xC0) == 0x80;
}

// The place from `least` up to `most` that is best to begin at: where the sentence of `most`
// begins, or else the first word.
size_t good_beginning(std::string_view text, size_t least, size_t most) {
  for (size_t at = most; at > least; --at) {
    if (begins_sentence(text, at)) {
      return at;
    }
  }
  for (size_t at = least; at < most; ++at) {
    if (begins_word(text, at)) {
      return at;
    }
  }
  return most;
}

// The place from `least` up to `most` that is best to end at: behind the last sentence, or else
// behind the last word.
size_t good_end(std::string_view text, size_t least, size_t most) {
  size_t behind_word = 0;
  for (size_t at = most; at > 0 && at >= least; --at) {
    if (is_blank(text[at - 1]) || (at < text.size() && !is_blank(text[at]))) {
      continue;
    }
    const char last = text[at - 1];
    if (last == '.' || last == '!' || last == '?' || at == text.size()) {
      return at;
    }
    behind_word = behind_word == 0 ? at : behind_word;
  }
  if (behind_word != 0) {
    return behind_word;
  }
  size_t at = most;
  while (at > least && inside_character(text, at)) {
    --at;
  }
  return at;
}

}  // namespace

ArticledbQueryRange best_window(std::string_view text, const std::vector<Match>& matches,
                                guint32 most) {
  size_t begin = 0;
  size_t row_end = 0;
  if (!matches.empty()) {
    const ArticledbQueryRange row = best_row(matches, most);
    const size_t room = most - std::min(row.end - row.begin, most);
    row_end = row.end;
    // Most of what is to be seen beside the words stands behind them.
    const size_t before = room / 3;
    begin = good_beginning(text, row.begin - std::min<size_t>(before, row.begin), row.begin);
  }
  while (begin < row_end && is_blank(text[begin])) {
    ++begin;
  }
  if (matches.empty()) {
    while (begin < text.size() && is_blank(text[begin])) {
      ++begin;
    }
    row_end = begin;
  }
  const size_t limit = std::min(std::max<size_t>(begin + most, row_end), text.size());
  return {static_cast<guint32>(begin), static_cast<guint32>(good_end(text, row_end, limit))};
}

}  // namespace ostren::fenra::query
