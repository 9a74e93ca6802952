#include "store/backup/store_backup.h"

#include <cerrno>
#include <memory>

#include "store/backup/complaint.h"
#include "store/backup/page_check.h"
#include "store/backup/private_store.h"
#include "store/backup/store_copy.h"
#include "store/bulk/build_directory.h"
#include "store/bulk/work_meter.h"

namespace ostren::fenra::store {
namespace {

constexpr guint32 EVERY_CALL = 1;

// What the codes of BuildDirectory mean here.
std::string reason(int code, const std::string& target) {
  switch (code) {
    case EEXIST:
      return "there is something; name a new or an empty directory";
    case EBUSY:
      return "another backup, or a build, is at work there";
    case EPERM:
      return "'" + target + BUILD_SUFFIX +
             "' is no directory, or belongs to somebody else, or others can write to it; remove it";
    default:
      return db_strerror(code);
  }
}

template <typename Work>
auto at_target(const std::string& target, Work work) {
  try {
    return work();
  } catch (const Failed& failed) {
    throw Complaint(failed.code,
                    "cannot make the backup '" + target + "': " + reason(failed.code, target));
  }
}

std::string target_path(const std::string& store, const std::string& path) {
  std::string target = at_target(path, [&path] {
    std::string absolute = absolute_path(path);
    require_free(absolute);
    return absolute;
  });
  const std::string source = complaining("there is no store at '" + store + "'",
                                         [&store] { return absolute_path(store); });
  if (target.compare(0, source.size() + 1, source + "/") == 0) {
    throw Complaint(EINVAL, "cannot make the backup '" + path +
                                "': it is in the directory of the store; name one outside of it");
  }
  return target;
}

void require_sound(const std::string& directory, ArticledbBulkProgressFunc progress, void* state) {
  std::string first;
  WorkMeter meter(progress, state, EVERY_CALL);
  check_pages(
      directory, [&first](const std::string& line) { first = first.empty() ? line : first; },
      &meter);
  if (!first.empty()) {
    throw Complaint(DB_VERIFY_BAD, "the copy is damaged (" + first +
                                       "); see whether the store is, with: fenra verify STORE");
  }
}

}  // namespace

void make_backup(const std::string& store, const std::string& path,
                 ArticledbBulkProgressFunc progress, void* state) {
  const std::string target = target_path(store, path);
  const auto directory =
      at_target(target, [&target] { return std::make_unique<BuildDirectory>(target); });
  WorkMeter meter(progress, state, EVERY_CALL);
  StoreCopy copy(store, directory->path(), &meter);
  copy.copy_databases();
  put_in_order(directory->path());
  // The settings of a DB_CONFIG are for those who open the backup.
  copy.copy_other_files();
  require_sound(directory->path(), progress, state);
  at_target(target, [&directory] { directory->become_target(); });
}

}  // namespace ostren::fenra::store
