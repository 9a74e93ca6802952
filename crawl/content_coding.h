// The codings of HTTP, undone.
#ifndef FENRA_CRAWL_CONTENT_CODING_H
#define FENRA_CRAWL_CONTENT_CODING_H

#include <string>

namespace ostren::fenra::crawl {

// Thrown for a body that cannot be had.
struct Undecodable {
  std::string reason;
};

// The body without a coding, named in lower case: chunked, gzip, deflate, br. A body that does not
// begin as chunked or gzip ones do stays as it is: some crawlers leave the header and take the
// coding off. Throws Undecodable, also when there is more than `most` bytes of it.
std::string without_coding(const std::string& coding, std::string body, size_t most);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_CONTENT_CODING_H
