// Runs the fenra program for the tests, in scratch directories.
#ifndef FENRA_TESTS_CLI_PROGRAM_H
#define FENRA_TESTS_CLI_PROGRAM_H

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace cli_test {

struct Result {
  int status = -1;  // exit status; 1000 + number when a signal ended the program
  std::string out;
  std::string err;
};

using Arguments = std::vector<std::string>;

// Runs `fenra ARGUMENTS...` with `input` on standard input.
Result fenra(const Arguments& arguments, const std::string& input = "");

// Whether this system has pseudo-terminals; a container may lack them.
bool terminals_exist();

// Runs it with standard error on a pseudo-terminal of `columns` columns; what was
// shown there is in `err`.
Result fenra_on_terminal(const Arguments& arguments, unsigned short columns);

// Runs it and sends it the signal as soon as `ready` gives 0.
Result fenra_signalled(const Arguments& arguments, int signal, const std::function<int()>& ready);

// Runs it with standard output on the file or device `path`.
Result fenra_to(const std::string& path, const Arguments& arguments);

// Runs it with a pipe as standard output whose reader is gone.
Result fenra_without_reader(const Arguments& arguments);

// The URLs, or whatever lines the program printed.
std::vector<std::string> lines(const std::string& text);

// A fresh directory, removed with all below it.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string path(const std::string& name) const { return root_ / name; }

  // Writes a file, and the directories on the way to it, and returns its path.
  std::string write(const std::string& name, const std::string& content) const;

  // The names of everything below a directory, sorted.
  static std::vector<std::string> listing(const std::string& directory);

 private:
  std::filesystem::path root_;
};

std::string html_page(const std::string& title, const std::string& body);

}  // namespace cli_test

#endif  // FENRA_TESTS_CLI_PROGRAM_H
