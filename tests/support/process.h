#ifndef FENRA_TESTS_PROCESS_H
#define FENRA_TESTS_PROCESS_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

// What `work` returns in a process of its own, or minus the signal that ended that.
inline int result_of(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(work());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

#endif  // FENRA_TESTS_PROCESS_H
