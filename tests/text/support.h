// What the text-analysis tests share.
#ifndef FENRA_TESTS_TEXT_SUPPORT_H
#define FENRA_TESTS_TEXT_SUPPORT_H

#include <pcre.h>

#include <vector>

#include "tests/support/repeat.h"
#include "tests/support/small_stack.h"
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

#endif  // FENRA_TESTS_TEXT_SUPPORT_H
