#include "cli/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/failure.h"

namespace cli {
namespace {

[[noreturn]] void fail_output() {
  if (errno == EPIPE) {
    throw ReaderGone();
  }
  throw Failure(std::string("cannot write to standard output: ") + std::strerror(errno));
}

}  // namespace

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
    fail_output();
  }
}

void print_line(std::string_view text) {
  print(text);
  print("\n");
}

bool& quiet() {
  static bool is_quiet = false;
  return is_quiet;
}

void print_summary(std::string_view text) {
  if (!quiet()) {
    print_line(text);
  }
}

void finish_output() {
  // The error flag also tells of what the library printed there.
  errno = EIO;
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    fail_output();
  }
}

void complain(std::string_view text) {
  std::fprintf(stderr, "fenra: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace cli
