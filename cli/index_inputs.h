// The inputs of `index`, one after the other, whatever names or holds them.
#ifndef FENRA_CLI_INDEX_INPUTS_H
#define FENRA_CLI_INDEX_INPUTS_H

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "cli/input.h"
#include "cli/input_format.h"
#include "cli/progress.h"

namespace cli {

class Inputs {
 public:
  // Finds the files of `paths`, borrowed like `progress`, which is told what is skipped and,
  // where it can be known, how many inputs there are.
  Inputs(const InputOptions& options, Progress& progress);

  // The inputs in the order of the paths, those of a directory in byte order of their paths, and
  // then those of the list; nothing at the end.
  std::optional<Input> next();

  // What a path stands for.
  struct Found {
    std::string path;                            // "-": standard input
    InputFormat format = InputFormat::kUnknown;  // of a file that holds inputs
    std::string refusal;                         // why it is refused; empty: it is not
    std::string relative;                        // of a page: path for the URL
    std::string mime;                            // of a page
  };

 private:
  Input page(const Found& found) const;

  const InputOptions& options_;
  std::deque<Found> found_;
  std::unique_ptr<InputSource> source_;  // that is being read
};

// Whether the library takes the MIME type: it begins with text/plain or
// text/html, in any case.
bool is_known_mime(const std::string& mime);
bool is_html(const std::string& mime);

}  // namespace cli

#endif  // FENRA_CLI_INDEX_INPUTS_H
