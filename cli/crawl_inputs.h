// The pages of a WARC file as inputs.
#ifndef FENRA_CLI_CRAWL_INPUTS_H
#define FENRA_CLI_CRAWL_INPUTS_H

#include <memory>
#include <string>

#include "cli/input.h"
#include "crawl/warc_pages.h"

namespace cli {

class CrawlInputs : public InputSource {
 public:
  // `name` is that of the file in messages. Borrows the options, whose source is that of all pages
  // and whose date is that of pages without.
  CrawlInputs(const std::string& name, std::unique_ptr<ostren::fenra::crawl::ByteSource> bytes,
              const InputOptions& options)
      : name_(name), pages_(std::move(bytes)), options_(options) {}

  std::optional<Input> next() override;

 private:
  const std::string name_;
  ostren::fenra::crawl::WarcPages pages_;
  const InputOptions& options_;
};

}  // namespace cli

#endif  // FENRA_CLI_CRAWL_INPUTS_H
