#include "facade/lexicon_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "facade/fenra.h"

namespace ostren {
namespace fenra {
namespace {

bool has_line(const std::string& file, const std::string& wanted) {
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    if (line == wanted) {
      return true;
    }
  }
  return false;
}

}  // namespace

void record_lexicon(const char* path) {
  const std::string file = std::string(path) + "/" + LEXICON_RECORD;
  const std::string version = lexiconVersion();
  if (has_line(file, version)) {
    return;
  }
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  if (fd == -1) {
    return;
  }
  // One write, so that lines of two processes do not mix.
  const std::string line = version + "\n";
  const ssize_t written = write(fd, line.data(), line.size());
  static_cast<void>(written);
  close(fd);
}

}  // namespace fenra
}  // namespace ostren
