// What every function of fenra_c.h does around its work.
#ifndef FENRA_CAPI_CALL_H
#define FENRA_CAPI_CALL_H

#include <fenra/fenra_c.h>
#include <sys/types.h>
#include <unistd.h>

#include <exception>
#include <string>

namespace ostren::fenra::capi {

// Thrown where the status is known.
struct Outcome {
  fenra_status status;
  std::string message;
};

// Sets *error, unless it is null, and gives the status.
fenra_status report(fenra_status status, const std::string& message, fenra_error* error);

// Reports what is being handled. Called in a catch clause.
fenra_status report_exception(fenra_error* error) noexcept;

// Does the work, which returns a status or throws.
template <typename Work>
fenra_status guarded(fenra_error* error, Work work) noexcept {
  try {
    return report(work(), "", error);
  } catch (...) {
    return report_exception(error);
  }
}

// Throws an Outcome for a null argument, and gives it back else.
template <typename T>
T* required(T* argument, const char* name) {
  if (argument == nullptr) {
    throw Outcome{FENRA_WRONG_CALL, std::string("the argument '") + name + "' is NULL"};
  }
  return argument;
}

// The place for what a call gives back, cleared.
template <typename T>
T** cleared(T** place, const char* name) {
  *required(place, name) = nullptr;
  return place;
}

// The process that has made a handle.
class Maker {
 public:
  Maker() : pid_(getpid()) {}

  bool is_this_process() const { return pid_ == getpid(); }

  // Throws an Outcome in another process, to be called before anything that it may share.
  void check() const {
    if (!is_this_process()) {
      throw Outcome{FENRA_FORKED, "the handle was made by process " + std::to_string(pid_) +
                                      ", before a fork; open another one in the child"};
    }
  }

 private:
  const pid_t pid_;
};

}  // namespace ostren::fenra::capi

#endif  // FENRA_CAPI_CALL_H
