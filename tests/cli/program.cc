#include "tests/cli/program.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>

namespace cli_test {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File temporary_file(const std::string& content = "") {
  File file(tmpfile(), fclose);
  fwrite(content.data(), 1, content.size(), file.get());
  rewind(file.get());
  return file;
}

// What is read from a descriptor to its end. A terminal whose other side is gone
// answers with an error, not with 0.
std::string read_all(int descriptor) {
  std::string content;
  char block[4096];
  for (ssize_t size; (size = read(descriptor, block, sizeof(block))) > 0;) {
    content.append(block, static_cast<size_t>(size));
  }
  return content;
}

// A run of the program, whose streams are files unless others are given.
class Run {
 public:
  Run(const Arguments& arguments, const std::string& input, int out = -1, int err = -1)
      : in_(temporary_file(input)) {
    std::vector<char*> argv = {const_cast<char*>(FENRA_PROGRAM)};
    for (const std::string& argument : arguments) {
      argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    child_ = fork();
    if (child_ == 0) {
      dup2(fileno(in_.get()), STDIN_FILENO);
      dup2(out >= 0 ? out : fileno(out_.get()), STDOUT_FILENO);
      dup2(err >= 0 ? err : fileno(err_.get()), STDERR_FILENO);
      execv(FENRA_PROGRAM, argv.data());
      _exit(127);
    }
  }

  pid_t child() const { return child_; }

  Result finish() const {
    int status = 0;
    waitpid(child_, &status, 0);
    rewind(out_.get());
    rewind(err_.get());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status),
            read_all(fileno(out_.get())), read_all(fileno(err_.get()))};
  }

 private:
  const File in_;
  const File out_ = temporary_file();
  const File err_ = temporary_file();
  pid_t child_;
};

}  // namespace

Result fenra(const Arguments& arguments, const std::string& input) {
  return Run(arguments, input).finish();
}

Result fenra_on_terminal(const Arguments& arguments, unsigned short columns) {
  int terminal = -1;
  int program_side = -1;
  winsize size = {24, columns, 0, 0};
  if (openpty(&terminal, &program_side, nullptr, nullptr, &size) != 0) {
    return {};
  }
  const Run run(arguments, "", -1, program_side);
  close(program_side);
  const std::string shown = read_all(terminal);
  close(terminal);
  Result result = run.finish();
  result.err = shown;
  return result;
}

Result fenra_beside(const Arguments& arguments, const std::function<void(pid_t)>& meanwhile) {
  const Run run(arguments, "");
  meanwhile(run.child());
  return run.finish();
}

Result fenra_signalled(const Arguments& arguments, int signal, const std::function<bool()>& ready) {
  return fenra_beside(arguments, [&](pid_t program) {
    while (!ready()) {
      if (waitid(P_PID, static_cast<id_t>(program), nullptr, WEXITED | WNOHANG | WNOWAIT) != 0) {
        ADD_FAILURE() << "ended too early";
        break;
      }
      usleep(1000);
    }
    kill(program, signal);
  });
}

Result fenra_to(int descriptor, const Arguments& arguments) {
  const Run run(arguments, "", descriptor);
  close(descriptor);
  return run.finish();
}

std::vector<std::string> lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> result;
  for (std::string line; std::getline(stream, line);) {
    result.push_back(line);
  }
  return result;
}

std::vector<std::string> listing(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    names.push_back(entry.path().lexically_relative(directory));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string html_page(const std::string& title, const std::string& body) {
  return "<html><head><title>" + title + "</title></head><body><p>" + body + "</p></body></html>";
}

Arguments ProgramTest::arguments(const std::string& call) const {
  Arguments arguments;
  std::istringstream stream(call);
  for (std::string argument; stream >> argument;) {
    std::replace(argument.begin(), argument.end(), '_', ' ');
    arguments.push_back(argument == "."      ? ""
                        : argument[0] == '@' ? directory_ / argument.substr(1)
                                             : argument);
  }
  return arguments;
}

std::string ProgramTest::answer(const std::string& call) const {
  std::string out = run(call).out;
  std::replace(out.begin(), out.end(), '\n', ' ');
  return out.substr(0, out.find_last_not_of(' ') + 1);
}

void ProgramTest::expect(const std::string& call, int status, const Text& out, const Text& err,
                         const std::string& input) const {
  const Result result = run(call, input);
  EXPECT_EQ(result.status, status) << call << '\n' << result.err;
  EXPECT_THAT(result.out, out) << call;
  EXPECT_THAT(result.err, err) << call;
}

}  // namespace cli_test
