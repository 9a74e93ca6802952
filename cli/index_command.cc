#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "cli/bulk_build.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/index_inputs.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/prune.h"
#include "cli/rules.h"
#include "cli/stop.h"
#include "cli/store.h"
#include "cli/store_indexer.h"

namespace cli {
namespace {

struct IndexOptions {
  std::string store;
  InputOptions inputs;
  bool bulk = false;
  bool skip_unchanged = false;
  bool prune = false;
  std::string rules;  // empty: not given
  bool json = false;
};

void check_format(const InputOptions& inputs) {
  const auto count = std::count(inputs.paths.begin(), inputs.paths.end(), "-");
  if (count + (inputs.list == "-" ? 1 : 0) > 1) {
    throw Failure("index: standard input can be read once only; name it once with -", kWrongCall);
  }
  if (count != 0 && inputs.format.empty()) {
    throw Failure(
        "index: PATH - is standard input; tell with --format warc or --format jsonl what it holds",
        kWrongCall);
  }
  if (count == 0 && !inputs.format.empty()) {
    throw Failure(
        "index: --format tells what standard input holds, PATH -; files tell it by their "
        "first bytes; leave it out",
        kWrongCall);
  }
  if (!inputs.format.empty() && format_named(inputs.format) == InputFormat::kUnknown) {
    throw Failure("index: unknown format '" + inputs.format + "'; warc and jsonl are known",
                  kWrongCall);
  }
}

void check_call(const IndexOptions& options) {
  check_format(options.inputs);
  if (options.inputs.paths.empty() && options.inputs.list.empty()) {
    throw Failure("index: name at least one PATH, or a file of inputs with --list", kWrongCall);
  }
  if (!options.inputs.mime.empty() && !is_known_mime(options.inputs.mime)) {
    throw Failure("index: unknown MIME type '" + options.inputs.mime +
                      "'; text/plain and text/html are known",
                  kWrongCall);
  }
  if (options.bulk && (options.skip_unchanged || options.prune)) {
    throw Failure(
        "index: --bulk builds a new store, in which there is nothing for "
        "--skip-unchanged or --prune to look at; leave out one of them",
        kWrongCall);
  }
  if (options.prune && options.inputs.source.empty()) {
    throw Failure("index: --prune deletes articles of one source; name it with --source",
                  kWrongCall);
  }
  if (!options.rules.empty()) {
    rules_named(options.rules);
  }
}

void index_all(const IndexOptions& options, ArticledbDb* db, void* lemmatizer, Inputs& inputs,
               Progress& progress) {
  StoreIndexer indexer(db, lemmatizer, options.skip_unchanged, progress);
  Urls met;
  while (!stop_requested()) {
    const std::optional<Input> input = inputs.next();
    if (!input) {
      break;
    }
    indexer.add(*input);
    if (options.prune && !input->url.empty()) {
      met.insert(ostren::fenra::articles::escape_bars(input->url));
    }
  }
  if (options.prune) {
    prune(db, options.inputs.source, met, progress);
  }
}

void index_into_store(const IndexOptions& options, Progress& progress) {
  const Lemmatizer lemmatizer = load_lemmatizer();
  Store store = open_or_make_store(options.store, options.rules);
  Inputs inputs(options.inputs, progress);
  catch_stop_signals();
  index_all(options, store.get(), lemmatizer.get(), inputs, progress);
  close_store(std::move(store));
}

void build_store(const IndexOptions& options, Progress& progress) {
  // What there is of the store is removed, whenever it is stopped.
  catch_stop_signals();
  BulkBuild build(options.store,
                  rules_named(options.rules.empty() ? kDefaultRules : options.rules));
  Inputs inputs(options.inputs, progress);
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
      print_summary(progress.summary());
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
  command.add_texts(
      "PATH", inputs.paths,
      "Files, and directories with all below them: .html, .htm, .xhtml and .txt; crawls in WARC "
      "files; files of an article in each line, as JSON with url, text or html, and perhaps mime, "
      "date and source. Both may be packed with gzip or zstd; their first bytes tell them. - is "
      "standard input");
  command.add_text("--format", inputs.format, "What standard input holds: warc or jsonl");
  command.add_text(
      "--list", inputs.list,
      "File of lines URL, MIME type, path, date, source with tabs between them; the last two "
      "may be left out; - for standard input");
  command.add_text("--mime", inputs.mime, "MIME type of the files named as PATH");
  command.add_text("--base-url", inputs.base_url,
                   "The URL is this and the path below PATH; default: file:// and the whole path");
  command.add_text("--source", inputs.source,
                   "Source of the articles; of those that come with one, theirs stays");
  command.add_date("--date", inputs.date,
                   "Date of the articles; of those that come with one, theirs stays");
  command.add_flag("--bulk", options->bulk,
                   "Build a new store of all articles at once, on all processors; STORE must not "
                   "exist, or be empty, and is there when everything is done");
  command.add_flag("--skip-unchanged", options->skip_unchanged,
                   "Pass over what is stored already with the same text, MIME type, date and "
                   "source; of crawls, whatever the day of the visit");
  command.add_flag("--prune", options->prune,
                   "After a run in which nothing was refused, delete the articles of --source that "
                   "are in STORE and were not among the inputs. Lines of a list that name another "
                   "source are indexed, and their URLs kept; articles of other sources are never "
                   "deleted");
  command.add_text("--rules", options->rules,
                   std::string(kRulesHelp) + ", which a store keeps; default: the store's, and " +
                       kDefaultRules + " for a new one");
  command.add_flag("--json", options->json, "Print the summary as one JSON object");
  command.add_quiet();
  command.set_footer(
      "A '|' in a URL is stored as %7C.\n"
      "Status 3 tells that some inputs were refused; each is on standard error with its reason.\n"
      "Example:\n"
      "  fenra index articles.store pages/ --base-url https://example.eus/ --date 20090315\n"
      "  fenra index articles.store crawl.warc.gz --skip-unchanged");
  command.set_action([options, &status] { status = index(*options); });
}

}  // namespace cli
