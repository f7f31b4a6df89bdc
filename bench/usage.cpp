// Runs a command and prints the resources it used as one line of JSON: usage COMMAND [ARGUMENT...]. The command's
// output is discarded.
//
// A small program of its own: Linux counts the parent's memory at the start into the peak of the child.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

extern char** environ;

namespace {
double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}
double Now() {
  timespec now;
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}
}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fputs("usage: usage COMMAND [ARGUMENT...]\n", stderr);
    return 2;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  double const begun = Now();
  pid_t child = 0;
  if (int const error = ::posix_spawnp(&child, arguments[1], &actions, nullptr, arguments + 1, environ)) {
    std::fprintf(stderr, "usage: cannot start %s (error %d)\n", arguments[1], error);
    return 2;
  }
  int status = 0;
  rusage used;
  ::wait4(child, &status, 0, &used);
  double const wall = Now() - begun;
  std::printf("{\"exit\": %d, \"user\": %.6f, \"system\": %.6f, \"wall\": %.6f, \"peak_kb\": %ld}\n",
              WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), Seconds(used.ru_utime),
              Seconds(used.ru_stime), wall, used.ru_maxrss);
  return 0;
}
