// How what takes many steps reports a failure; what has been done is undone by leaving it. No
// exported function lets it out: where codes are returned, status_of makes one of it.
#ifndef FENRA_BASE_FAILED_H
#define FENRA_BASE_FAILED_H

#include <cerrno>
#include <new>

namespace ostren::fenra {

// Thrown. The code is Berkeley DB's or the system's, never 0.
struct Failed {
  int code;
};

inline void require(int code) {
  if (code != 0) {
    throw Failed{code};
  }
}

// For system calls that give -1 and set errno.
template <typename Result>
Result require_call(Result result) {
  if (result == -1) {
    throw Failed{errno == 0 ? EIO : errno};
  }
  return result;
}

// The status of a call that may throw: 0, the code of a Failed, or -1 when memory is
// short.
template <typename Call>
int status_of(Call call) {
  try {
    call();
  } catch (const Failed& failed) {
    return failed.code;
  } catch (const std::exception&) {
    return -1;
  }
  return 0;
}

}  // namespace ostren::fenra

#endif  // FENRA_BASE_FAILED_H
