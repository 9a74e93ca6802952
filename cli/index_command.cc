#include <memory>
#include <string>
#include <vector>

#include "cli/bulk_build.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/index_inputs.h"
#include "cli/input_article.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/rules.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

struct IndexOptions {
  std::string store;
  InputOptions inputs;
  bool bulk = false;
  std::string rules;  // empty: not given
  bool json = false;
};

class Indexer {
 public:
  Indexer(ArticledbDb* db, const ArticledbRules& rules, void* lemmatizer)
      : db_(db), rules_(rules), lemmatizer_(lemmatizer) {}

  const ArticledbRules& rules() const { return rules_; }

  // Throws Failure when the store fails.
  void add(const Input& input, const InputArticle& article) {
    const int status = articledb_db_index(db_, article.metadata(), rules_.next_token,
                                          article.tokenizer(), rules_.first_lemma, lemmatizer_);
    if (status != 0) {
      throw Failure("the store failed at " + input.path + ": " + status_text(status));
    }
  }

 private:
  ArticledbDb* db_;
  const ArticledbRules& rules_;
  void* lemmatizer_;
};

void index_one(Indexer& indexer, const Input& input, Progress& progress) {
  try {
    const InputArticle article(input, indexer.rules());
    indexer.add(input, article);
    progress.indexed(article.bytes());
  } catch (const Refused& refused) {
    progress.refused(input.path, refused.reason);
  }
}

void index_all(Indexer& indexer, const std::vector<Input>& inputs, Progress& progress) {
  for (size_t done = 0; done < inputs.size() && !stop_requested(); ++done) {
    index_one(indexer, inputs[done], progress);
  }
}

void check_call(const IndexOptions& options) {
  if (options.inputs.paths.empty() && options.inputs.list.empty()) {
    throw Failure("index: name at least one PATH, or a file of inputs with --list", kWrongCall);
  }
  if (!options.inputs.mime.empty() && !is_known_mime(options.inputs.mime)) {
    throw Failure("index: unknown MIME type '" + options.inputs.mime +
                      "'; text/plain and text/html are known",
                  kWrongCall);
  }
  if (!options.rules.empty()) {
    rules_named(options.rules);
  }
}

std::vector<Input> find_inputs(const IndexOptions& options, Progress& progress) {
  std::vector<Input> inputs = collect_inputs(options.inputs, progress);
  progress.set_total(inputs.size());
  return inputs;
}

void index_into_store(const IndexOptions& options, Progress& progress) {
  const Lemmatizer lemmatizer = load_lemmatizer();
  Store store = open_or_make_store(options.store, options.rules);
  const std::vector<Input> inputs = find_inputs(options, progress);
  catch_stop_signals();
  Indexer indexer(store.get(), rules_of(store.get()), lemmatizer.get());
  index_all(indexer, inputs, progress);
  close_store(std::move(store));
}

void build_store(const IndexOptions& options, Progress& progress) {
  // What there is of the store is removed, whenever it is stopped.
  catch_stop_signals();
  BulkBuild build(options.store,
                  rules_named(options.rules.empty() ? kDefaultRules : options.rules));
  const std::vector<Input> inputs = find_inputs(options, progress);
  try {
    build.add_all(inputs, progress);
  } catch (const Failure&) {
    progress.nothing_stored();
    throw;
  }
  build.finish(progress);
}

ExitStatus index(const IndexOptions& options) {
  check_call(options);
  Progress progress(options.json);
  try {
    if (options.bulk) {
      build_store(options, progress);
    } else {
      index_into_store(options, progress);
    }
  } catch (const Failure&) {
    progress.clear();
    if (progress.started()) {
      print_line(progress.summary());
    }
    throw;
  }
  return conclude(progress);
}

}  // namespace

void add_index_command(const Command& program, ExitStatus& status) {
  auto options = std::make_shared<IndexOptions>();
  const Command command =
      program.add_command("index", "Store articles, replacing those of the same URL");
  InputOptions& inputs = options->inputs;
  command.add_text("STORE", options->store, "Store directory; made when missing or empty")
      .required();
  command.add_texts("PATH", inputs.paths,
                    "Files, and directories with all below them: .html, .htm, .xhtml and .txt");
  command.add_text(
      "--list", inputs.list,
      "File of lines URL, MIME type, path, date, source with tabs between them; the last two "
      "may be left out; - for standard input");
  command.add_text("--mime", inputs.mime, "MIME type of the files named as PATH");
  command.add_text("--base-url", inputs.base_url,
                   "The URL is this and the path below PATH; default: file:// and the whole path");
  command.add_text("--source", inputs.source, "Source of the articles");
  command.add_date("--date", inputs.date, "Date of the articles");
  command.add_flag("--bulk", options->bulk,
                   "Build a new store of all articles at once, on all processors; STORE must not "
                   "exist, or be empty, and is there when everything is done");
  command.add_text("--rules", options->rules,
                   std::string(kRulesHelp) + ", which a store keeps; default: the store's, and " +
                       kDefaultRules + " for a new one");
  command.add_flag("--json", options->json, "Print the summary as one JSON object");
  command.set_footer(
      "A '|' in a URL is stored as %7C.\n"
      "Status 3 tells that some inputs were refused; each is on standard error with its reason.\n"
      "Example:\n"
      "  fenra index articles.store pages/ --base-url https://example.eus/ --date 20090315");
  command.set_action([options, &status] { status = index(*options); });
}

}  // namespace cli
