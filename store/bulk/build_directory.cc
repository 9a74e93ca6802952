#include "store/bulk/build_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/failed.h"
#include "base/handles.h"

namespace ostren::fenra::store {
namespace {

std::string parent_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

// A store and a build have files only, no directories.
void remove_files(int directory) {
  for (const std::string& name : names_in(directory)) {
    require_call(unlinkat(directory, name.c_str(), 0));
  }
}

// Gives an open file mode and owner of another one. Another owner only root can give.
void adopt(int fd, const struct stat& attributes) {
  if (fchown(fd, attributes.st_uid, attributes.st_gid) != 0 && errno != EPERM) {
    throw Failed{errno};
  }
  require_call(fchmod(fd, attributes.st_mode & 07777U));
}

bool is_same_directory(int fd, const std::string& path) {
  struct stat open_one = {};
  struct stat named_one = {};
  return fstat(fd, &open_one) == 0 && lstat(path.c_str(), &named_one) == 0 &&
         open_one.st_dev == named_one.st_dev && open_one.st_ino == named_one.st_ino;
}

}  // namespace

std::string absolute_path(const std::string& path) {
  std::string stripped = path;
  while (stripped.size() > 1 && stripped.back() == '/') {
    stripped.pop_back();
  }
  const auto resolve = [](const std::string& name) {
    const CMemory<char> resolved(realpath(name.c_str(), nullptr));
    const int code = errno;
    std::string result = resolved == nullptr ? "" : resolved.get();
    errno = code;
    return result;
  };
  std::string resolved = resolve(stripped);
  if (!resolved.empty()) {
    return resolved;
  }
  const size_t slash = stripped.rfind('/');
  const std::string name = slash == std::string::npos ? stripped : stripped.substr(slash + 1);
  if (errno != ENOENT || name.empty()) {
    throw Failed{errno};
  }
  resolved = resolve(slash == std::string::npos ? "."
                     : slash == 0               ? "/"
                                                : stripped.substr(0, slash));
  if (resolved.empty()) {
    throw Failed{errno};
  }
  return resolved == "/" ? "/" + name : resolved + "/" + name;
}

void require_free(const std::string& path) {
  const Descriptor found(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!found) {
    require(errno == ENOENT ? 0 : errno == ENOTDIR ? EEXIST : errno);
    return;
  }
  require(names_in(found.get()).empty() ? 0 : EEXIST);
}

BuildDirectory::BuildDirectory(const std::string& target)
    : target_(target), path_(target + BUILD_SUFFIX) {
  claim();
}

// A lock tells a build at work from one that is left over.
void BuildDirectory::claim() {
  do {
    if (mkdir(path_.c_str(), 0700) != 0 && errno != EEXIST) {
      throw Failed{errno};
    }
    open_own();
    if (!own_) {
      continue;
    }
    if (flock(own_.get(), LOCK_EX | LOCK_NB) != 0) {
      throw Failed{errno == EWOULDBLOCK ? EBUSY : errno};
    }
    // It may have been removed, or become a store, in between.
  } while (!own_ || !is_same_directory(own_.get(), path_));
  // Of a compaction that was cut short it may have the store's mode.
  require_call(fchmod(own_.get(), 0700));
  remove_files(own_.get());
}

// Leaves own_ at none when the directory is gone.
void BuildDirectory::open_own() {
  own_ = Descriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!own_) {
    require(errno == ENOENT ? 0 : errno == ENOTDIR || errno == ELOOP ? EPERM : errno);
    return;
  }
  struct stat status = {};
  struct stat target = {};
  require_call(fstat(own_.get(), &status));
  const bool has_target = stat(target_.c_str(), &target) == 0;
  const mode_t others = status.st_mode & (S_IWGRP | S_IWOTH);
  require(status.st_uid != geteuid() || (others & ~(has_target ? target.st_mode : 0)) != 0 ? EPERM
                                                                                           : 0);
}

BuildDirectory::~BuildDirectory() {
  if (!moved_) {
    status_of([this] { remove_files(own_.get()); });
    rmdir(path_.c_str());
  }
}

// Changes the name on the disk too, or not at all.
void BuildDirectory::move_to_target(unsigned flags) {
  sync();
  if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), flags) != 0) {
    throw Failed{errno == ENOTEMPTY || errno == ENOTDIR ? EEXIST : errno};
  }
  const int ret = status_of([this] { sync_path(parent_of(target_)); });
  if (ret != 0) {
    // Nobody has got in: the same kind of lock keeps openings of the store apart.
    renameat2(AT_FDCWD, target_.c_str(), AT_FDCWD, path_.c_str(), flags);
    throw Failed{ret};
  }
  moved_ = true;
  flock(own_.get(), LOCK_UN);
}

void BuildDirectory::become_target() { move_to_target(0); }

void BuildDirectory::replace_target() {
  struct stat attributes = {};
  require_call(stat(target_.c_str(), &attributes));
  adopt(own_.get(), attributes);
  move_to_target(RENAME_EXCHANGE);
  // What is left is not the store any more, and a failure to remove it no failure: the
  // next build does it.
  const int removed =
      status_of([this] { remove_files(open_to_read(path_, O_DIRECTORY | O_NOFOLLOW).get()); });
  if (removed == 0) {
    rmdir(path_.c_str());
  }
}

void BuildDirectory::link_from_target(bool (*wanted)(const std::string& name)) const {
  const Descriptor target = open_to_read(target_, O_DIRECTORY);
  for (const std::string& name : names_in(target.get())) {
    if (wanted(name)) {
      require_call(linkat(target.get(), name.c_str(), own_.get(), name.c_str(), 0));
    }
  }
}

void BuildDirectory::adopt_from_target(const std::string& name) const {
  struct stat attributes = {};
  require_call(lstat((target_ + "/" + name).c_str(), &attributes));
  adopt(open_to_read(path_ + "/" + name, O_NOFOLLOW).get(), attributes);
}

void BuildDirectory::sync() const {
  for (const std::string& name : names_in(own_.get())) {
    sync_path(path_ + "/" + name);
  }
  sync_file(own_.get());
}

}  // namespace ostren::fenra::store
