#include <fenra/fenra.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/databases.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/rules.h"
#include "cli/snapshot.h"
#include "cli/store.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

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

// The lexicons that the store's record names, with blanks between them.
std::string lexicons_of(const std::string& path) {
  std::ifstream record(fs::path(path) / ostren::fenra::LEXICON_RECORD);
  std::string lexicons;
  for (std::string line; std::getline(record, line);) {
    lexicons += (lexicons.empty() ? "" : " ") + line;
  }
  return lexicons;
}

void print_lexicons(const std::string& path) {
  const std::string used = lexicons_of(path);
  const std::string own = ostren::fenra::lexiconVersion();
  print_line("lexicon  " + (used.empty() ? "not recorded" : used) + "; of this library " + own);
  if (!used.empty() && used != own) {
    print_line("         they differ: some words are not found until the store has been indexed");
    print_line("         anew, with: fenra rebuild STORE NEW");
  }
}

void print_row(const std::string& name, const std::string& entries, const std::string& bytes) {
  char row[128];
  std::snprintf(row, sizeof(row), "%-10s %14s %16s", name.c_str(), entries.c_str(), bytes.c_str());
  print_line(row);
}

void stats(const std::string& path) {
  StatusLine line;
  const Snapshot snapshot(path, line);
  line.clear();
  const Store store = open_store(snapshot.path());
  const uint64_t last = last_id(store.get());
  const ArticledbDb& db = *store;
  print_line("articles " + std::to_string(measure_size(db.urldb).entries));
  print_line("last id  " + std::to_string(last));
  print_line("log      " + std::to_string(log_bytes(path)) + " bytes");
  print_line(std::string("rules    ") + rules_of(store.get()).name);
  print_lexicons(path);
  print_line("");
  print_row("database", "entries", "bytes");
  Size total;
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    const Size size = measure_size(db.*database->field);
    total.entries += size.entries;
    total.bytes += size.bytes;
    print_row(database->name, std::to_string(size.entries), std::to_string(size.bytes));
  }
  print_row("total", std::to_string(total.entries), std::to_string(total.bytes));
}

}  // namespace

void add_stats_command(const Command& program) {
  auto path = std::make_shared<std::string>();
  const Command command =
      program.add_command("stats", "Print the size of a store and of its databases");
  command.add_text("STORE", *path, "Store directory").required();
  command.set_footer(
      "Copies the store as it stands to the temporary directory, which needs room for it (set\n"
      "TMPDIR), and reads the whole copy, so the store can be in use and written to.\n"
      "Example:\n"
      "  fenra stats articles.store");
  command.set_action([path] { stats(*path); });
}

}  // namespace cli
