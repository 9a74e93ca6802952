// What `index` is given to read.
#ifndef FENRA_CLI_INPUT_H
#define FENRA_CLI_INPUT_H

#include <optional>
#include <string>
#include <vector>

namespace cli {

// An article to index, or what is none.
struct Input {
  std::string name;     // in messages
  std::string refusal;  // why it is refused; empty: it is not
  std::string skipped;  // why it is no article, in a few words; empty: it is one
  std::string file;     // where its bytes are; empty: they are here
  std::string bytes;
  std::string url;  // of an article; else empty, or that of one that is still where it was
  std::string mime;
  std::string date;  // 8 digits or empty
  std::string source;
  bool dated_by_visit = false;  // the date tells when somebody looked, not when the text was new
};

struct InputOptions {
  std::vector<std::string> paths;  // "-" is standard input
  std::string format;              // of standard input
  std::string list;                // file name, "-" for standard input; empty: no list
  std::string mime;                // of the files among `paths`; empty: by extension
  std::string base_url;            // empty: file:// and the absolute path
  std::string source;
  std::string date;
};

class InputSource {
 public:
  virtual ~InputSource() = default;
  // Nothing at the end.
  virtual std::optional<Input> next() = 0;
};

}  // namespace cli

#endif  // FENRA_CLI_INPUT_H
