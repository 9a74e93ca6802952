// The file DB_CONFIG of a store directory: settings that Berkeley DB reads by itself
// when it opens the environment, over those of the program. What it may hold is
// checked first, since most of what Berkeley DB would take undoes what the store relies
// on. docs/tuning.md tells users about it.
#ifndef FENRA_STORE_LAYOUT_DB_CONFIG_H
#define FENRA_STORE_LAYOUT_DB_CONFIG_H

#include <glib.h>

#include "store/layout/store_files.h"

namespace ostren::fenra::store {

// On disk.
constexpr char CACHE_SETTING[] = "set_cachesize";

// The cache without a DB_CONFIG, and the limits of one with it, in bytes.
constexpr guint64 DEFAULT_CACHE_BYTES = guint64{10} << 20;
constexpr guint64 LEAST_CACHE_BYTES = 20 << 10;
constexpr guint64 MOST_CACHE_BYTES = guint64{64} << 30;

struct DbConfig {
  bool sets_cache = false;
  guint64 cache_bytes = DEFAULT_CACHE_BYTES;
  // Tells two contents of the file from each other; 0 without the file.
  guint32 fingerprint = 0;
};

// Takes the content of the file apart. Returns 0, or EINVAL for one that Berkeley DB
// would not take, or that a store cannot be used with; *complaint is then what is wrong
// and the remedy, to be released with g_free.
int db_config_parse(const char* text, gsize length, DbConfig* config, gchar** complaint);

// Reads and parses the file of a directory, if there is one; *text, unless it is null,
// becomes its content, zero-terminated and of *length bytes, or null without the file. It
// is set, and to be released with g_free, whenever the file could be read. Results as
// db_config_parse, also EINVAL for a file that is not regular or too long, and the code
// of the system call that failed with *complaint set.
int db_config_read(const char* directory, DbConfig* config, gchar** text, gsize* length,
                   gchar** complaint);

// The fingerprint of the file of a directory, whether it is any good or not: that shows
// when the environment is opened.
guint32 db_config_fingerprint(const char* directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_DB_CONFIG_H
