#include "crawl/http_response.h"

#include <glib.h>

#include <algorithm>

#include "crawl/content_coding.h"
#include "crawl/header_fields.h"

namespace ostren::fenra::crawl {
namespace {

constexpr std::string_view kProtocol = "HTTP/";
constexpr size_t kStatusDigits = 3;
constexpr size_t kMostCodings = 4;

std::string_view without_quotes(std::string_view text) {
  const bool quoted = text.size() > 1 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

void take_content_type(HttpHeader& header, std::string_view value) {
  const std::vector<std::string_view> found = parts(value, ';');
  if (found.empty()) {
    return;
  }
  constexpr std::string_view kCharset = "charset=";
  header.content_type = lower(found.front());
  for (const std::string_view parameter : found) {
    if (lower(parameter.substr(0, kCharset.size())) == kCharset) {
      header.charset = without_quotes(parameter.substr(kCharset.size()));
    }
  }
}

void take_codings(std::vector<std::string>& codings, std::string_view value) {
  for (const std::string_view part : parts(value, ',')) {
    const std::string name = lower(part);
    if (name != "identity" && codings.size() <= kMostCodings) {
      codings.push_back(name);
    }
  }
}

void take_field(HttpHeader& header, std::string_view line) {
  const HeaderField field = header_field(line);
  if (field.name == "content-type" && header.content_type.empty()) {
    take_content_type(header, field.value);
  } else if (field.name == "content-encoding") {
    take_codings(header.content_codings, field.value);
  } else if (field.name == "transfer-encoding") {
    take_codings(header.transfer_codings, field.value);
  }
}

}  // namespace

size_t http_body_begin(std::string_view message, size_t from) {
  for (size_t feed = message.find('\n', from); feed != std::string_view::npos;
       feed = message.find('\n', feed + 1)) {
    size_t next = feed + 1;
    next += next < message.size() && message[next] == '\r' ? 1 : 0;
    if (next < message.size() && message[next] == '\n') {
      return next + 1;
    }
  }
  return std::string_view::npos;
}

bool is_http_response(std::string_view message) {
  return message.substr(0, kProtocol.size()) == kProtocol;
}

HttpHeader http_header(std::string_view header) {
  HttpHeader result;
  const std::vector<std::string_view> lines = parts(header, '\n');
  if (lines.empty()) {
    return result;
  }
  const size_t blank = std::min(lines.front().find(' '), lines.front().size());
  const std::string_view status = trimmed(lines.front().substr(blank)).substr(0, kStatusDigits);
  if (status.size() == kStatusDigits &&
      std::all_of(status.begin(), status.end(), [](char byte) { return g_ascii_isdigit(byte); })) {
    result.status = status;
  }
  std::for_each(lines.begin() + 1, lines.end(),
                [&](std::string_view line) { take_field(result, line); });
  return result;
}

std::string decoded_body(const HttpHeader& header, std::string body, size_t most) {
  // What was applied last comes off first; the transfer's are outside.
  std::vector<std::string> codings = header.content_codings;
  codings.insert(codings.end(), header.transfer_codings.begin(), header.transfer_codings.end());
  if (codings.size() > kMostCodings) {
    throw Undecodable{"it has more than " + std::to_string(kMostCodings) + " codings"};
  }
  for (auto coding = codings.rbegin(); coding != codings.rend(); ++coding) {
    body = without_coding(*coding, std::move(body), most);
  }
  return body;
}

}  // namespace ostren::fenra::crawl
