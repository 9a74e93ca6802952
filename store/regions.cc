#include "store/regions.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "store/db_config.h"
#include "store/ownership.h"
#include "store/schema.h"

namespace ostren {
namespace fenra {
namespace store {
namespace {

// The name of the mapped file in a line of /proc/self/maps, in which five fields precede it; the
// empty string for other memory.
const char* mapped_name(const char* line) {
  constexpr int FIELDS = 5;
  for (int field = 0; field < FIELDS; ++field) {
    line += strcspn(line, " ");
    line += strspn(line, " ");
  }
  return line;
}

// What the kernel writes for a name: a newline would end the line.
gchar* as_in_maps(const gchar* name) {
  gchar** parts = g_strsplit(name, "\n", -1);
  gchar* result = g_strjoinv("\\012", parts);
  g_strfreev(parts);
  return result;
}

// Calls `visit(mapping, name)` for every mapping of a region file of the directory, the
// name being that in the directory; " (deleted)" stands behind one that is gone.
template <typename Visit>
void visit_regions(const char* directory, Visit visit) {
  FILE* maps = fopen("/proc/self/maps", "re");
  if (maps == nullptr) {
    return;
  }
  gchar* parent = g_build_filename(directory, "/", nullptr);
  gchar* prefix = as_in_maps(parent);
  char* line = nullptr;
  size_t capacity = 0;
  ssize_t length;
  while ((length = getline(&line, &capacity, maps)) > 0) {
    line[length - 1] = '\0';
    const char* path = mapped_name(line);
    const char* name = g_str_has_prefix(path, prefix) ? path + strlen(prefix) : "";
    unsigned long start = 0;
    unsigned long end = 0;
    if (g_str_has_prefix(name, "__db.") && sscanf(line, "%lx-%lx", &start, &end) == 2) {
      visit(RegionMapping{reinterpret_cast<void*>(start), end - start}, name);
    }
  }
  free(line);
  g_free(prefix);
  g_free(parent);
  fclose(maps);
}

bool contains(const GArray* regions, const RegionMapping& mapping) {
  for (guint i = 0; i < regions->len; ++i) {
    if (g_array_index(regions, RegionMapping, i).address == mapping.address) {
      return true;
    }
  }
  return false;
}

// What the region of the mutexes can grow by: it is made with those of the cache, and
// each of GateFile::PLACES handles takes eleven of some 140 bytes.
constexpr off_t MUTEX_GROWTH_BYTES = off_t{3} << 20;

// Gives the region files the disk space that they can come to need, as far as their
// mappings reach: they grow while the environment is used, and a page that a full
// disk has no room for would be a SIGBUS. The mapping of the mutexes reaches far beyond
// what can be used of it.
int reserve_region(const char* directory, const RegionMapping& mapping, const char* name) {
  if (g_str_has_suffix(name, " (deleted)")) {
    return 0;
  }
  const int fd = open_own_file(directory, name, O_RDWR, 0);
  if (fd == -1) {
    return errno;
  }
  auto length = static_cast<off_t>(mapping.length);
  struct stat status = {};
  if (strcmp(name, "__db.002") == 0 && fstat(fd, &status) == 0) {
    length = MIN(length, status.st_size + MUTEX_GROWTH_BYTES);
  }
  int ret = 0;
  if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, length) != 0 && errno != EOPNOTSUPP &&
      errno != ENOSYS) {
    ret = errno;
  }
  close(fd);
  return ret;
}

// What all regions are reserved with a cache of the given size, and some more.
off_t room_for(guint64 cache_bytes) {
  constexpr off_t ROOM_BYTES = off_t{29} << 20;  // with the default cache
  constexpr off_t MUTEX_BYTES = 160;
  const auto more = static_cast<off_t>(MAX(cache_bytes, DEFAULT_CACHE_BYTES) - DEFAULT_CACHE_BYTES);
  return ROOM_BYTES + more + more / 4 + MUTEX_BYTES * regions_additional_mutexes(cache_bytes);
}

}  // namespace

guint32 regions_additional_mutexes(guint64 cache_bytes) {
  const guint64 more = MAX(cache_bytes, DEFAULT_CACHE_BYTES) - DEFAULT_CACHE_BYTES;
  return static_cast<guint32>(more / PAGE_BYTES * 5 / 2);
}

GArray* regions_list(const char* directory) {
  GArray* regions = g_array_new(FALSE, FALSE, sizeof(RegionMapping));
  visit_regions(directory,
                [&](RegionMapping mapping, const char*) { g_array_append_val(regions, mapping); });
  return regions;
}

int regions_take(const char* directory, const GArray* before, GArray* regions) {
  int ret = 0;
  visit_regions(directory, [&](RegionMapping mapping, const char* name) {
    if (contains(before, mapping)) {
      return;
    }
    g_array_append_val(regions, mapping);
    if (ret == 0) {
      ret = reserve_region(directory, mapping, name);
    }
  });
  return ret;
}

void regions_unmap(const GArray* regions) {
  for (guint i = 0; i < regions->len; ++i) {
    const auto& mapping = g_array_index(regions, RegionMapping, i);
    munmap(mapping.address, mapping.length);
  }
}

int regions_delete(const char* directory) {
  GDir* entries = g_dir_open(directory, 0, nullptr);
  if (entries == nullptr) {
    return ENOENT;
  }
  int ret = 0;
  while (const char* entry = g_dir_read_name(entries)) {
    if (g_str_has_prefix(entry, "__db.")) {
      gchar* name = g_build_filename(directory, entry, nullptr);
      if (unlink(name) != 0 && errno != ENOENT) {
        ret = errno;
      }
      g_free(name);
    }
  }
  g_dir_close(entries);
  return ret;
}

int regions_look_for_room(const char* directory, guint64 cache_bytes) {
  gchar* name = g_build_filename(directory, "fenra.room", nullptr);
  int fd = -1;
  // One that is there is of a recovery that was killed.
  if (unlink(name) == 0 || errno == ENOENT) {
    fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }
  int ret = fd == -1 ? errno : 0;
  if (ret == 0 && fallocate(fd, 0, 0, room_for(cache_bytes)) != 0 && errno != EOPNOTSUPP &&
      errno != ENOSYS) {
    ret = errno;
  }
  if (fd != -1) {
    close(fd);
    unlink(name);
  }
  g_free(name);
  return ret;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
