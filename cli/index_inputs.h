// The inputs of `index`: what the command line and the list name, found and
// checked before the store is touched.
#ifndef FENRA_CLI_INDEX_INPUTS_H
#define FENRA_CLI_INDEX_INPUTS_H

#include <string>
#include <vector>

#include "cli/progress.h"

namespace cli {

struct Input {
  std::string path;
  std::string url;
  std::string mime;
  std::string date;  // 8 digits or empty
  std::string source;
};

struct InputOptions {
  std::vector<std::string> paths;
  std::string list;      // file name, "-" for standard input; empty: no list
  std::string mime;      // of the files among `paths`; empty: by extension
  std::string base_url;  // empty: file:// and the absolute path
  std::string source;
  std::string date;
};

// The files of `paths` in the order given, those of a directory in byte order of
// their paths, then those of the list. What is missing, unreadable or malformed
// is refused, and what has no known type skipped, through `progress`.
std::vector<Input> collect_inputs(const InputOptions& options, Progress& progress);

// Whether the library takes the MIME type: it begins with text/plain or
// text/html, in any case.
bool is_known_mime(const std::string& mime);
bool is_html(const std::string& mime);

}  // namespace cli

#endif  // FENRA_CLI_INDEX_INPUTS_H
