#include <dlfcn.h>

#include "tests/text/support.h"

namespace pcre_seam {
bool interpreter_only = false;
int searches = 0;
int failing_search = -1;
int failure = 0;
}  // namespace pcre_seam

int pcre_exec(const pcre* code, const pcre_extra* extra, const char* subject, int length, int start,
              int options, int* offsets, int size) {
  static const auto real = reinterpret_cast<decltype(&pcre_exec)>(dlsym(RTLD_NEXT, "pcre_exec"));
  if (pcre_seam::searches++ == pcre_seam::failing_search) {
    return pcre_seam::failure;
  }
  pcre_extra interpreted = extra != nullptr ? *extra : pcre_extra{};
  if (pcre_seam::interpreter_only) {
    interpreted.flags &= ~static_cast<unsigned long>(PCRE_EXTRA_EXECUTABLE_JIT);
  }
  return real(code, &interpreted, subject, length, start, options, offsets, size);
}
