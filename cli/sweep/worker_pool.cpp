#include "cli/sweep/worker_pool.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

namespace {

using nlohmann::json;

/// The number of the next job, shared by all workers.
class Counter {
 public:
  Counter() {
    void* const memory =
        ::mmap(nullptr, sizeof(std::atomic<std::size_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory can be shared between processes");
    next_ = new (memory) std::atomic<std::size_t>(0);
  }
  ~Counter() { ::munmap(next_, sizeof(std::atomic<std::size_t>)); }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;
  std::size_t Take() { return next_->fetch_add(1); }

 private:
  std::atomic<std::size_t>* next_;
};

std::vector<int> UsableProcessors() {
  cpu_set_t set;
  std::vector<int> usable;
  if (::sched_getaffinity(0, sizeof(set), &set) != 0) return {0};
  for (int i = 0; i < CPU_SETSIZE; ++i) {
    if (CPU_ISSET(i, &set)) usable.push_back(i);
  }
  return usable;
}

void StayOn(int processor) {
  cpu_set_t only;
  CPU_ZERO(&only);
  CPU_SET(processor, &only);
  ::sched_setaffinity(0, sizeof(only), &only);
}

void WriteAll(int descriptor, const void* data, std::size_t size) {
  const auto* at = static_cast<const char*>(data);
  while (size != 0) {
    ssize_t const count = ::write(descriptor, at, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) ::_exit(1);
    at += count;
    size -= static_cast<std::size_t>(count);
  }
}

/// Answers travel as the job's number, the length, and the document in a compact form.
void Send(int descriptor, std::size_t job, const json& answer) {
  std::vector<std::uint8_t> const bytes = json::to_cbor(answer);
  std::uint64_t const head[2] = {job, bytes.size()};
  std::vector<std::uint8_t> record(sizeof(head));
  std::memcpy(record.data(), head, sizeof(head));
  record.insert(record.end(), bytes.begin(), bytes.end());
  WriteAll(descriptor, record.data(), record.size());
}

std::chrono::nanoseconds ProcessorTime(pid_t process) {
  clockid_t clock{};
  timespec used{};
  if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &used) != 0) return {};
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

/// Decides from looks at a process, one every second, whether it is worth waiting for.
class Patience {
 public:
  explicit Patience(std::chrono::seconds patience) : patience_(patience) {}

  /// Whether the process has used more than its share of processor time, or stands still. A process that waits for a
  /// processor is told from one that waits for nothing only by that much real time.
  bool IsOver(std::chrono::nanoseconds used) {
    stands_still_ = used == used_ ? stands_still_ + kLook : std::chrono::seconds{0};
    used_ = used;
    return used >= patience_ || stands_still_ >= patience_;
  }

  static constexpr std::chrono::seconds kLook{1};

 private:
  std::chrono::seconds patience_;
  std::chrono::nanoseconds used_{0};
  std::chrono::seconds stands_still_{0};
};

/// Waits for a process; kills it when it takes too long. Answers its wait status, and what was used up then.
int WaitFor(pid_t process, std::chrono::seconds limit, std::string& given_up) {
  given_up.clear();
  int const descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  if (descriptor >= 0) {
    pollfd ended{.fd = descriptor, .events = POLLIN, .revents = 0};
    int const look = static_cast<int>(std::chrono::milliseconds(Patience::kLook).count());
    Patience patience(limit);
    while (given_up.empty() && ::poll(&ended, 1, look) == 0) {
      std::chrono::nanoseconds const used = ProcessorTime(process);
      if (patience.IsOver(used)) {
        given_up =
            fmt::format("given up after {:.1f} s of processor time", std::chrono::duration<double>(used).count());
      }
    }
    if (!given_up.empty()) ::kill(process, SIGKILL);
    ::close(descriptor);
  }
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

/// What a job wrote last.
std::string Tail(int output) {
  constexpr off_t kMost = 4000;
  off_t const size = ::lseek(output, 0, SEEK_END);
  off_t const from = size > kMost ? size - kMost : 0;
  std::string text(static_cast<std::size_t>(size - from), '\0');
  ssize_t const read = ::pread(output, text.data(), text.size(), from);
  text.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
  return text;
}

class Worker {
 public:
  Worker(int answers, const WorkerPoolOptions& options, const std::function<void(std::size_t, const Deliver&)>& job)
      : answers_(answers), options_(options), job_(job), output_(::memfd_create("output", MFD_CLOEXEC)) {}

  [[noreturn]] void Run(Counter& counter, std::size_t jobs) {
    for (std::size_t job = counter.Take(); job < jobs; job = counter.Take()) RunOne(job);
    ::_exit(0);
  }

 private:
  void RunOne(std::size_t job) {
    static_cast<void>(!::ftruncate(output_, 0));
    ::lseek(output_, 0, SEEK_SET);
    pid_t const parent = ::getpid();
    pid_t const process = ::fork();
    if (process == 0) Live(job, parent);
    if (process < 0) return Send(answers_, job, {{"crashed", "no process can be made"}, {"output", ""}});
    std::string given_up;
    int const status = WaitFor(process, options_.patience, given_up);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
    std::string how = WIFSIGNALED(status)
                          ? fmt::format("signal {}, {}", WTERMSIG(status), ::strsignal(WTERMSIG(status)))
                          : fmt::format("exit code {}", WEXITSTATUS(status));
    if (!given_up.empty()) how = given_up;
    Send(answers_, job, {{"crashed", how}, {"output", Tail(output_)}});
  }

  [[noreturn]] void Live(std::size_t job, pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    ::dup2(output_, STDOUT_FILENO);
    ::dup2(output_, STDERR_FILENO);
    job_(job, [this, job](const json& answer) {
      Send(answers_, job, answer);
      ::_exit(0);
    });
    ::_exit(3);
  }

  int answers_;
  WorkerPoolOptions options_;
  const std::function<void(std::size_t, const Deliver&)>& job_;
  int output_;
};

/// One worker as its maker sees it: what arrives from it, and what is still incomplete of that.
struct Line {
  pid_t process;
  int answers;
  std::vector<std::uint8_t> bytes;
};

/// Hands over every whole answer that has arrived.
void TakeAnswers(Line& line, const std::function<void(std::size_t, json)>& done) {
  std::uint64_t head[2];
  std::size_t at = 0;
  while (line.bytes.size() - at >= sizeof(head)) {
    std::memcpy(head, line.bytes.data() + at, sizeof(head));
    if (line.bytes.size() - at - sizeof(head) < head[1]) break;
    auto const from = line.bytes.begin() + static_cast<std::ptrdiff_t>(at + sizeof(head));
    done(head[0], json::from_cbor(from, from + static_cast<std::ptrdiff_t>(head[1])));
    at += sizeof(head) + head[1];
  }
  line.bytes.erase(line.bytes.begin(), line.bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

/// False at the end of what a worker sends.
bool Receive(Line& line) {
  std::uint8_t buffer[65536];
  ssize_t const count = ::read(line.answers, buffer, sizeof(buffer));
  if (count < 0 && errno == EINTR) return true;
  if (count <= 0) return false;
  line.bytes.insert(line.bytes.end(), buffer, buffer + count);
  return true;
}

}  // namespace

unsigned WorkersOf(const WorkerPoolOptions& options) {
  return options.workers != 0 ? options.workers : static_cast<unsigned>(UsableProcessors().size());
}

void RunWorkerPool(std::size_t jobs, const WorkerPoolOptions& options,
                   const std::function<void(std::size_t, const Deliver&)>& job,
                   const std::function<void(std::size_t, json)>& done) {
  Counter counter;
  std::vector<int> const processors = UsableProcessors();
  std::vector<Line> lines;
  pid_t const maker = ::getpid();
  for (unsigned i = 0; i < WorkersOf(options); ++i) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    pid_t const process = ::fork();
    if (process < 0) throw std::runtime_error("no process can be made");
    if (process == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (::getppid() != maker) ::_exit(1);
      ::close(ends[0]);
      for (const Line& line : lines) ::close(line.answers);
      StayOn(processors[i % processors.size()]);
      Worker(ends[1], options, job).Run(counter, jobs);
    }
    ::close(ends[1]);
    lines.push_back({process, ends[0], {}});
  }
  for (std::size_t open = lines.size(); open != 0;) {
    std::vector<pollfd> polls;
    for (const Line& line : lines) polls.push_back({.fd = line.answers, .events = POLLIN, .revents = 0});
    if (::poll(polls.data(), polls.size(), -1) < 0) continue;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (polls[i].revents == 0) continue;
      bool const more = Receive(lines[i]);
      TakeAnswers(lines[i], done);
      if (more) continue;
      ::close(lines[i].answers);
      lines[i].answers = -1;  // poll passes over it
      --open;
      while (::waitpid(lines[i].process, nullptr, 0) < 0 && errno == EINTR) {
      }
    }
  }
}

}  // namespace cli
