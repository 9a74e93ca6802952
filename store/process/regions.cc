#include "store/process/regions.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "store/layout/db_config.h"
#include "store/layout/schema.h"
#include "store/layout/store_files.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
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
    if (is_region_name(name) && sscanf(line, "%lx-%lx", &start, &end) == 2) {
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

// What is given to them besides, if it is there: when the disk has become full, recovery
// deletes the files, and needs more room than the new ones for the log.
constexpr off_t SPARE_BYTES = off_t{2} << 20;

// Gives an open file disk space; as good as done where the file system does not know how.
int reserve(int fd, int mode, off_t begin, off_t length) {
  return fallocate(fd, mode, begin, length) == 0 || errno == EOPNOTSUPP || errno == ENOSYS ? 0
                                                                                           : errno;
}

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
  const int ret = reserve(fd, FALLOC_FL_KEEP_SIZE, 0, length);
  if (ret == 0 && strcmp(name, "__db.001") == 0) {
    reserve(fd, FALLOC_FL_KEEP_SIZE, length, SPARE_BYTES);
  }
  close(fd);
  return ret;
}

// The unit of st_blocks.
constexpr off_t BLOCK_BYTES = 512;

// Calls `visit(path)` for every region file of the directory. Returns the last code that it
// has given, or ENOENT without a directory.
template <typename Visit>
int visit_files(const char* directory, Visit visit) {
  GDir* entries = g_dir_open(directory, 0, nullptr);
  if (entries == nullptr) {
    return ENOENT;
  }
  int ret = 0;
  while (const char* entry = g_dir_read_name(entries)) {
    if (is_region_name(entry)) {
      gchar* path = g_build_filename(directory, entry, nullptr);
      const int code = visit(path);
      ret = code != 0 ? code : ret;
      g_free(path);
    }
  }
  g_dir_close(entries);
  return ret;
}

// Whether the disk has room: Berkeley DB touches the memory of the regions while it makes
// them, before anything can be reserved.
int look_for_room(const char* directory, off_t room) {
  gchar* name = g_build_filename(directory, ROOM_FILE, nullptr);
  int fd = -1;
  // One that is there is of a recovery that was killed.
  if (unlink(name) == 0 || errno == ENOENT) {
    fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }
  const int ret = fd == -1 ? errno : reserve(fd, 0, 0, room);
  if (fd != -1) {
    close(fd);
    unlink(name);
  }
  g_free(name);
  return ret;
}

// What all regions are reserved with a cache of the given size, and some more.
off_t room_for(guint64 cache_bytes) {
  constexpr off_t ROOM_BYTES = off_t{28} << 20;  // with the default cache
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

int regions_make_way(const char* directory, guint64 cache_bytes) {
  const off_t room = room_for(cache_bytes);
  struct statvfs disk = {};
  const bool known = statvfs(directory, &disk) == 0;
  off_t present = 0;
  int ret = visit_files(directory, [&](const char* path) {
    struct stat status = {};
    present += lstat(path, &status) == 0 ? off_t{status.st_blocks} * BLOCK_BYTES : 0;
    return 0;
  });
  if (ret != 0) {
    return ret;
  }
  // The files stay where the new ones will not fit: others would take the room.
  if (known && static_cast<off_t>(disk.f_bavail * disk.f_frsize) + present < room) {
    return ENOSPC;
  }
  ret = visit_files(
      directory, [](const char* path) { return unlink(path) == 0 || errno == ENOENT ? 0 : errno; });
  return ret != 0 ? ret : look_for_room(directory, room);
}

}  // namespace ostren::fenra::store
