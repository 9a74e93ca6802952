#include <fenra/fenra.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/databases.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/rules.h"
#include "cli/snapshot.h"
#include "cli/store.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

struct StatsOptions {
  std::string store;
  bool json = false;
};

struct Size {
  uint64_t entries = 0;
  uint64_t bytes = 0;
};

// The pages of one database. The record's own page count is that of the whole
// file, which all nine share.
uint64_t pages(const DB_HASH_STAT& stat) {
  constexpr uint64_t kMetaPages = 1;
  // A growing hash database takes the pages of its buckets in doublings.
  uint64_t bucket_pages = 1;
  while (bucket_pages < stat.hash_buckets) {
    bucket_pages *= 2;
  }
  return kMetaPages + bucket_pages + stat.hash_bigpages + stat.hash_overflows + stat.hash_dup;
}

uint64_t pages(const DB_BTREE_STAT& stat) {
  constexpr uint64_t kMetaPages = 1;
  return kMetaPages + stat.bt_int_pg + stat.bt_leaf_pg + stat.bt_dup_pg + stat.bt_over_pg;
}

Size size_of(const DB_HASH_STAT& stat) {
  return {stat.hash_ndata, pages(stat) * stat.hash_pagesize};
}

Size size_of(const DB_BTREE_STAT& stat) { return {stat.bt_ndata, pages(stat) * stat.bt_pagesize}; }

Size measure_size(DB* database) {
  return measure(database, [](const auto& stat) { return size_of(stat); });
}

uint64_t log_bytes(const std::string& path) {
  uint64_t bytes = 0;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
    const uint64_t size =
        is_log_name(entry.path().filename().string()) ? entry.file_size(error) : 0;
    bytes += error ? 0 : size;
  }
  return bytes;
}

// The lexicons that the store's record names; none when it was not recorded.
std::vector<std::string> lexicons_of(const std::string& path) {
  std::ifstream record(fs::path(path) / ostren::fenra::LEXICON_RECORD);
  std::vector<std::string> lexicons;
  for (std::string line; std::getline(record, line);) {
    lexicons.push_back(line);
  }
  return lexicons;
}

struct DatabaseStats {
  std::string name;
  Size size;
};

struct StoreStats {
  uint64_t articles = 0;
  uint64_t last_id = 0;
  uint64_t log_bytes = 0;
  std::string rules;
  std::vector<std::string> lexicons;
  std::vector<DatabaseStats> databases;
  Size total;
};

StoreStats measure_store(const std::string& path) {
  StatusLine line;
  const Snapshot snapshot(path, line);
  line.clear();
  const Store store = open_databases(snapshot.path());
  const ArticledbDb& db = *store;
  StoreStats stats;
  stats.articles = measure_size(db.urldb).entries;
  stats.last_id = last_id(store.get());
  stats.log_bytes = log_bytes(path);
  stats.rules = rules_of(store.get()).name;
  stats.lexicons = lexicons_of(path);
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    const Size size = measure_size(db.*database->field);
    stats.total.entries += size.entries;
    stats.total.bytes += size.bytes;
    stats.databases.push_back({database->name, size});
  }
  return stats;
}

bool needs_rebuild(const StoreStats& stats) {
  const std::vector<std::string> own = {ostren::fenra::lexiconVersion()};
  return !stats.lexicons.empty() && stats.lexicons != own;
}

void print_lexicons(const StoreStats& stats) {
  std::string used;
  for (const std::string& lexicon : stats.lexicons) {
    used += (used.empty() ? "" : " ") + lexicon;
  }
  print_line("lexicon  " + (used.empty() ? "not recorded" : used) + "; of this library " +
             ostren::fenra::lexiconVersion());
  if (needs_rebuild(stats)) {
    print_line("         they differ: some words are not found until the store has been indexed");
    print_line("         anew, with: fenra rebuild STORE NEW");
  }
}

void print_row(const std::string& name, const std::string& entries, const std::string& bytes) {
  char row[128];
  std::snprintf(row, sizeof(row), "%-10s %14s %16s", name.c_str(), entries.c_str(), bytes.c_str());
  print_line(row);
}

void print_row(const std::string& name, const Size& size) {
  print_row(name, std::to_string(size.entries), std::to_string(size.bytes));
}

void print_plain(const StoreStats& stats) {
  print_line("articles " + std::to_string(stats.articles));
  print_line("last id  " + std::to_string(stats.last_id));
  print_line("log      " + std::to_string(stats.log_bytes) + " bytes");
  print_line("rules    " + stats.rules);
  print_lexicons(stats);
  print_line("");
  print_row("database", "entries", "bytes");
  for (const DatabaseStats& database : stats.databases) {
    print_row(database.name, database.size);
  }
  print_row("total", stats.total);
}

JsonObject with_size(JsonObject object, const Size& size) {
  return object.add_number("entries", size.entries).add_number("bytes", size.bytes);
}

JsonObject stats_json(const StoreStats& stats) {
  std::vector<JsonObject> databases;
  for (const DatabaseStats& database : stats.databases) {
    databases.push_back(with_size(JsonObject().add_text("name", database.name), database.size));
  }
  return JsonObject()
      .add_number("articles", stats.articles)
      .add_number("last_id", stats.last_id)
      .add_number("log_bytes", stats.log_bytes)
      .add_text("rules", stats.rules)
      .add_texts("lexicons", stats.lexicons)
      .add_text("library_lexicon", ostren::fenra::lexiconVersion())
      .add_flag("needs_rebuild", needs_rebuild(stats))
      .add_objects("databases", databases)
      .add_object("total", with_size(JsonObject(), stats.total));
}

void stats(const StatsOptions& options) {
  const StoreStats measured = measure_store(options.store);
  if (options.json) {
    print_line(stats_json(measured).line());
  } else {
    print_plain(measured);
  }
}

}  // namespace

void add_stats_command(const Command& program) {
  auto options = std::make_shared<StatsOptions>();
  const Command command =
      program.add_command("stats", "Print the size of a store and of its databases");
  command.add_text("STORE", options->store, "Store directory").required();
  command.add_flag("--json", options->json, "Print one JSON object");
  command.set_footer(
      "Copies the store as it stands to the temporary directory, which needs room for it (set\n"
      "TMPDIR), and reads the whole copy, so the store can be in use and written to.\n"
      "Example:\n"
      "  fenra stats articles.store");
  command.set_action([options] { stats(*options); });
}

}  // namespace cli
