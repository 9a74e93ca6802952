#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "articles/urls.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/rules.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

void require_new(const std::string& path) {
  if (has_database(path)) {
    throw Failure("'" + path + "' is a store already; name a new or an empty directory");
  }
}

// An article of the old store, as the new one takes it.
class Source {
 public:
  Source(const Article& article, std::string text) : text_(std::move(text)) {
    values_ = {{"_url", article.url}, {"source", ""}, {"date", ""}, {"lang", ""}};
    for (const auto& [key, value] : metadata_pairs(article.metadata)) {
      if (key.empty()) {
        throw Failure("its metadata ends in '" + value + "'");
      }
      values_[key] = value;
    }
    values_["_txt"] = text_;
  }

  // Throws Failure with the reason when the store fails.
  void store(ArticledbDb* db, const ArticledbRules& rules, void* lemmatizer) {
    const Metadata metadata(g_hash_table_new(g_str_hash, g_str_equal));
    for (auto& [key, value] : values_) {
      insert(metadata.get(), key.c_str(), value.data());
    }
    insert(metadata.get(), "_length", GUINT_TO_POINTER(static_cast<guint>(text_.size())));
    const Tokens tokens = tokens_of(rules, text_);
    const int status = articledb_db_index(db, metadata.get(), rules.next_token, tokens.get(),
                                          rules.first_lemma, lemmatizer);
    if (status != 0) {
      throw Failure("the new store failed at '" + values_["_url"] + "': " + status_text(status));
    }
  }

 private:
  // The table keeps the pointer `key`.
  static void insert(GHashTable* table, const char* key, gpointer value) {
    g_hash_table_insert(table, const_cast<char*>(key), value);
  }

  std::string text_;
  std::map<std::string, std::string> values_;
};

class Rebuilder {
 public:
  Rebuilder(ArticledbDb* from, ArticledbDb* to, Progress& progress)
      : reader_(from),
        to_(to),
        rules_(rules_of(to)),
        progress_(progress),
        lemmatizer_(load_lemmatizer()) {}

  void add(uint64_t id) {
    std::unique_ptr<Source> source;
    std::optional<Article> article;
    uint64_t bytes = 0;
    try {
      article = reader_.article(id);
      if (!article) {
        return progress_.passed_over();
      }
      std::string text = reader_.text(id);
      bytes = text.size();
      check(article->url, text);
      article->url = ostren::fenra::articles::escape_bars(article->url);
      source = std::make_unique<Source>(*article, std::move(text));
    } catch (const StoreFailure& failure) {
      return progress_.refused(name(id), failure.what());
    }
    source->store(to_, rules_, lemmatizer_.get());
    progress_.indexed(bytes);
    own(article->url, {id, bytes});
  }

 private:
  struct Owner {
    uint64_t id;  // in the old store
    uint64_t bytes;
  };

  static std::string name(uint64_t id) { return "article " + std::to_string(id); }

  // The new store has replaced an earlier article of the URL. There is one where two
  // URLs became one, and where the old store was damaged.
  void own(const std::string& url, const Owner& owner) {
    const auto [entry, is_first] = owners_.try_emplace(url, owner);
    if (is_first) {
      return;
    }
    progress_.displaced(name(entry->second.id), entry->second.bytes,
                        name(owner.id) + ", which is newer, has its URL '" + url + "' too");
    entry->second = owner;
  }

  static void check(const std::string& url, const std::string& text) {
    if (url.empty()) {
      throw Failure("it has no URL");
    }
    if (text.empty()) {
      throw Failure("it has no text");
    }
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
      throw Failure("its text is damaged: it is not valid UTF-8");
    }
  }

  ArticleReader reader_;
  ArticledbDb* const to_;
  const ArticledbRules& rules_;
  Progress& progress_;
  const Lemmatizer lemmatizer_;
  std::unordered_map<std::string, Owner> owners_;  // of the URLs in the new store
};

// `rules`: the name of those of the new store; empty for those of the old one.
ExitStatus rebuild(const std::string& from, const std::string& to, const std::string& rules) {
  if (!rules.empty()) {
    rules_named(rules);
  }
  require_new(to);
  const Store old_store = open_store(from);
  const uint64_t last = last_id(old_store.get());
  Store new_store = open_or_make_store(to, rules.empty() ? rules_of(old_store.get()).name : rules);
  Progress progress;
  progress.set_total(last);
  catch_stop_signals();
  try {
    Rebuilder rebuilder(old_store.get(), new_store.get(), progress);
    // Counting finds an article by its own record, whatever else is damaged.
    for (uint64_t id = 1; id <= last && !stop_requested(); ++id) {
      rebuilder.add(id);
    }
  } catch (const StoreFailure&) {
    progress.clear();
    print_summary(progress.summary());
    throw;
  }
  close_store(std::move(new_store));
  return conclude(progress);
}

}  // namespace

void add_rebuild_command(const Command& program, ExitStatus& status) {
  auto from = std::make_shared<std::string>();
  auto to = std::make_shared<std::string>();
  auto rules = std::make_shared<std::string>();
  const Command command =
      program.add_command("rebuild", "Index the articles of a store anew into another store");
  command.add_text("OLD", *from, "Store directory to read").required();
  command.add_text("NEW", *to, "Store directory to make; must not exist, or be empty").required();
  command.add_text("--rules", *rules, std::string(kRulesHelp) + "; default: those of OLD");
  command.add_quiet();
  command.set_footer(
      "For a damaged index, and for a lexicon that is newer than the store, and for other rules "
      "of\n"
      "words, by which the texts that are stored are cut into words anew. Articles keep their URL, "
      "in which a '|' becomes %7C, text and metadata and are stored in the order of their\n"
      "ids, which are dealt out anew. Of several articles of one URL the newest is stored.\n"
      "Status 3 tells that some articles are not; each is on standard error with its reason.\n"
      "Example:\n"
      "  fenra rebuild articles.store new.store");
  command.set_action([=, &status] { status = rebuild(*from, *to, *rules); });
}

}  // namespace cli
