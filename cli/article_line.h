// An article in a line of JSON, as `index` reads it.
#ifndef FENRA_CLI_ARTICLE_LINE_H
#define FENRA_CLI_ARTICLE_LINE_H

#include <string>

#include "cli/input.h"

namespace cli {

// The article, named `place` in messages, or its refusal.
Input article_of_line(const std::string& line, const std::string& place,
                      const InputOptions& options);

}  // namespace cli

#endif  // FENRA_CLI_ARTICLE_LINE_H
