#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/databases.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

// The pages of a database, and what is used of them.
struct Fill {
  uint64_t pages = 0;
  uint64_t bytes = 0;
  uint64_t free_bytes = 0;

  void add(uint64_t more_pages, uint64_t page_bytes, uint64_t more_free) {
    pages += more_pages;
    bytes += more_pages * page_bytes;
    free_bytes += more_free;
  }
  void add(const Fill& other) {
    pages += other.pages;
    bytes += other.bytes;
    free_bytes += other.free_bytes;
  }

  std::string percent() const {
    return bytes == 0 ? "-" : std::to_string((bytes - free_bytes) * 100 / bytes) + " %";
  }
};

Fill fill_of(const DB_HASH_STAT& stat) {
  Fill fill;
  fill.add(stat.hash_buckets, stat.hash_pagesize, stat.hash_bfree);
  fill.add(stat.hash_bigpages, stat.hash_pagesize, stat.hash_big_bfree);
  fill.add(stat.hash_overflows, stat.hash_pagesize, stat.hash_ovfl_free);
  fill.add(stat.hash_dup, stat.hash_pagesize, stat.hash_dup_free);
  return fill;
}

Fill fill_of(const DB_BTREE_STAT& stat) {
  Fill fill;
  fill.add(stat.bt_int_pg, stat.bt_pagesize, stat.bt_int_pgfree);
  fill.add(stat.bt_leaf_pg, stat.bt_pagesize, stat.bt_leaf_pgfree);
  fill.add(stat.bt_dup_pg, stat.bt_pagesize, stat.bt_dup_pgfree);
  fill.add(stat.bt_over_pg, stat.bt_pagesize, stat.bt_over_pgfree);
  return fill;
}

Fill measure_fill(DB* database) {
  return measure(database, [](const auto& stat) { return fill_of(stat); });
}

using Fills = std::vector<Fill>;

Fills measure_store(const std::string& path) {
  Store store = open_store(path);
  Fills fills;
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    fills.push_back(measure_fill(store.get()->*database->field));
  }
  close_store(std::move(store));
  return fills;
}

void close_database(DB* database) { database->close(database, 0); }

// Of a store that has no log. To open it would begin one.
Fills measure_file(const std::string& path) {
  Fills fills;
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    DB* made = nullptr;
    if (db_create(&made, nullptr, 0) != 0) {
      throw std::bad_alloc();
    }
    const std::unique_ptr<DB, Releaser<close_database>> handle(made);
    const int status = made->open(made, nullptr, (path + "/" + DATABASE_FILE).c_str(),
                                  database->name, DB_UNKNOWN, DB_RDONLY, 0);
    if (status != 0) {
      throw Failure("cannot read the new store: " + status_text(status));
    }
    fills.push_back(measure_fill(made));
  }
  return fills;
}

void print_row(const std::string& name, const std::string& pages, const std::string& fill,
               const std::string& new_pages, const std::string& new_fill) {
  char row[128];
  std::snprintf(row, sizeof(row), "%-10s %12s %8s %12s %8s", name.c_str(), pages.c_str(),
                fill.c_str(), new_pages.c_str(), new_fill.c_str());
  print_summary(row);
}

void print_row(const std::string& name, const Fill& before, const Fill& after) {
  print_row(name, std::to_string(before.pages), before.percent(), std::to_string(after.pages),
            after.percent());
}

void print_fills(const Fills& before, const Fills& after) {
  print_row("database", "pages", "fill", "now", "fill");
  Fill total_before;
  Fill total_after;
  for (size_t i = 0; i < before.size(); ++i) {
    print_row(CLOSING_ORDER[i]->name, before[i], after[i]);
    total_before.add(before[i]);
    total_after.add(after[i]);
  }
  print_row("total", total_before, total_after);
}

std::string reason(const std::string& path, int status) {
  switch (status) {
    case EBUSY:
      return "somebody has it open; try again when nobody has";
    case EPERM:
      return build_refusal(
          path, "there is a directory in it, or a file that cannot be linked; move it away");
    case EINVAL:
    case ENOSYS:
      return "its file system cannot exchange two directories; copy the store to another one";
    default:
      return status_text(status);
  }
}

int show_progress(void* progress, guint64 done, guint64 total) {
  static_cast<Progress*>(progress)->working("compacting", done, total);
  return stop_requested() ? 1 : 0;
}

ExitStatus compact(const std::string& path) {
  Progress progress;
  const Fills before = measure_store(path);
  catch_stop_signals();
  const int status = articledb_bulk_compact(path.c_str(), 0, show_progress, &progress);
  progress.clear();
  if (status == ECANCELED) {
    complain("interrupted: the store is as it was");
    return kInterrupted;
  }
  if (status != 0) {
    throw Failure("cannot compact the store '" + path + "': " + reason(path, status));
  }
  print_fills(before, measure_file(path));
  return kSuccess;
}

}  // namespace

void add_compact_command(const Command& program, ExitStatus& status) {
  auto path = std::make_shared<std::string>();
  const Command command = program.add_command("compact", "Write a store anew, without gaps");
  command.add_text("STORE", *path, "Store directory").required();
  command.add_quiet();
  command.set_footer(
      "Writes all databases anew in their own order and puts them in the place of the old ones,\n"
      "in one step, when they are complete. Articles and ids stay; the words of articles that "
      "were\n"
      "replaced or deleted go. The log is gone afterwards.\n"
      "Nobody else can have the store open meanwhile, and the disk needs room for a second copy\n"
      "of it. Prints the pages of each database and how full they are, before and after.\n"
      "Example:\n"
      "  fenra compact articles.store");
  command.set_action([=, &status] { status = compact(*path); });
}

}  // namespace cli
