// Files of inputs, one a line: lists of files, and JSON lines.
#ifndef FENRA_CLI_INPUT_LINES_H
#define FENRA_CLI_INPUT_LINES_H

#include <cstdint>
#include <memory>
#include <string>

#include "cli/input.h"
#include "cli/input_format.h"
#include "crawl/byte_reader.h"

namespace cli {

// A line of a list has URL, MIME type, path and perhaps date and source, with tabs between them;
// one of JSON is an object with "url", "text" or "html" and perhaps "mime", "date" and "source".
class InputLines : public InputSource {
 public:
  // `name` is that of the file in messages, `format` kList or kJsonLines. Borrows the options,
  // whose date and source are those of lines without.
  InputLines(const std::string& name, std::unique_ptr<ostren::fenra::crawl::ByteSource> bytes,
             InputFormat format, const InputOptions& options)
      : name_(name), bytes_(std::move(bytes)), format_(format), options_(options) {}

  // The input of the next line, refused when it is malformed.
  std::optional<Input> next() override;

 private:
  const std::string name_;
  ostren::fenra::crawl::ByteReader bytes_;
  const InputFormat format_;
  const InputOptions& options_;
  uint64_t number_ = 0;
  bool ended_ = false;
};

}  // namespace cli

#endif  // FENRA_CLI_INPUT_LINES_H
