#include <fenra/fenra.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
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

bool has_letter(const std::string& text) {
  for (const char byte : text) {
    if (g_ascii_isalpha(byte)) {
      return true;
    }
  }
  return false;
}

void search(const SearchOptions& options) {
  const std::string query = joined(options.words);
  // The facade's parser of queries, without the bound that its iterator sets on
  // the length of a URL.
  ostren::fenra::FenraData shared(nullptr, nullptr);
  shared.db = open_store(options.store).release();
  shared.lemmatizer = load_lemmatizer().release();
  if (!has_letter(query)) {
    complain("the query '" + query + "' has no word: only runs of the letters a to z count");
  }
  const Stream stream(has_letter(query) ? shared.parse_query(query.c_str())
                                        : ostren_empty_generator_new());
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
