#include "cli/input_article.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/handles.h"

namespace cli {
namespace {

using File = std::unique_ptr<FILE, Releaser<std::fclose>>;

[[noreturn]] void refuse_with_errno() {
  throw Refused{std::string("cannot read the file: ") + std::strerror(errno)};
}

// Devices and pipes are not read: they need not have an end.
std::string read_file(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0) {
    refuse_with_errno();
  }
  if (!S_ISREG(info.st_mode)) {
    throw Refused{"not a regular file"};
  }
  if (info.st_size > INT_MAX) {
    throw Refused{"the file has " + std::to_string(info.st_size) + " bytes; " +
                  std::to_string(INT_MAX) + " are the most"};
  }
  const File file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    refuse_with_errno();
  }
  std::string bytes(static_cast<size_t>(info.st_size), '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get()) != 0) {
    refuse_with_errno();
  }
  return bytes;
}

std::string bytes_of_file(const Input& input) {
  if (!input.refusal.empty()) {
    throw Refused{input.refusal};
  }
  return input.file.empty() ? "" : read_file(input.file);
}

}  // namespace

InputArticle::InputArticle(const Input& input, const ArticledbRules& rules)
    : input_(input),
      file_(bytes_of_file(input)),
      offer_{input.url, input.file.empty() ? input.bytes : file_, input.mime, input.date,
             input.source},
      offered_(offer_, rules) {}

}  // namespace cli
