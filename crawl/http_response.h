// The answer of a web server, as it came over the wire.
#ifndef FENRA_CRAWL_HTTP_RESPONSE_H
#define FENRA_CRAWL_HTTP_RESPONSE_H

#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::crawl {

struct HttpHeader {
  std::string status;        // 3 digits
  std::string content_type;  // without its parameters, in lower case; empty when there is none
  std::string charset;       // as the content type names it; empty when it does not
  // In lower case, in the order in which they were applied; "identity" is left out.
  std::vector<std::string> content_codings;
  std::vector<std::string> transfer_codings;
};

// Where the header ends and the body begins; npos when the message has no empty line behind
// `from`, which is where looking for it begins.
size_t http_body_begin(std::string_view message, size_t from = 0);

// Whether it begins as an answer does.
bool is_http_response(std::string_view message);

// Reads the header of such a message.
HttpHeader http_header(std::string_view header);

// The body without its codings, of which `most` bytes at most come out of each. Throws Undecodable
// (content_coding.h).
std::string decoded_body(const HttpHeader& header, std::string body, size_t most);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_HTTP_RESPONSE_H
