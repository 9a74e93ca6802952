#include "text/pattern.h"

#include <pthread.h>

#include <cstddef>
#include <cstdint>

namespace ostren::fenra::text {
namespace {

// Levels of recursion that the built-in patterns may use; they need fewer than
// twenty.
constexpr unsigned long kBuiltinDepth = 64;

// PCRE's interpreter was measured to use about 500 bytes of C stack a level.
constexpr size_t kBytesPerLevel = 1024;
// Left for what the search calls beside its recursion, and for our callers.
constexpr size_t kStackReserve = size_t{64} * 1024;

struct StackBounds {
  uintptr_t low = 0;
  uintptr_t high = 0;
};

// Bounds of the calling thread's stack; both 0 when they cannot be found out.
StackBounds stack_bounds() {
  StackBounds bounds;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
    return bounds;
  }
  void* address = nullptr;
  size_t size = 0;
  if (pthread_attr_getstack(&attributes, &address, &size) == 0) {
    bounds.low = reinterpret_cast<uintptr_t>(address);
    bounds.high = bounds.low + size;
  }
  pthread_attr_destroy(&attributes);
  return bounds;
}

unsigned long depth_left_on_this_stack() {
  thread_local const StackBounds bounds = stack_bounds();
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  // A coroutine may run elsewhere than on its thread's own stack.
  const bool known = bounds.low < here && here < bounds.high;
  if (!known || here - bounds.low < kStackReserve + kBuiltinDepth * kBytesPerLevel) {
    return kBuiltinDepth;
  }
  return (here - bounds.low - kStackReserve) / kBytesPerLevel;
}

}  // namespace

Pattern compile_builtin(const char* source) {
  const char* error = nullptr;
  int error_offset = 0;
  Pattern pattern;
  pcre* code = pcre_compile(source, kCompileOptions, &error, &error_offset, nullptr);
  if (code == nullptr) {
    return pattern;
  }
  pcre_extra* extra = pcre_study(code, PCRE_STUDY_JIT_COMPILE | PCRE_STUDY_EXTRA_NEEDED, &error);
  if (extra == nullptr) {
    pcre_free(code);
    return pattern;
  }
  extra->flags |= PCRE_EXTRA_MATCH_LIMIT | PCRE_EXTRA_MATCH_LIMIT_RECURSION;
  extra->match_limit = UINT32_MAX;  // one step a byte of the longest subject, and more
  extra->match_limit_recursion = kBuiltinDepth;
  pattern.code = code;
  pattern.extra = extra;
  return pattern;
}

pcre_extra limits_of_this_thread() {
  pcre_extra extra = {};
  extra.flags = PCRE_EXTRA_MATCH_LIMIT_RECURSION;
  extra.match_limit_recursion = depth_left_on_this_stack();
  return extra;
}

int search(const Pattern& pattern, std::string_view subject, int start, int* offsets, int size) {
  return pcre_exec(pattern.code, pattern.extra, subject.data(), static_cast<int>(subject.size()),
                   start, PCRE_NOTEMPTY | PCRE_NO_UTF8_CHECK, offsets, size);
}

}  // namespace ostren::fenra::text
