// How what copies a store reports a failure.
#ifndef FENRA_STORE_BACKUP_COMPLAINT_H
#define FENRA_STORE_BACKUP_COMPLAINT_H

#include <db.h>

#include <string>
#include <utility>

#include "base/failed.h"

namespace ostren::fenra::store {

// Thrown: a failure and, for people, what has failed and the remedy.
struct Complaint : Failed {
  Complaint(int code_, std::string text_) : Failed{code_}, text(std::move(text_)) {}

  std::string text;
};

// Runs `work` and throws what it throws with the text in front of the reason, as in "cannot
// read 'x': No such file or directory".
template <typename Work>
auto complaining(const std::string& text, Work work) {
  try {
    return work();
  } catch (const Complaint&) {
    throw;
  } catch (const Failed& failed) {
    throw Complaint(failed.code, text + ": " + db_strerror(failed.code));
  }
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BACKUP_COMPLAINT_H
