#include "facade/lexicon_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "facade/fenra.h"
#include "store/process/ownership.h"

namespace ostren::fenra {
namespace {

bool has_line(FILE* file, const std::string& wanted) {
  char* line = nullptr;
  size_t capacity = 0;
  bool found = false;
  while (!found && getline(&line, &capacity, file) > 0) {
    line[strcspn(line, "\n")] = '\0';
    found = line == wanted;
  }
  free(line);
  return found;
}

}  // namespace

void record_lexicon(const char* path) {
  const int fd = store::open_own_file(path, LEXICON_RECORD, O_RDWR | O_CREAT | O_APPEND, 0640);
  FILE* const file = fd == -1 ? nullptr : fdopen(fd, "a+");
  if (file == nullptr) {
    if (fd != -1) {
      close(fd);
    }
    return;
  }
  const std::string version = lexiconVersion();
  if (!has_line(file, version)) {
    // One write, so that lines of two processes do not mix.
    fputs((version + "\n").c_str(), file);
  }
  fclose(file);
}

}  // namespace ostren::fenra
