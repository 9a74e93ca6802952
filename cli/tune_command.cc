#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/store.h"
#include "store/layout/db_config.h"

namespace cli {
namespace {

using namespace ostren::fenra::store;

// ---- sizes ----

constexpr struct {
  char letter;
  uint64_t bytes;
} kUnits[] = {{'G', uint64_t{1} << 30}, {'M', 1 << 20}, {'K', 1 << 10}};

// A size in its largest unit that divides it: "256M".
std::string size_text(uint64_t bytes) {
  for (const auto& unit : kUnits) {
    if (bytes % unit.bytes == 0) {
      return std::to_string(bytes / unit.bytes) + unit.letter;
    }
  }
  return std::to_string(bytes) + " bytes";
}

[[noreturn]] void refuse_size(const std::string& text, const std::string& reason) {
  throw Failure("--cache: '" + text + "' " + reason, kWrongCall);
}

uint64_t memory_bytes() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long page_bytes = sysconf(_SC_PAGESIZE);
  return pages <= 0 || page_bytes <= 0
             ? MOST_CACHE_BYTES
             : static_cast<uint64_t>(pages) * static_cast<uint64_t>(page_bytes);
}

uint64_t parse_size(const std::string& text) {
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  uint64_t unit = 1;
  for (const auto& known : kUnits) {
    if (text.substr(digits) == std::string(1, known.letter)) {
      unit = known.bytes;
    }
  }
  if (digits == 0 || text.size() - digits > 1 || (unit == 1 && digits != text.size())) {
    refuse_size(text,
                "is no size; give a number of bytes, or of K, M or G, as in 256M, or default");
  }
  guint64 number = 0;
  if (!g_ascii_string_to_unsigned(text.substr(0, digits).c_str(), 10, 0, G_MAXUINT64 / unit,
                                  &number, nullptr) ||
      number * unit > MOST_CACHE_BYTES) {
    refuse_size(text, "is too much; " + size_text(MOST_CACHE_BYTES) + " is the most");
  }
  if (number * unit < LEAST_CACHE_BYTES) {
    refuse_size(text, "is too little; " + size_text(LEAST_CACHE_BYTES) + " is the least");
  }
  // The cache is memory; one that is swapped out is slower than none.
  if (number * unit > memory_bytes() / 4 * 3) {
    refuse_size(text, "is more than three quarters of this machine's memory, " +
                          size_text(memory_bytes() >> 20 << 20));
  }
  return number * unit;
}

// ---- the file ----

[[noreturn]] void fail_config(const std::string& store, const std::string& reason) {
  throw Failure("'" + store + "/" + DB_CONFIG_FILE + "': " + reason);
}

// The lines of a store's DB_CONFIG that do not set the cache.
std::string other_settings(const std::string& store) {
  DbConfig config;
  gchar* text = nullptr;
  gchar* complaint = nullptr;
  gsize length = 0;
  db_config_read(store.c_str(), &config, &text, &length, &complaint);
  const GlibText text_owner(text);
  const GlibText complaint_owner(complaint);
  if (text == nullptr) {
    if (complaint != nullptr) {
      fail_config(store, complaint);
    }
    return "";
  }
  std::string kept;
  const std::string all(text, length);
  for (size_t start = 0; start < all.size();) {
    const size_t end = std::min(all.find('\n', start), all.size());
    const std::string line = all.substr(start, end - start);
    const size_t word = std::min(line.find_first_not_of(" \t\v\f\r"), line.size());
    const size_t behind = std::min(line.find_first_of(" \t\v\f\r", word), line.size());
    if (line.substr(word, behind - word) != CACHE_SETTING) {
      kept += line + "\n";
    }
    start = end + 1;
  }
  return kept;
}

void write_config(const std::string& store, const std::string& text) {
  const std::string path = store + "/" + DB_CONFIG_FILE;
  DbConfig config;
  gchar* complaint = nullptr;
  const int status = db_config_parse(text.data(), text.size(), &config, &complaint);
  const GlibText complaint_owner(complaint);
  if (status != 0) {
    fail_config(store, complaint);
  }
  if (text.empty()) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
      fail_config(store, std::string("it cannot be removed: ") + std::strerror(errno));
    }
    return;
  }
  constexpr int kMode = 0600;
  GError* error = nullptr;
  // Another file, written out, that takes the place of the former one.
  constexpr auto kAtOnce = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                              G_FILE_SET_CONTENTS_DURABLE);
  if (!g_file_set_contents_full(path.c_str(), text.data(), static_cast<gssize>(text.size()),
                                kAtOnce, kMode, &error)) {
    const std::string reason = error->message;
    g_error_free(error);
    throw Failure(reason);
  }
}

std::string cache_line(uint64_t bytes) {
  constexpr uint64_t kGigabyte = uint64_t{1} << 30;
  return std::string(CACHE_SETTING) + " " + std::to_string(bytes / kGigabyte) + " " +
         std::to_string(bytes % kGigabyte) + " 1\n";
}

// Refuses a cache that the store could not be opened with: its file and that of its
// mutexes take the place of the present ones.
void require_room(const std::string& store, uint64_t cache_bytes) {
  const uint64_t needed = cache_bytes + cache_bytes / 3;
  std::error_code error;
  uint64_t room = std::filesystem::space(store, error).available;
  if (error) {
    return;
  }
  for (const auto& entry : std::filesystem::directory_iterator(store, error)) {
    struct stat status = {};
    if (entry.path().filename().string().compare(0, 5, "__db.") == 0 &&
        stat(entry.path().c_str(), &status) == 0) {
      room += static_cast<uint64_t>(status.st_blocks) * 512;
    }
  }
  if (room < needed) {
    throw Failure("a cache of " + size_text(cache_bytes) + " takes " +
                  std::to_string(needed >> 20) + " MiB of disk space, and there are " +
                  std::to_string(room >> 20) + " MiB for '" + store + "'; give a smaller size");
  }
}

// ---- showing ----

// The memory of a cache, which Berkeley DB makes larger than it is asked to.
uint64_t memory_of(DB_ENV* env) {
  u_int32_t gigabytes = 0;
  u_int32_t bytes = 0;
  int parts = 0;
  const int status = env->get_cachesize(env, &gigabytes, &bytes, &parts);
  if (status != 0) {
    throw Failure("cannot ask for the cache: " + status_text(status));
  }
  return (uint64_t{gigabytes} << 30) + bytes;
}

void release_environment(DB_ENV* env) { env->close(env, 0); }

// What memory_of() says of a store that is opened with the setting.
uint64_t memory_for(uint64_t cache_bytes) {
  constexpr uint64_t kGigabyte = uint64_t{1} << 30;
  DB_ENV* env = nullptr;
  if (db_env_create(&env, 0) != 0) {
    throw std::bad_alloc();
  }
  const std::unique_ptr<DB_ENV, Releaser<release_environment>> owner(env);
  env->set_cachesize(env, static_cast<u_int32_t>(cache_bytes / kGigabyte),
                     static_cast<u_int32_t>(cache_bytes % kGigabyte), 1);
  return memory_of(env);
}

void show(const std::string& path) {
  DbConfig config;
  gchar* complaint = nullptr;
  const int status = db_config_read(path.c_str(), &config, nullptr, nullptr, &complaint);
  const GlibText complaint_owner(complaint);
  if (status != 0) {
    fail_config(path, complaint);
  }
  print_line(
      "cache set       " + size_text(config.cache_bytes) +
      (config.sets_cache ? std::string(", in ") + DB_CONFIG_FILE : std::string(", the default")));
  Store store = open_store(path);
  const uint64_t memory = memory_of(store->env);
  close_store(std::move(store));
  // The memory is made up to whole pages of the system's.
  constexpr uint64_t kRounding = 16 << 10;
  const uint64_t wanted = memory_for(config.cache_bytes);
  const bool present = memory + kRounding > wanted && memory < wanted + kRounding;
  char mebibytes[64];
  std::snprintf(mebibytes, sizeof(mebibytes), "%.1f MiB of memory",
                static_cast<double>(memory) / (1 << 20));
  print_line(std::string("cache in effect ") + mebibytes +
             (present ? "" : "; as set once everybody has closed the store"));
}

void tune(const std::string& path, const std::optional<uint64_t>& cache_bytes) {
  require_store(path);
  if (cache_bytes) {
    require_room(path, *cache_bytes);
  }
  write_config(path, other_settings(path) + (cache_bytes ? cache_line(*cache_bytes) : ""));
  show(path);
}

}  // namespace

void add_tune_command(const Command& program) {
  auto path = std::make_shared<std::string>();
  auto cache = std::make_shared<std::string>();
  const Command command = program.add_command("tune", "Show or set the size of a store's cache");
  command.add_text("STORE", *path, "Store directory").required();
  const Argument option = command.add_text(
      "--cache", *cache,
      "Bytes, or K, M or G of them, as in 256M; default: " + size_text(DEFAULT_CACHE_BYTES));
  command.set_footer(
      "The cache is memory that all who have the store open share. A change is written to the\n"
      "file DB_CONFIG of the store and takes effect when everybody has closed the store and the\n"
      "next one opens it, as this command does when nobody else has it open.\n"
      "Example:\n"
      "  fenra tune articles.store --cache 256M");
  command.set_action([=] {
    if (!option.given()) {
      require_store(*path);
      show(*path);
    } else if (*cache == "default") {
      tune(*path, std::nullopt);
    } else {
      tune(*path, parse_size(*cache));
    }
  });
}

}  // namespace cli
