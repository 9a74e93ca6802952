// Standard output and standard error of the program. Everything goes through
// stdio, so that it keeps its order with what the library prints there.
#ifndef FENRA_CLI_OUTPUT_H
#define FENRA_CLI_OUTPUT_H

#include <string_view>

namespace cli {

// Thrown when the reader of standard output has gone: no failure, the program
// closes what it holds and ends quietly.
struct ReaderGone {};

// Write to standard output, the second one with a line feed behind the text.
// They throw ReaderGone or Failure.
void print(std::string_view text);
void print_line(std::string_view text);

// Whether the call has --quiet: no progress is shown, and no summary of what went well. What was
// asked for, and what goes wrong, is written all the same.
bool& quiet();

// A line of a summary, to standard output.
void print_summary(std::string_view text);

// Delivers what is buffered; throws as print does. Called once at the end.
void finish_output();

// Writes "fenra: TEXT" and a line feed to standard error.
void complain(std::string_view text);

}  // namespace cli

#endif  // FENRA_CLI_OUTPUT_H
