#include <fenra/articledb_query.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "articles/answer.h"
#include "articles/explanation.h"
#include "cli/article_json.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/snippets.h"
#include "cli/store.h"

namespace cli {
namespace {

using ostren::fenra::articles::Answer;
using ostren::fenra::articles::Found;
using ostren::fenra::articles::meaning;
using ostren::fenra::articles::Order;
using ostren::fenra::articles::Page;
using ostren::fenra::articles::Query;
using ostren::fenra::text::character_ranges;

struct SearchOptions {
  std::string store;
  std::vector<std::string> words;
  Page page;
  bool count = false;
  bool newest = false;
  std::string sort;
  bool snippets = false;
  bool explain = false;
  bool json = false;
};

std::string joined(const std::vector<std::string>& words) {
  std::string query;
  for (const std::string& word : words) {
    query += (query.empty() ? "" : " ") + word;
  }
  return query;
}

// Null for a query without a word, which no article has.
Query read_query(const std::string& text, const ArticledbRules& rules, void* lemmatizer) {
  ArticledbQuery* query = nullptr;
  ArticledbQueryError error = {};
  const int status = articledb_query_parse(text.data(), static_cast<guint32>(text.size()), &rules,
                                           lemmatizer, &query, &error);
  switch (status) {
    case 0:
      return Query(query);
    case ARTICLEDB_QUERY_NO_WORD:
      complain("the query '" + text + "' has no word: only " +
               (is_plain(rules) ? "runs of the letters a to z, digits, '_' and '-'"
                                : "letters and digits") +
               " count");
      return nullptr;
    case ARTICLEDB_QUERY_WRONG:
      throw Failure("search: at byte " + std::to_string(error.position + 1) + " of the query '" +
                        text + "': " + error.reason,
                    kWrongCall);
    default:
      throw std::bad_alloc();
  }
}

// ---- what the words were taken for ----

const char* kind(const ArticledbQueryTerm& term) {
  switch (term.kind) {
    case ARTICLEDB_QUERY_LEMMA:
      return "lemma";
    case ARTICLEDB_QUERY_FORM:
      return "form";
    case ARTICLEDB_QUERY_PREFIX:
      return "prefix";
    case ARTICLEDB_QUERY_PHRASE:
      return "phrase";
    case ARTICLEDB_QUERY_SOURCE:
      return "source";
    case ARTICLEDB_QUERY_DATES:
      return "dates";
  }
  return "";
}

class Explanation {
 public:
  Explanation(ArticledbDb* db, const ArticledbQuery* query, std::string_view text)
      : db_(db), query_(query), text_(text) {}

  void print_lines() const {
    for (guint32 i = 0; i < articledb_query_terms(query_); ++i) {
      const ArticledbQueryTerm& term = *articledb_query_term(query_, i);
      const uint64_t count = articles(i);
      print_line("# " + written(term) + ": " + (term.excluded != 0 ? "without " : "") +
                 meaning(term) + ", " + std::to_string(count) +
                 (count == 1 ? " article" : " articles"));
    }
  }

  JsonObject json() const {
    std::vector<JsonObject> terms;
    for (guint32 i = 0; i < articledb_query_terms(query_); ++i) {
      const ArticledbQueryTerm& term = *articledb_query_term(query_, i);
      JsonObject object;
      object.add_text("query", written(term)).add_text("kind", kind(term));
      object.add_text("form", term.form);
      if (term.lemma != nullptr) {
        object.add_text("lemma", term.lemma);
      }
      terms.push_back(
          object.add_flag("excluded", term.excluded != 0).add_number("articles", articles(i)));
    }
    JsonObject explanation;
    return explanation.add_objects("explain", terms);
  }

 private:
  std::string written(const ArticledbQueryTerm& term) const {
    return std::string(text_.substr(term.position, term.length));
  }

  uint64_t articles(guint32 term) const {
    return ostren::fenra::articles::articles_of_term(query_, db_, term);
  }

  ArticledbDb* const db_;
  const ArticledbQuery* const query_;
  const std::string_view text_;
};

// ---- results ----

Page page_of(const SearchOptions& options) {
  if (!options.sort.empty() && options.sort != "date") {
    throw Failure("--sort: there is no order '" + options.sort + "'; date is known", kWrongCall);
  }
  Page page = options.page;
  page.order = !options.sort.empty() ? Order::DATE
               : options.newest      ? Order::NEWEST
                                     : Order::INDEXING;
  return page;
}

void print_count(const SearchOptions& options, uint64_t count) {
  JsonObject object;
  print_line(options.json ? object.add_number("count", count).line() : std::to_string(count));
}

class ResultPrinter {
 public:
  ResultPrinter(const SearchOptions& options, ArticledbDb* db, const ArticledbQuery* query)
      : options_(options), reader_(db) {
    if (!options.count && (options.snippets || options.json)) {
      snippets_ = std::make_unique<Snippets>(db, query);
    }
  }

  void print_article(uint64_t id, const Article& article) {
    if (snippets_ == nullptr) {
      print_line(article.url);
      return;
    }
    const std::string text = reader_.current_text(id).value_or("");
    const Snippet snippet = snippets_->of(text);
    if (options_.json) {
      print_line(article_json(id, article, text)
                     .add_text("snippet", snippet.text)
                     .add_ranges("matches", character_ranges(snippet.text, snippet.matches))
                     .line());
    } else {
      print_line(article.url);
      print_line("    " + line_of(snippet));
    }
  }

 private:
  const SearchOptions& options_;
  ArticleReader reader_;
  std::unique_ptr<Snippets> snippets_;
};

void print_results(const SearchOptions& options, const Page& page, ArticledbDb* db,
                   const ArticledbQuery* query) {
  ResultPrinter printer(options, db, query);
  uint64_t count = 0;
  Answer answer(db, Stream(articledb_query_generator_new(query, db)), page);
  while (const std::optional<Found> found = answer.next()) {
    ++count;
    if (!options.count) {
      printer.print_article(found->id, found->article);
    }
  }
  if (options.count) {
    print_count(options, count);
  }
}

void search(const SearchOptions& options) {
  const Page page = page_of(options);
  const std::string text = joined(options.words);
  const Store store = open_store(options.store);
  const Lemmatizer lemmatizer = load_lemmatizer();
  const Query query = read_query(text, rules_of(store.get()), lemmatizer.get());
  if (query == nullptr) {
    if (options.count) {
      print_count(options, 0);
    }
    return;
  }
  if (options.explain) {
    const Explanation explanation(store.get(), query.get(), text);
    if (options.json) {
      print_line(explanation.json().line());
    } else {
      explanation.print_lines();
    }
  }
  print_results(options, page, store.get(), query.get());
}

}  // namespace

void add_search_command(const Command& program) {
  auto options = std::make_shared<SearchOptions>();
  const Command command =
      program.add_command("search", "Print the URLs of the articles that a query asks for");
  command.add_text("STORE", options->store, "Store directory").required();
  command.add_texts("QUERY", options->words, "Words, in any inflected form, and more; see below")
      .required();
  command.add_count("--limit", options->page.limit, "Stop after N articles");
  command.add_count("--after", options->page.after,
                    "Begin behind the article with the id N, in the order of the answer");
  command.add_flag("--count", options->count, "Print the number of articles only");
  command.add_flag("--newest", options->newest, "The article indexed last comes first");
  command.add_text("--sort", options->sort, "date: the latest date comes first");
  command.add_flag("--snippets", options->snippets, "Print the part of the text that matches best");
  command.add_flag("--explain", options->explain,
                   "Print what each word was taken for, and how many articles have it");
  command.add_flag("--json", options->json,
                   "Print an object a line: id, url, title, date, source, snippet, matches");
  command.set_footer(
      "QUERY:\n"
      "  etxe zuri              both words, each in any form of its lemma\n"
      "  etxe OR mendi          either; binds less than words side by side\n"
      "  etxe -ibai             without ibai; NOT ibai is the same\n"
      "  (etxe OR mendi) zuri   parentheses\n"
      "  '\"etxe zuri bat\"'      these forms in a row\n"
      "  =etxea                 this form only; form:etxea is the same\n"
      "  'etxe*'                all forms that begin so\n"
      "  source:berria          articles of the source\n"
      "  date:2009              or date:200903, date:20090315, date:20090315..20090401\n"
      "Without --newest and --sort the URLs come in the order of indexing.\n"
      "Example:\n"
      "  fenra search articles.store etxe zuria -ibai date:2009 --limit 10");
  command.set_action([options] { search(*options); });
}

}  // namespace cli
