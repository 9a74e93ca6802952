#include "cli/crawl_inputs.h"

#include <utility>

namespace cli {

std::optional<Input> CrawlInputs::next() {
  auto page = pages_.next();
  if (!page) {
    return std::nullopt;
  }
  Input input;
  input.name = name_ + ", byte " + std::to_string(page->offset) +
               (page->url.empty() ? "" : ": " + page->url);
  input.refusal = std::move(page->refusal);
  input.skipped = std::move(page->skipped);
  input.bytes = std::move(page->bytes);
  input.url = std::move(page->url);
  input.mime = std::move(page->mime);
  input.date = page->date.empty() ? options_.date : page->date;
  input.source = options_.source;
  input.dated_by_visit = true;
  return input;
}

}  // namespace cli
