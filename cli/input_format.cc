#include "cli/input_format.h"

#include <utility>

#include "cli/crawl_inputs.h"
#include "cli/input_lines.h"
#include "crawl/byte_reader.h"
#include "crawl/unpacking.h"

namespace cli {
namespace {

namespace crawl = ostren::fenra::crawl;

// What stands for a file that cannot be read.
class RefusedFile : public InputSource {
 public:
  RefusedFile(std::string name, std::string refusal) {
    input_.emplace();
    input_->name = std::move(name);
    input_->refusal = std::move(refusal);
  }

  std::optional<Input> next() override { return std::exchange(input_, std::nullopt); }

 private:
  std::optional<Input> input_;
};

}  // namespace

InputFormat format_named(const std::string& name) {
  return name == "warc"    ? InputFormat::kWarc
         : name == "jsonl" ? InputFormat::kJsonLines
                           : InputFormat::kUnknown;
}

InputFormat format_of(const std::string& file) {
  constexpr std::string_view kWarcStart = "WARC/";
  crawl::ByteReader bytes(crawl::unpacked(crawl::open_source(file)));
  const std::string_view first = bytes.ahead(kWarcStart.size());
  return first == kWarcStart         ? InputFormat::kWarc
         : first.substr(0, 1) == "{" ? InputFormat::kJsonLines
                                     : InputFormat::kUnknown;
}

std::unique_ptr<InputSource> open_inputs(const std::string& file, InputFormat format,
                                         const InputOptions& options) {
  const std::string name = file == "-" ? "standard input" : file;
  try {
    auto bytes = crawl::unpacked(crawl::open_source(file));
    if (format == InputFormat::kWarc) {
      return std::make_unique<CrawlInputs>(name, std::move(bytes), options);
    }
    return std::make_unique<InputLines>(name, std::move(bytes), format, options);
  } catch (const crawl::Unreadable& unreadable) {
    return std::make_unique<RefusedFile>(name, unreadable.reason);
  }
}

}  // namespace cli
