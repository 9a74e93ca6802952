#include <fenra/fenra.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/store.h"

namespace cli {
namespace {

struct SearchOptions {
  std::string store;
  std::vector<std::string> words;
  uint64_t limit = UINT64_MAX;
  bool count = false;
};

std::string joined(const std::vector<std::string>& words) {
  std::string query;
  for (const std::string& word : words) {
    query += (query.empty() ? "" : " ") + word;
  }
  return query;
}

// The words of a plain query are not those of a plain text.
bool is_query(const ArticledbRules& rules, const std::string& text) {
  return is_plain(rules) ? std::any_of(text.begin(), text.end(),
                                       [](char byte) { return g_ascii_isalpha(byte); })
                         : has_word(rules, text);
}

void search(const SearchOptions& options) {
  const std::string query = joined(options.words);
  // The facade's parser of queries, without the bound that its iterator sets on
  // the length of a URL.
  ostren::fenra::FenraData shared(nullptr, nullptr);
  shared.db = open_store(options.store).release();
  shared.rules = &rules_of(shared.db);
  shared.lemmatizer = load_lemmatizer().release();
  const bool has_words = is_query(*shared.rules, query);
  if (!has_words) {
    complain("the query '" + query + "' has no word: only " +
             (is_plain(*shared.rules) ? "runs of the letters a to z" : "letters and digits") +
             " count");
  }
  const Stream stream(has_words ? shared.parse_query(query.c_str()) : ostren_empty_generator_new());
  print_articles(shared.db, stream, options.limit, options.count);
}

}  // namespace

void add_search_command(const Command& program) {
  auto options = std::make_shared<SearchOptions>();
  const Command command =
      program.add_command("search", "Print the URLs of the articles that hold every word");
  command.add_text("STORE", options->store, "Store directory").required();
  command.add_texts("WORD", options->words, "Words, in any inflected form").required();
  command.add_count("--limit", options->limit, "Stop after N articles");
  command.add_flag("--count", options->count, "Print the number of articles only");
  command.set_footer(
      "A word finds every form of its lemma. The URLs come in the order of indexing.\n"
      "Example:\n"
      "  fenra search articles.store etxe zuria --limit 10");
  command.set_action([options] { search(*options); });
}

}  // namespace cli
