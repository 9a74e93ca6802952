#include "store/process/ownership.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "store/layout/store_files.h"

namespace ostren::fenra::store {
namespace {

bool is_trusted(uid_t user) { return user == geteuid() || user == 0; }

bool is_opened(const char* name) {
  return has_prefix(name, "fenra.") || is_region_name(name) || is_log_name(name) ||
         strcmp(name, DB_CONFIG_FILE) == 0;
}

// Those that are written in place. Others may be linked: compaction does it with files that
// stay, users do it for a copy.
bool has_one_name(const char* name) {
  return strcmp(name, GATE_FILE) == 0 || strcmp(name, JOURNAL_FILE) == 0;
}

gchar* complaint_about_directory(const struct stat& status) {
  if (geteuid() != 0 && !is_trusted(status.st_uid)) {
    return g_strdup_printf(
        "it belongs to user %u; open it as that user, or have it given to "
        "user %u with all files in it",
        status.st_uid, geteuid());
  }
  if ((status.st_mode & S_IWOTH) != 0) {
    return g_strdup(
        "everybody can write to it; make it yours alone with chmod o-w, and look for "
        "files in it that are not yours");
  }
  return nullptr;
}

// A directory in the place of a file is left to the opening, which fails.
gchar* complaint_about_file(const char* name, const struct stat& status, uid_t directory_owner) {
  if (S_ISDIR(status.st_mode)) {
    return nullptr;
  }
  if (S_ISLNK(status.st_mode)) {
    return g_strdup("it is a symbolic link; put a file of its own there, or remove it");
  }
  if (!S_ISREG(status.st_mode)) {
    return g_strdup("it is no regular file; remove it");
  }
  if (!is_trusted(status.st_uid) && status.st_uid != directory_owner) {
    return g_strdup_printf(
        "it belongs to user %u, and the directory to user %u; put a copy of "
        "its own there, or remove it",
        status.st_uid, directory_owner);
  }
  if ((status.st_mode & S_IWOTH) != 0) {
    return g_strdup("everybody can write to it; make it yours alone with chmod o-w");
  }
  if (has_one_name(name) && status.st_nlink > 1) {
    return g_strdup_printf("the same file has %lu names; put a copy of its own there",
                           static_cast<unsigned long>(status.st_nlink));
  }
  return nullptr;
}

// Returns EPERM for a complaint, which it puts into words.
int refuse(const char* path, const char* name, gchar* reason, gchar** complaint) {
  if (reason == nullptr) {
    return 0;
  }
  if (complaint != nullptr) {
    *complaint = g_strdup_printf("%s%s%s: %s", path, *name == '\0' ? "" : "/", name, reason);
  }
  g_free(reason);
  return EPERM;
}

int check_entries(const char* path, DIR* entries, uid_t owner, gchar** complaint) {
  int ret = 0;
  while (const dirent* entry = ret == 0 ? readdir(entries) : nullptr) {
    struct stat status = {};
    if (!is_opened(entry->d_name)) {
      continue;
    }
    if (fstatat(dirfd(entries), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      // Logs are removed by those who have the store open.
      ret = errno == ENOENT ? 0 : errno;
      continue;
    }
    ret =
        refuse(path, entry->d_name, complaint_about_file(entry->d_name, status, owner), complaint);
  }
  return ret;
}

}  // namespace

int ownership_check(const char* directory, gchar** complaint) {
  const int fd = open(directory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd == -1) {
    return errno;
  }
  struct stat status = {};
  int ret = fstat(fd, &status) == 0 ? 0 : errno;
  if (ret == 0) {
    ret = refuse(directory, "", complaint_about_directory(status), complaint);
  }
  DIR* const entries = ret == 0 ? fdopendir(fd) : nullptr;
  if (entries == nullptr) {
    close(fd);
    return ret == 0 ? ENOMEM : ret;
  }
  ret = check_entries(directory, entries, status.st_uid, complaint);
  closedir(entries);
  return ret;
}

int open_own_file(const char* directory, const char* name, int flags, mode_t mode) {
  gchar* path = g_build_filename(directory, name, nullptr);
  // What is no regular file could keep the opening waiting.
  int fd = open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
  int error = fd == -1 ? errno : 0;
  g_free(path);
  struct stat parent = {};
  struct stat status = {};
  if (error == 0 && (stat(directory, &parent) != 0 || fstat(fd, &status) != 0)) {
    error = errno;
  }
  if (error == 0) {
    gchar* reason = complaint_about_file(name, status, parent.st_uid);
    error = reason == nullptr ? 0 : EPERM;
    g_free(reason);
  }
  if (error != 0 && fd != -1) {
    close(fd);
    fd = -1;
  }
  errno = error;
  return fd;
}

}  // namespace ostren::fenra::store
