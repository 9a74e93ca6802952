#include "tests/cli/program.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace cli_test {
namespace {

namespace fs = std::filesystem;

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File temporary_file(const std::string& content = "") {
  File file(tmpfile(), fclose);
  fwrite(content.data(), 1, content.size(), file.get());
  rewind(file.get());
  return file;
}

std::string content_of(FILE* file) {
  rewind(file);
  std::string content;
  char block[4096];
  for (size_t size; (size = fread(block, 1, sizeof(block), file)) > 0;) {
    content.append(block, size);
  }
  return content;
}

pid_t start(const Arguments& arguments, int in, int out, int err) {
  std::vector<char*> argv = {const_cast<char*>(FENRA_PROGRAM)};
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execv(FENRA_PROGRAM, argv.data());
    _exit(127);
  }
  return child;
}

int wait_for(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

Result run(const Arguments& arguments, const std::string& input, FILE* out) {
  const File in = temporary_file(input);
  const File err = temporary_file();
  Result result;
  result.status = wait_for(start(arguments, fileno(in.get()), fileno(out), fileno(err.get())));
  result.err = content_of(err.get());
  return result;
}

}  // namespace

Result fenra(const Arguments& arguments, const std::string& input) {
  const File out = temporary_file();
  Result result = run(arguments, input, out.get());
  result.out = content_of(out.get());
  return result;
}

bool terminals_exist() {
  int terminal = -1;
  int program_side = -1;
  if (openpty(&terminal, &program_side, nullptr, nullptr, nullptr) != 0) {
    return false;
  }
  close(terminal);
  close(program_side);
  return true;
}

Result fenra_on_terminal(const Arguments& arguments, unsigned short columns) {
  const File in = temporary_file();
  const File out = temporary_file();
  int terminal = -1;
  int program_side = -1;
  winsize size = {};
  size.ws_row = 24;
  size.ws_col = columns;
  openpty(&terminal, &program_side, nullptr, nullptr, &size);
  const pid_t child = start(arguments, fileno(in.get()), fileno(out.get()), program_side);
  close(program_side);
  Result result;
  char block[4096];
  // A terminal whose other side is gone answers with an error, not with 0.
  for (ssize_t count; (count = read(terminal, block, sizeof(block))) > 0;) {
    result.err.append(block, static_cast<size_t>(count));
  }
  close(terminal);
  result.status = wait_for(child);
  result.out = content_of(out.get());
  return result;
}

Result fenra_signalled(const Arguments& arguments, int signal, const std::function<int()>& ready) {
  const File in = temporary_file();
  const File out = temporary_file();
  const File err = temporary_file();
  const pid_t child = start(arguments, fileno(in.get()), fileno(out.get()), fileno(err.get()));
  int ended = 0;
  while (ready() != 0 && (ended = waitid(P_PID, static_cast<id_t>(child), nullptr,
                                         WEXITED | WNOHANG | WNOWAIT)) == 0) {
    usleep(1000);
  }
  EXPECT_EQ(0, ended);
  kill(child, signal);
  Result result;
  result.status = wait_for(child);
  result.out = content_of(out.get());
  result.err = content_of(err.get());
  return result;
}

Result fenra_to(const std::string& path, const Arguments& arguments) {
  const File out(fopen(path.c_str(), "w"), fclose);
  return run(arguments, "", out.get());
}

Result fenra_without_reader(const Arguments& arguments) {
  int ends[2];
  EXPECT_EQ(0, pipe(ends));
  close(ends[0]);
  const File out(fdopen(ends[1], "w"), fclose);
  return run(arguments, "", out.get());
}

std::vector<std::string> lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> result;
  for (std::string line; std::getline(stream, line);) {
    result.push_back(line);
  }
  return result;
}

ScratchDirectory::ScratchDirectory() {
  std::string path = fs::temp_directory_path() / "fenra_cli_XXXXXX";
  root_ = mkdtemp(path.data());
}

ScratchDirectory::~ScratchDirectory() { fs::remove_all(root_); }

std::string ScratchDirectory::write(const std::string& name, const std::string& content) const {
  const fs::path file = root_ / name;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

std::vector<std::string> ScratchDirectory::listing(const std::string& directory) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
    names.push_back(entry.path().lexically_relative(directory));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string html_page(const std::string& title, const std::string& body) {
  return "<html><head><title>" + title + "</title></head><body><p>" + body + "</p></body></html>";
}

}  // namespace cli_test
