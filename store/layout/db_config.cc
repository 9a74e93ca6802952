#include "store/layout/db_config.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "base/handles.h"

namespace ostren::fenra::store {
namespace {

constexpr gsize MOST_FILE_BYTES = 64 << 10;
// Berkeley DB reads lines into 256 bytes and takes the rest of a longer one for
// another line.
constexpr gsize MOST_LINE_BYTES = 250;

constexpr guint64 MOST_CACHE_PARTS = 16;

// The least and the most bytes of a log file. One takes what the log buffer holds
// several times over, and all that a checkpoint lets grow fits into two.
constexpr guint64 LEAST_LOG_BYTES = 10 << 20;
constexpr guint64 MOST_LOG_BYTES = guint64{1} << 30;

using Words = std::unique_ptr<gchar*, Releaser<g_strfreev>>;

int complain(gchar** complaint, gchar* text) {
  *complaint = text;
  return EINVAL;
}

bool read_number(const gchar* word, guint64 most, guint64* number) {
  return g_ascii_isdigit(word[0]) && g_ascii_string_to_unsigned(word, 10, 0, most, number, nullptr);
}

// The words of a line, without the empty ones between two blanks.
Words split(const gchar* line) {
  gchar** words = g_strsplit_set(line, " \t\v\f\r", -1);
  guint kept = 0;
  for (guint i = 0; words[i] != nullptr; ++i) {
    if (words[i][0] == '\0') {
      g_free(words[i]);
    } else {
      words[kept++] = words[i];
    }
  }
  words[kept] = nullptr;
  return Words(words);
}

bool parse_cache(gchar** numbers, guint count, DbConfig* config) {
  guint64 gigabytes = 0;
  guint64 bytes = 0;
  guint64 parts = 0;
  if (count != 3 || !read_number(numbers[0], MOST_CACHE_BYTES >> 30, &gigabytes) ||
      !read_number(numbers[1], G_MAXUINT32, &bytes) ||
      !read_number(numbers[2], MOST_CACHE_PARTS, &parts)) {
    return false;
  }
  config->sets_cache = true;
  config->cache_bytes = (gigabytes << 30) + bytes;
  return config->cache_bytes >= LEAST_CACHE_BYTES && config->cache_bytes <= MOST_CACHE_BYTES;
}

int parse_line(const gchar* line, guint number, DbConfig* config, gchar** complaint) {
  const Words words = split(line);
  gchar** word = words.get();
  const guint count = g_strv_length(word);
  if (count == 0 || word[0][0] == '#') {
    return 0;
  }
  if (strcmp(word[0], CACHE_SETTING) == 0) {
    return parse_cache(word + 1, count - 1, config)
               ? 0
               : complain(complaint,
                          g_strdup_printf(
                              "line %u, '%s': %s takes gigabytes, bytes and a number of parts up "
                              "to %" G_GUINT64_FORMAT ", altogether 20 KiB to 64 GiB; set it with: "
                              "fenra tune STORE --cache SIZE",
                              number, line, CACHE_SETTING, MOST_CACHE_PARTS));
  }
  if (strcmp(word[0], "set_lg_max") == 0) {
    guint64 bytes = 0;
    return count == 2 && read_number(word[1], MOST_LOG_BYTES, &bytes) && bytes >= LEAST_LOG_BYTES
               ? 0
               : complain(complaint,
                          g_strdup_printf("line %u, '%s': set_lg_max takes %" G_GUINT64_FORMAT
                                          " to %" G_GUINT64_FORMAT " bytes; change or remove it",
                                          number, line, LEAST_LOG_BYTES, MOST_LOG_BYTES));
  }
  return complain(complaint, g_strdup_printf("line %u, '%s': a store takes no such setting, only "
                                             "set_cachesize and set_lg_max; remove it",
                                             number, line));
}

// The file's bytes, which `complaint` says the reason against.
int read_file(const char* directory, gchar** text, gsize* length, gchar** complaint) {
  const GMemory<gchar> name(g_build_filename(directory, DB_CONFIG_FILE, nullptr));
  // What is no regular file could keep the opening waiting.
  const int fd = open(name.get(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) {
    const int error = errno;
    if (error != ENOENT) {
      *complaint = g_strdup_printf("it cannot be read: %s", g_strerror(error));
    }
    return error;
  }
  int ret = 0;
  struct stat status = {};
  gchar* bytes = static_cast<gchar*>(g_malloc(MOST_FILE_BYTES + 2));
  ssize_t count = 0;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ret = complain(complaint, g_strdup("it is no regular file; remove it"));
  } else if ((count = read(fd, bytes, MOST_FILE_BYTES + 1)) < 0) {
    ret = errno;
    *complaint = g_strdup_printf("it cannot be read: %s", g_strerror(ret));
  } else if (static_cast<gsize>(count) > MOST_FILE_BYTES) {
    ret = complain(
        complaint,
        g_strdup_printf("it has more than %" G_GSIZE_FORMAT " bytes; shorten it", MOST_FILE_BYTES));
  }
  close(fd);
  if (ret != 0) {
    g_free(bytes);
    return ret;
  }
  bytes[count] = '\0';
  *text = bytes;
  *length = static_cast<gsize>(count);
  return 0;
}

}  // namespace

int db_config_parse(const char* text, gsize length, DbConfig* config, gchar** complaint) {
  *config = DbConfig();
  const uLong checksum = crc32(0, reinterpret_cast<const Bytef*>(text), static_cast<uInt>(length));
  config->fingerprint = checksum == 0 ? 1 : static_cast<guint32>(checksum);
  if (memchr(text, '\0', length) != nullptr) {
    return complain(complaint, g_strdup("it holds a zero byte; make it anew"));
  }
  const Words lines(g_strsplit(text, "\n", -1));
  int ret = 0;
  for (guint i = 0; ret == 0 && lines.get()[i] != nullptr; ++i) {
    ret = strlen(lines.get()[i]) > MOST_LINE_BYTES
              ? complain(complaint, g_strdup_printf("line %u has more than %" G_GSIZE_FORMAT
                                                    " bytes; shorten it",
                                                    i + 1, MOST_LINE_BYTES))
              : parse_line(lines.get()[i], i + 1, config, complaint);
  }
  return ret;
}

int db_config_read(const char* directory, DbConfig* config, gchar** text, gsize* length,
                   gchar** complaint) {
  *config = DbConfig();
  gchar* bytes = nullptr;
  gsize count = 0;
  int ret = read_file(directory, &bytes, &count, complaint);
  if (ret == 0) {
    ret = db_config_parse(bytes, count, config, complaint);
  } else if (ret == ENOENT) {
    ret = 0;
  }
  if (text != nullptr) {
    *text = bytes;
    *length = count;
  } else {
    g_free(bytes);
  }
  return ret;
}

guint32 db_config_fingerprint(const char* directory) {
  DbConfig config;
  gchar* complaint = nullptr;
  db_config_read(directory, &config, nullptr, nullptr, &complaint);
  g_free(complaint);
  return config.fingerprint;
}

}  // namespace ostren::fenra::store
