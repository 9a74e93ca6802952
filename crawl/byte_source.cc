#include "crawl/byte_source.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "base/file.h"

namespace ostren::fenra::crawl {
namespace {

class FileSource : public ByteSource {
 public:
  // Without a file it is standard input.
  explicit FileSource(Descriptor file) : file_(std::move(file)) {}

  size_t read(char* bytes, size_t length) override {
    ssize_t count = -1;
    do {
      count = ::read(file_ ? file_.get() : STDIN_FILENO, bytes, length);
    } while (count == -1 && errno == EINTR);
    if (count == -1) {
      throw Unreadable{std::string("cannot read the file: ") + std::strerror(errno)};
    }
    return static_cast<size_t>(count);
  }

 private:
  const Descriptor file_;
};

}  // namespace

std::unique_ptr<ByteSource> open_source(const std::string& file) {
  try {
    return std::make_unique<FileSource>(file == "-" ? Descriptor() : open_to_read(file));
  } catch (const Failed& failed) {
    throw Unreadable{std::string("cannot read the file: ") + std::strerror(failed.code)};
  }
}

}  // namespace ostren::fenra::crawl
