// Bytes that lie against a page that cannot be touched. PCRE, its machine code and
// Berkeley DB are built without sanitizers; a read past the end faults here.
#ifndef FENRA_TESTS_FUZZ_GUARDED_H
#define FENRA_TESTS_FUZZ_GUARDED_H

#include <sys/mman.h>

#include <cstring>

#include "tests/fuzz/check.h"

namespace fenra_fuzz {

class Guarded {
 public:
  enum Side { kGuardBefore, kGuardBehind };

  // A copy of the bytes with the guard directly on one side.
  Guarded(const uint8_t* data, size_t size, Side side) {
    const size_t room = (size + kPage - 1) / kPage * kPage;
    mapped_ = room + 2 * kPage;
    map_ =
        static_cast<char*>(mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    FUZZ_CHECK(map_ != MAP_FAILED);
    FUZZ_CHECK(room == 0 || mprotect(map_ + kPage, room, PROT_READ | PROT_WRITE) == 0);
    data_ = map_ + kPage + (side == kGuardBehind ? room - size : 0);
    if (size > 0) {
      memcpy(data_, data, size);
    }
  }
  ~Guarded() { munmap(map_, mapped_); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  char* data() const { return data_; }

 private:
  static constexpr size_t kPage = 4096;
  char* map_;
  char* data_;
  size_t mapped_;
};

}  // namespace fenra_fuzz

#endif  // FENRA_TESTS_FUZZ_GUARDED_H
