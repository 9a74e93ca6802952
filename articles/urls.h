// The URLs of articles. In an article's URL record a '|' ends the URL, which may hold
// one too: the library stores any URL as it comes. The program stores a '|' as %7C, and
// tells where the others end by the URL index.
#ifndef FENRA_ARTICLES_URLS_H
#define FENRA_ARTICLES_URLS_H

#include <fenra/articledb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::articles {

// The URL as the program stores it.
std::string escape_bars(std::string_view url);

// Where the URL of the article's record may end, ascending and never empty: at each '|'
// that a pair of metadata follows; without pairs, at the first '|' or at the end. Throws
// Failure when there are more than 1,000.
std::vector<size_t> url_ends(std::string_view record, uint64_t id);

// The first of them that the URL index has for the article; nothing when it has none.
// Throws Failure.
std::optional<size_t> indexed_url_end(ArticledbDb* db, const std::vector<size_t>& ends,
                                      std::string_view record, uint64_t id);

// Where the URL ends; the index is asked only where there is a choice. Throws Failure,
// also when that does not decide it.
size_t url_end(ArticledbDb* db, std::string_view record, uint64_t id);

// The spellings under which a URL may be stored: as it comes, which is how the library does it,
// and as the program does, where that is another one.
std::vector<std::string> spellings(const std::string& url);

// The id of the article that a URL shows, in this spelling; nothing when it shows none. Throws
// Failure.
std::optional<uint64_t> shown_id(ArticledbDb* db, const std::string& url);

// The first id that the URL index has for a URL, in byte order; nothing when the URL
// was never indexed. Throws Failure.
std::optional<uint64_t> first_id_of_url(ArticledbDb* db, const std::string& url);

// Deletes the article that the URL shows, in this spelling. False when it shows none. Throws
// Failure.
bool delete_article(ArticledbDb* db, const std::string& url);

// Deletes the article of a URL in all spellings, so that it shows nothing afterwards. False when
// it showed nothing before. Throws Failure.
bool delete_url(ArticledbDb* db, const std::string& url);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_URLS_H
