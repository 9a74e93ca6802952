#include "crawl/warc_pages.h"

#include <glib.h>

#include <algorithm>

#include "crawl/content_coding.h"
#include "crawl/header_fields.h"
#include "crawl/http_response.h"

namespace ostren::fenra::crawl {
namespace {

constexpr size_t kHeaderPortion = 8192;
constexpr size_t kMostHeader = 262144;

// Whether the text can stand in a message as it is.
bool is_name(std::string_view text) {
  constexpr size_t kMost = 80;
  return !text.empty() && text.size() <= kMost &&
         std::all_of(text.begin(), text.end(), [](char byte) {
           return g_ascii_isalnum(byte) ||
                  std::string_view("/+-_.").find(byte) != std::string_view::npos;
         });
}

std::string named(const char* kind, const std::string& name) {
  return std::string(kind) + (is_name(name) ? name : "of another form");
}

// Older writers put the URI between angle brackets.
std::string_view without_brackets(std::string_view uri) {
  const bool bracketed = uri.size() > 1 && uri.front() == '<' && uri.back() == '>';
  return bracketed ? uri.substr(1, uri.size() - 2) : uri;
}

// The day of a time as 2009-03-15T10:20:30Z; empty when it is not told.
std::string day_of(std::string_view time) {
  std::string day;
  for (size_t i = 0; i < 10; ++i) {
    const bool is_hyphen_place = i == 4 || i == 7;
    if (i >= time.size() || (is_hyphen_place ? time[i] != '-' : !g_ascii_isdigit(time[i]))) {
      return "";
    }
    day += is_hyphen_place ? "" : std::string(1, time[i]);
  }
  return day;
}

// Empty for what is no text.
std::string mime_of(const HttpHeader& header) {
  const std::string& type = header.content_type;
  const bool html = type == "text/html" || type == "application/xhtml+xml";
  if (!html && type != "text/plain") {
    return "";
  }
  const std::string mime = html ? "text/html" : "text/plain";
  return is_name(header.charset) ? mime + "; charset=" + header.charset : mime;
}

// Why the answer is no page; empty when it is one.
std::string reason_to_skip(const HttpHeader& header) {
  if (header.status != "200") {
    return named("status ", header.status);
  }
  if (header.content_type.empty()) {
    return "no MIME type";
  }
  return mime_of(header).empty() ? named("MIME type ", header.content_type) : "";
}

// Reads the header and perhaps some of the body, and gives where that begins: the whole length
// when there is none. Throws Undecodable.
size_t read_header(RecordReader& record, std::string& message) {
  size_t body = std::string::npos;
  while (body == std::string::npos && record.left() > 0) {
    if (message.size() >= kMostHeader) {
      throw Undecodable{"the header of its HTTP answer has more than " +
                        std::to_string(kMostHeader) + " bytes"};
    }
    const size_t from = message.size() < 2 ? 0 : message.size() - 2;
    record.append(message, kHeaderPortion);
    if (!is_http_response(message)) {
      return 0;
    }
    body = http_body_begin(message, from);
  }
  return std::min(body, message.size());
}

}  // namespace

std::optional<CrawledPage> WarcPages::next() {
  if (ended_) {
    return std::nullopt;
  }
  CrawledPage page;
  try {
    const std::optional<RecordHeader> record = records_.next();
    if (!record) {
      ended_ = true;
      return std::nullopt;
    }
    take_record(*record, page);
  } catch (const Damaged& damaged) {
    page.refusal = damaged.reason;
  } catch (const Undecodable& undecodable) {
    page.refusal = undecodable.reason;
  } catch (const Unreadable& unreadable) {
    page.refusal = unreadable.reason;
    ended_ = true;
  }
  page.offset = records_.offset();
  return page;
}

void WarcPages::take_record(const RecordHeader& record, CrawledPage& page) {
  const std::string type = lower(record.type);
  if (type == "response" || type == "revisit") {
    page.url = without_brackets(record.target_uri);
  }
  if (type != "response") {
    page.skipped = named("record type ", type);
    return;
  }
  page.date = day_of(record.date);
  take_response(page);
}

void WarcPages::take_response(CrawledPage& page) {
  std::string message;
  const size_t begin = read_header(records_, message);
  if (!is_http_response(message)) {
    page.skipped = "no HTTP";
    page.url.clear();
    return;
  }
  const HttpHeader header = http_header(std::string_view(message).substr(0, begin));
  page.skipped = reason_to_skip(header);
  if (!page.skipped.empty()) {
    page.url.clear();
    return;
  }
  page.mime = mime_of(header);
  if (records_.left() > kMostPageBytes - message.size()) {
    throw Undecodable{"its record has more than " + std::to_string(kMostPageBytes) +
                      " bytes; index the page as a file, which may have more"};
  }
  message.erase(0, begin);
  records_.append(message, static_cast<size_t>(records_.left()));
  page.bytes = decoded_body(header, std::move(message), kMostPageBytes);
}

}  // namespace ostren::fenra::crawl
