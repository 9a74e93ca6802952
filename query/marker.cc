#include "query/marker.h"

#include <algorithm>
#include <memory>

#include "base/handles.h"
#include "query/query_stream.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::query {
namespace {

// Calls `visit(form)` for the forms that the store has under a lemma.
template <typename Visit>
void visit_forms(ArticledbDb* db, const std::string& lemma, Visit visit) {
  ArticledbCursor* made = nullptr;
  if (articledb_db_lookup_lemma(db, &made, lemma.data(), static_cast<guint32>(lemma.size())) != 0) {
    throw StoreFailed();
  }
  const std::unique_ptr<ArticledbCursor, Releaser<articledb_cursor_close>> cursor(made);
  char form[store::MOST_STORED_BYTES];
  ArticledbBuffer buffer = {form, sizeof form, 0};
  int read;
  while ((read = articledb_cursor_next_data_dup(made, &buffer)) == CURSOR_OK) {
    visit(std::string(form, buffer.length));
  }
  // A longer form is damage, which shows elsewhere.
  if (read != CURSOR_END && read != DB_BUFFER_SMALL) {
    throw StoreFailed();
  }
}

// One after the other, those that touch the same bytes as one: a compound and its parts.
std::vector<Match> apart(std::vector<Match> matches) {
  std::sort(matches.begin(), matches.end(),
            [](const Match& a, const Match& b) { return a.begin < b.begin; });
  std::vector<Match> result;
  for (const Match& match : matches) {
    if (!result.empty() && match.begin < result.back().end) {
      result.back().end = std::max(result.back().end, match.end);
      result.back().terms |= match.terms;
    } else {
      result.push_back(match);
    }
  }
  return result;
}

}  // namespace

Marker::Marker(ArticledbDb* db, const ArticledbRules& rules, const Syntax& syntax) : rules_(rules) {
  TermSet term = 1;
  for (const Term& asked : syntax.terms) {
    if (asked.excluded) {
      continue;
    }
    switch (asked.kind) {
      case ARTICLEDB_QUERY_LEMMA:
        add_word(db, asked.word, term);
        break;
      case ARTICLEDB_QUERY_FORM:
        forms_[std::string(store::StoredKey(asked.value).bytes())] |= term;
        break;
      case ARTICLEDB_QUERY_PREFIX:
        prefixes_.push_back({asked.value, term});
        break;
      case ARTICLEDB_QUERY_PHRASE:
        phrases_.push_back({PhraseMatcher(asked.tokens), term});
        longest_phrase_ = std::max(longest_phrase_, asked.tokens.size());
        break;
      case ARTICLEDB_QUERY_SOURCE:
      case ARTICLEDB_QUERY_DATES:
        continue;
    }
    term <<= 1;
  }
}

void Marker::add_word(ArticledbDb* db, const Word& word, TermSet term) {
  visit_forms(db, word.lemma, [&](const std::string& form) { forms_[form] |= term; });
  for (const Word& part : word.parts) {
    add_word(db, part, term);
  }
}

TermSet Marker::terms_of(std::string_view form) const {
  const auto found = forms_.find(store::StoredKey(form).bytes());
  TermSet terms = found == forms_.end() ? 0 : found->second;
  for (const Prefix& prefix : prefixes_) {
    if (form.substr(0, prefix.bytes.size()) == prefix.bytes) {
      terms |= prefix.term;
    }
  }
  return terms;
}

std::vector<Match> Marker::find(std::string_view text) const {
  std::vector<Match> matches;
  std::vector<Phrase> phrases = phrases_;
  std::deque<Match> last;  // the last tokens, as many as the longest phrase has
  const std::unique_ptr<void, void (*)(void*)> tokenizer(
      rules_.tokenizer_new(text.data(), static_cast<int>(text.size())), rules_.tokenizer_free);
  const char* token = nullptr;
  int length = 0;
  while (rules_.next_token(tokenizer.get(), &token, &length) == ARTICLEDB_TOKEN_OK) {
    const std::string_view form(token, static_cast<size_t>(length));
    Match match = {0, 0, terms_of(form)};
    if (match.terms == 0 && phrases.empty()) {
      continue;
    }
    if (rules_.token_place(tokenizer.get(), text.data(), token, length, &match.begin, &match.end) ==
        0) {
      throw std::bad_alloc();
    }
    if (match.terms != 0) {
      matches.push_back(match);
    }
    if (last.size() == longest_phrase_ && !last.empty()) {
      last.pop_front();
    }
    last.push_back(match);
    for (Phrase& phrase : phrases) {
      if (phrase.matcher.take(form)) {
        std::for_each(last.end() - static_cast<std::ptrdiff_t>(phrase.matcher.size()), last.end(),
                      [&](const Match& word) {
                        matches.push_back({word.begin, word.end, phrase.term});
                      });
      }
    }
  }
  return apart(std::move(matches));
}

}  // namespace ostren::fenra::query
