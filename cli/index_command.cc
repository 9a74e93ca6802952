#include <fenra/fenra.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/index_inputs.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

// Articles between two removals of logs that are no longer needed: about 15 MB
// of log.
constexpr uint64_t kArticlesPerLogRemoval = 100;

struct IndexOptions {
  std::string store;
  InputOptions inputs;
};

// An input that is not stored, with the reason. The run goes on.
struct Refused {
  std::string reason;
};

// ---- reading one input ----

using File = std::unique_ptr<FILE, Releaser<std::fclose>>;

[[noreturn]] void refuse_with_errno() {
  throw Refused{std::string("cannot read the file: ") + std::strerror(errno)};
}

// Devices and pipes are not read: they need not have an end.
std::string read_file(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0) {
    refuse_with_errno();
  }
  if (!S_ISREG(info.st_mode)) {
    throw Refused{"not a regular file"};
  }
  if (info.st_size > INT_MAX) {
    throw Refused{"the file has " + std::to_string(info.st_size) + " bytes; " +
                  std::to_string(INT_MAX) + " are the most"};
  }
  const File file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    refuse_with_errno();
  }
  std::string bytes(static_cast<size_t>(info.st_size), '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get()) != 0) {
    refuse_with_errno();
  }
  return bytes;
}

// The store keeps a '|' behind the URL, and answers are one URL a line.
void check_url(const std::string& url) {
  for (const char byte : url) {
    if (byte == '|' || g_ascii_iscntrl(byte)) {
      throw Refused{"its URL '" + url + "' holds " +
                    (byte == '|' ? "a '|'" : "a control character") +
                    "; give it another URL with --list"};
    }
  }
}

// What the library would refuse without a word.
void check_text(const std::string& text) {
  if (text.empty()) {
    throw Refused{"the file is empty"};
  }
  const size_t zero = text.find('\0');
  if (zero != std::string::npos) {
    throw Refused{"the text holds a zero byte, at offset " + std::to_string(zero)};
  }
  const char* end = nullptr;
  if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end)) {
    throw Refused{"the text is not valid UTF-8, at offset " + std::to_string(end - text.data())};
  }
}

// ---- storing one input ----

void insert(GHashTable* table, const char* key, const std::string& value) {
  // The table owns nothing and takes what it only reads as non-const.
  g_hash_table_insert(table, const_cast<char*>(key), const_cast<char*>(value.c_str()));
}

class Indexer {
 public:
  Indexer(ArticledbDb* db, void* lemmatizer) : db_(db), lemmatizer_(lemmatizer) {}

  // Throws Refused when the article cannot be stored, Failure when the store
  // fails.
  void add(const Input& input, const std::string& text) {
    const Metadata metadata(g_hash_table_new(g_str_hash, g_str_equal));
    const std::string language = "eu";
    // The order decides that of the pairs in the URL record.
    insert(metadata.get(), "_url", input.url);
    insert(metadata.get(), "source", input.source);
    insert(metadata.get(), "date", input.date);
    insert(metadata.get(), "lang", language);
    insert(metadata.get(), "mime", input.mime);
    GlibText converted;  // outlives the tokenizer, which walks it
    const Tokenizer tokenizer(articledb_utf8_tokenizer_new_with_metadata_and_data(
        metadata.get(), text.data(), static_cast<int>(text.size())));
    converted.reset(static_cast<char*>(g_hash_table_lookup(metadata.get(), "_txt")));
    if (tokenizer == nullptr) {
      throw Refused{is_html(input.mime) ? "the HTML has no title followed by a body, no text, or a "
                                          "character reference that cannot be decoded"
                                        : "the library has refused the text"};
    }
    const int status = articledb_db_index(db_, metadata.get(), articledb_utf8_tokenizer_next_token,
                                          tokenizer.get(),
                                          articledb_simple_fst_lemmatizer_first_lemma, lemmatizer_);
    if (status != 0) {
      throw Failure("the store failed at " + input.path + ": " + status_text(status));
    }
  }

  void remove_logs() {
    const int status = articledb_db_remove_logs(db_);
    if (status != 0) {
      throw Failure("the store failed to remove old logs: " + status_text(status));
    }
  }

 private:
  ArticledbDb* db_;
  void* lemmatizer_;
};

void index_one(Indexer& indexer, const Input& input, Progress& progress) {
  try {
    check_url(input.url);
    const std::string text = read_file(input.path);
    check_text(text);
    indexer.add(input, text);
    progress.indexed(text.size());
  } catch (const Refused& refused) {
    progress.refused(input.path, refused.reason);
  }
}

void index_all(Indexer& indexer, const std::vector<Input>& inputs, Progress& progress) {
  for (size_t done = 0; done < inputs.size() && !stop_requested(); ++done) {
    if (done % kArticlesPerLogRemoval == kArticlesPerLogRemoval - 1) {
      indexer.remove_logs();
    }
    index_one(indexer, inputs[done], progress);
  }
  indexer.remove_logs();
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
}

ExitStatus index(const IndexOptions& options) {
  check_call(options);
  Progress progress;
  const Lemmatizer lemmatizer = load_lemmatizer();
  Store store = open_or_make_store(options.store);
  const std::vector<Input> inputs = collect_inputs(options.inputs, progress);
  progress.set_total(inputs.size());
  catch_stop_signals();

  Indexer indexer(store.get(), lemmatizer.get());
  try {
    index_all(indexer, inputs, progress);
  } catch (const Failure&) {
    progress.clear();
    print_line(progress.summary());
    throw;
  }
  close_store(std::move(store));
  progress.clear();
  print_line(progress.summary());
  if (stop_requested()) {
    return kInterrupted;
  }
  return progress.counts().refused == 0 ? kSuccess : kSomeRefused;
}

}  // namespace

void add_index_command(CLI::App& app, ExitStatus& status) {
  auto options = std::make_shared<IndexOptions>();
  CLI::App* command =
      app.add_subcommand("index", "Store articles, replacing those of the same URL");
  InputOptions& inputs = options->inputs;
  add_text(*command, "STORE", options->store, "Store directory; made when missing or empty")
      ->required();
  add_texts(*command, "PATH", inputs.paths,
            "Files, and directories with all below them: .html, .htm, .xhtml and .txt");
  add_text(*command, "--list", inputs.list,
           "File of lines URL, MIME type, path, date, source with tabs between them; the last two "
           "may be left out; - for standard input");
  add_text(*command, "--mime", inputs.mime, "MIME type of the files named as PATH");
  add_text(*command, "--base-url", inputs.base_url,
           "The URL is this and the path below PATH; default: file:// and the whole path");
  add_text(*command, "--source", inputs.source, "Source of the articles");
  add_date(*command, "--date", inputs.date, "Date of the articles");
  command->footer(
      "Status 3 tells that some inputs were refused; each is on standard error with its reason.\n"
      "Example:\n"
      "  fenra index articles.store pages/ --base-url https://example.eus/ --date 20090315");
  command->callback([options, &status] { status = index(*options); });
}

}  // namespace cli
