// Runs the fenra program for the tests.
#ifndef FENRA_TESTS_CLI_PROGRAM_H
#define FENRA_TESTS_CLI_PROGRAM_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace cli_test {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

struct Result {
  int status = -1;  // exit status; 1000 + number when a signal ended the program
  std::string out;
  std::string err;
};

using Arguments = std::vector<std::string>;

// Runs `fenra ARGUMENTS...` with `input` on standard input.
Result fenra(const Arguments& arguments, const std::string& input = "");

// Runs it with standard error on a pseudo-terminal of `columns` columns; what was
// shown there is in `err`. The status is -1 when this system, as a container may,
// has no pseudo-terminals.
Result fenra_on_terminal(const Arguments& arguments, unsigned short columns);

// Runs it and calls `meanwhile` with its process id.
Result fenra_beside(const Arguments& arguments, const std::function<void(pid_t)>& meanwhile);

// Runs it and sends it the signal as soon as `ready` gives true.
Result fenra_signalled(const Arguments& arguments, int signal, const std::function<bool()>& ready);

// Runs it with standard output on a descriptor, which is closed.
Result fenra_to(int descriptor, const Arguments& arguments);

std::vector<std::string> lines(const std::string& text);

// The names of everything below a directory, sorted.
std::vector<std::string> listing(const std::string& directory);

std::string html_page(const std::string& title, const std::string& body);

using Text = testing::Matcher<std::string>;

class ProgramTest : public testing::Test {
 protected:
  // The arguments of a call, which has blanks between them. A "@" in front of one
  // stands for the test's directory, '_' for a blank, and "." alone for no text.
  Arguments arguments(const std::string& call) const;

  Result run(const std::string& call, const std::string& input = "") const {
    return fenra(arguments(call), input);
  }

  // The lines of standard output, with blanks between them.
  std::string answer(const std::string& call) const;

  void expect(const std::string& call, int status, const Text& out, const Text& err = "",
              const std::string& input = "") const;

  std::string write(const std::string& name, const std::string& content) const {
    return directory_.write(name, content);
  }

  const TemporaryDirectory directory_;
};

}  // namespace cli_test

#endif  // FENRA_TESTS_CLI_PROGRAM_H
