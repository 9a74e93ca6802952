// What an article is called.
#ifndef FENRA_ARTICLES_TITLE_H
#define FENRA_ARTICLES_TITLE_H

#include <string>
#include <string_view>

namespace ostren::fenra::articles {

// The first line of the text that is not blank, without white space at its ends and of at most 200
// characters, the last of which is an ellipsis where it was longer. Valid UTF-8.
std::string title_of(std::string_view text);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_TITLE_H
