// Snippets as the program prints them.
#ifndef FENRA_CLI_SNIPPETS_H
#define FENRA_CLI_SNIPPETS_H

#include <string>

#include "articles/snippets.h"

namespace cli {

using ostren::fenra::articles::Snippet;
using ostren::fenra::articles::Snippets;

// In one line, without what a terminal would obey, and with the matches in bold where somebody
// looks.
std::string line_of(const Snippet& snippet);

}  // namespace cli

#endif  // FENRA_CLI_SNIPPETS_H
