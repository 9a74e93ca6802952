// How reading and writing of articles ends early.
#ifndef FENRA_ARTICLES_FAILURE_H
#define FENRA_ARTICLES_FAILURE_H

#include <fenra/articledb.h>

#include <stdexcept>
#include <string>

namespace ostren::fenra::articles {

// Thrown with a message for people, which has the value that was wrong and the remedy.
class Failure : public std::runtime_error {
 public:
  // The code is the store's, the system's or Berkeley DB's, as articledb.h tells them; 0 where
  // none of them says what is wrong.
  explicit Failure(const std::string& message, int code = 0)
      : std::runtime_error(message), code_(code) {}

  int code() const { return code_; }

 private:
  int code_;
};

// What a status of the store's means, for people.
std::string status_text(int status);

// Throws Failure for a status other than 0, with "WHAT: " before what it means.
void check(int status, const std::string& what);

// Throws Failure for a store that is open for reading only when somebody has changed it: what was
// read of it may have ended early.
void check_unchanged(ArticledbDb* db);

// Throws the Failure of what has failed without a code, with that of the store if it gives one.
[[noreturn]] void fail_reading(ArticledbDb* db, const std::string& what);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_FAILURE_H
