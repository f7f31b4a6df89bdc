#include "cli/import/host_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "sim/tablet/base/descriptor.h"

namespace cli {

namespace {

using tablet::Descriptor;

constexpr std::size_t kErrorsKept = 2000;

[[noreturn]] void Become(const std::vector<std::string>& words, int out, int errors) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  ::setenv("LC_ALL", "C.UTF-8", 1);
  std::vector<char*> values;
  for (const std::string& word : words) values.push_back(const_cast<char*>(word.c_str()));
  values.push_back(nullptr);
  int const nothing = ::open("/dev/null", O_RDONLY);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(out, STDOUT_FILENO);
  ::dup2(errors, STDERR_FILENO);
  ::execvp(values[0], values.data());
  ::_exit(127);
}

/// Gives whole lines to `on_line`; the rest stays in `text`.
void TakeLines(std::string& text, const std::function<void(std::string_view)>& on_line) {
  std::size_t done = 0;
  for (std::size_t end = 0; (end = text.find('\n', done)) != std::string::npos; done = end + 1) {
    on_line(std::string_view(text).substr(done, end - done));
  }
  text.erase(0, done);
}

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    read = Descriptor(ends[0]);
    write = Descriptor(ends[1]);
  }
  Descriptor read;
  Descriptor write;
};

}  // namespace

ProgramEnd RunHostProgram(const std::vector<std::string>& words, const std::function<void(std::string_view)>& on_line) {
  Pipe out;
  Pipe errors;
  pid_t const child = ::fork();
  if (child < 0) throw std::runtime_error("no process can be made");
  if (child == 0) Become(words, out.write.get(), errors.write.get());
  out.write = Descriptor();
  errors.write = Descriptor();

  ProgramEnd end;
  std::string text;
  std::array<pollfd, 2> streams{pollfd{out.read.get(), POLLIN, 0}, pollfd{errors.read.get(), POLLIN, 0}};
  while (streams[0].fd >= 0 || streams[1].fd >= 0) {
    ::poll(streams.data(), streams.size(), -1);
    for (pollfd& stream : streams) {
      if (stream.fd < 0 || stream.revents == 0) continue;
      std::array<char, 65536> piece{};
      ssize_t const count = ::read(stream.fd, piece.data(), piece.size());
      if (count <= 0) {
        stream.fd = -1;
      } else if (&stream == &streams[0]) {
        text.append(piece.data(), static_cast<std::size_t>(count));
        TakeLines(text, on_line);
      } else {
        end.errors.append(piece.data(), static_cast<std::size_t>(count));
        if (end.errors.size() > kErrorsKept) end.errors.erase(0, end.errors.size() - kErrorsKept);
      }
    }
  }
  if (!text.empty()) on_line(text);
  int status = 0;
  ::waitpid(child, &status, 0);
  end.exit_code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return end;
}

}  // namespace cli
