// What the text-analysis tests share.
#ifndef FENRA_TESTS_TEXT_SUPPORT_H
#define FENRA_TESTS_TEXT_SUPPORT_H

#include <pcre.h>
#include <pthread.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "text/articledb_util.h"

// The tests stand between the library and pcre_exec.
namespace pcre_seam {
extern bool interpreter_only;  // machine code is not run
extern int searches;           // made so far
extern int failing_search;     // the number of a search that returns `failure` instead
extern int failure;
}  // namespace pcre_seam

// Not UTF-8, each of them.
inline const std::vector<std::string> kInvalidUtf8 = {
    "\x80", "\xC3",         "\xC0\x80",     "\xE2\x82",        "\xED\xA0\x80",
    "\xFF", "\xE0\x80\x80", "\xF0\x9F\x98", "\xF4\x90\x80\x80"};

inline std::string repeat(const std::string& unit, int count) {
  std::string text;
  while (count-- > 0) {
    text += unit;
  }
  return text;
}

// Calls `body` on a thread with 256 KiB of stack, as later threads get too.
template <typename Body>
void on_small_stack(Body body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_setattr_default_np(&attributes);
  std::thread(body).join();
}

// Random concatenations of pieces, given with '|' between them, and of a zero
// byte. FENRA_TEST_SEED repeats a run.
class RandomText {
 public:
  explicit RandomText(const std::string& pieces) : pieces_{std::string(1, '\0')} {
    std::istringstream stream(pieces);
    for (std::string piece; std::getline(stream, piece, '|');) {
      pieces_.push_back(piece);
    }
    const char* given = getenv("FENRA_TEST_SEED");
    const unsigned long seed = given ? strtoul(given, nullptr, 10) : std::random_device()();
    std::cout << "FENRA_TEST_SEED=" << seed << std::endl;
    random_.seed(seed);
  }
  std::string next(unsigned most) {
    std::string text;
    for (auto left = random_() % (most + 1); left > 0; --left) {
      text += pieces_[random_() % pieces_.size()];
    }
    return text;
  }

 private:
  std::vector<std::string> pieces_;
  std::mt19937 random_;
};

#endif  // FENRA_TESTS_TEXT_SUPPORT_H
