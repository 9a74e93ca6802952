// Files that hold many inputs, and how they are told apart.
#ifndef FENRA_CLI_INPUT_FORMAT_H
#define FENRA_CLI_INPUT_FORMAT_H

#include <memory>
#include <string>

#include "cli/input.h"

namespace cli {

enum class InputFormat {
  kUnknown,
  kWarc,
  kJsonLines,
  kList,
};

// The format that an option names: warc or jsonl. kUnknown for another name.
InputFormat format_named(const std::string& name);

// The format of a file by its first bytes, unpacked: WARC, or the '{' of JSON lines. Throws
// crawl::Unreadable.
InputFormat format_of(const std::string& file);

// The inputs of the file, or for "-" of standard input; that it cannot be read is one that is
// refused. Borrows the options.
std::unique_ptr<InputSource> open_inputs(const std::string& file, InputFormat format,
                                         const InputOptions& options);

}  // namespace cli

#endif  // FENRA_CLI_INPUT_FORMAT_H
