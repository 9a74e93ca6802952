// The directory in which a store is built, beside the place where it will be.
#ifndef FENRA_STORE_BULK_BUILD_DIRECTORY_H
#define FENRA_STORE_BULK_BUILD_DIRECTORY_H

#include <string>

#include "base/file.h"

namespace ostren::fenra::store {

// What a build's directory is called: the store's and this.
constexpr char BUILD_SUFFIX[] = ".fenra-build";

// `path` without links and slashes at its end; of a path whose last part does not exist,
// that of the rest. Throws Failed.
std::string absolute_path(const std::string& path);

// Throws Failed unless a directory can be moved to the path: EEXIST when there is
// something but an empty directory.
void require_free(const std::string& path);

// All of it throws Failed.
class BuildDirectory {
 public:
  // Makes the directory for a store in `target`, an absolute path; a left-over of a build
  // that was cut short is removed. EBUSY while another build is at work. EPERM for
  // anything else that is there: a directory of somebody else, one that others can write
  // to where they cannot write to the target, a link.
  explicit BuildDirectory(const std::string& target);

  // Removes it and all files in it.
  ~BuildDirectory();
  BuildDirectory(const BuildDirectory&) = delete;
  BuildDirectory& operator=(const BuildDirectory&) = delete;

  const std::string& path() const { return path_; }

  // Makes it the target, which does not exist or is an empty directory, with all that
  // has been written to it. EEXIST for any other target.
  void become_target();

  // Gets the files of the target, a directory, whose names are `wanted`: the same files,
  // under a second name.
  void link_from_target(bool (*wanted)(const std::string& name)) const;

  // Gives a file of its own mode and owner of the target's of the same name.
  void adopt_from_target(const std::string& name) const;

  // Changes places with the target, takes over its mode and owner, and removes it.
  void replace_target();

 private:
  void claim();
  void open_own();
  void move_to_target(unsigned flags);
  void sync() const;

  const std::string target_;
  const std::string path_;
  Descriptor own_;  // of the directory
  bool moved_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_BUILD_DIRECTORY_H
