#include "cli/base/worker_pool.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBetweenLooks{1};
constexpr int kPollMilliseconds = 200;

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

std::chrono::nanoseconds ProcessorTime(pid_t process) {
  clockid_t clock{};
  timespec used{};
  if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &used) != 0) return {};
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

/// Where one job at a time runs.
class Worker {
 public:
  explicit Worker(int processor) : processor_(processor), output_(::memfd_create("output", MFD_CLOEXEC)) {}
  ~Worker() {
    if (busy()) Kill();
    ::close(output_);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  bool busy() const { return answer_ >= 0; }
  std::size_t job() const { return job_; }
  pollfd Watched() const { return {.fd = answer_, .events = POLLIN, .revents = 0}; }

  void Begin(std::size_t job, const std::function<void(std::size_t, const Deliver&)>& work);
  /// Takes what has arrived; true once the job has ended.
  bool Receive();
  /// The result of a job that has ended; the worker is free then.
  json Take();
  /// Kills a job that has used too much time. A job that waits for a processor differs from one that waits for nothing
  /// only by `time_out` of real time. Call once every kBetweenLooks.
  void Look(std::chrono::seconds time_out);

 private:
  [[noreturn]] void BeTheJob(pid_t parent, int answer, const std::function<void(std::size_t, const Deliver&)>& work);
  void Kill();
  int Reap();
  std::string Tail() const;

  int processor_;
  int output_;  ///< what jobs print
  int answer_ = -1;
  pid_t process_ = -1;
  std::size_t job_ = 0;
  std::vector<std::uint8_t> bytes_;
  std::string given_up_;
  std::chrono::nanoseconds used_{0};
  std::chrono::seconds idle_{0};
};

void Worker::Begin(std::size_t job, const std::function<void(std::size_t, const Deliver&)>& work) {
  job_ = job;
  bytes_.clear();
  given_up_.clear();
  used_ = {};
  idle_ = {};
  static_cast<void>(!::ftruncate(output_, 0));
  ::lseek(output_, 0, SEEK_SET);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
  pid_t const parent = ::getpid();
  process_ = ::fork();
  if (process_ == 0) BeTheJob(parent, ends[1], work);
  ::close(ends[1]);
  answer_ = ends[0];
  if (process_ < 0) throw std::runtime_error("no process can be made");
}

void Worker::BeTheJob(pid_t parent, int answer, const std::function<void(std::size_t, const Deliver&)>& work) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  StayOn(processor_);
  ::dup2(output_, STDOUT_FILENO);
  ::dup2(output_, STDERR_FILENO);
  work(job_, [answer](const json& document) {
    std::vector<std::uint8_t> const bytes = json::to_cbor(document);
    for (std::size_t done = 0; done < bytes.size();) {
      ssize_t const count = ::write(answer, bytes.data() + done, bytes.size() - done);
      if (count < 0 && errno != EINTR) ::_exit(1);
      if (count > 0) done += static_cast<std::size_t>(count);
    }
    ::_exit(0);
  });
  ::_exit(3);
}

bool Worker::Receive() {
  std::uint8_t buffer[65536];
  ssize_t const count = ::read(answer_, buffer, sizeof(buffer));
  if (count < 0 && errno == EINTR) return false;
  if (count <= 0) return true;
  bytes_.insert(bytes_.end(), buffer, buffer + count);
  return false;
}

int Worker::Reap() {
  ::close(answer_);
  answer_ = -1;
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

json Worker::Take() {
  int const status = Reap();
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return json::from_cbor(bytes_);
  std::string how = WIFSIGNALED(status) ? fmt::format("signal {}, {}", WTERMSIG(status), ::strsignal(WTERMSIG(status)))
                                        : fmt::format("exit code {}", WEXITSTATUS(status));
  if (!given_up_.empty()) how = given_up_;
  return {{"crashed", how}, {"output", Tail()}};
}

void Worker::Look(std::chrono::seconds time_out) {
  std::chrono::nanoseconds const used = ProcessorTime(process_);
  idle_ = used == used_ ? idle_ + kBetweenLooks : std::chrono::seconds{0};
  used_ = used;
  if (used < time_out && idle_ < time_out) return;
  given_up_ = fmt::format("given up after {:.1f} s of processor time", std::chrono::duration<double>(used).count());
  ::kill(process_, SIGKILL);
}

void Worker::Kill() {
  ::kill(process_, SIGKILL);
  Reap();
}

/// What the job wrote last.
std::string Worker::Tail() const {
  constexpr off_t kMost = 4000;
  off_t const size = ::lseek(output_, 0, SEEK_END);
  off_t const from = size > kMost ? size - kMost : 0;
  std::string text(static_cast<std::size_t>(size - from), '\0');
  ssize_t const read = ::pread(output_, text.data(), text.size(), from);
  text.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
  return text;
}

}  // namespace

unsigned WorkersOf(const WorkerPoolOptions& options) {
  return options.workers != 0 ? options.workers : static_cast<unsigned>(UsableProcessors().size());
}

void RunWorkerPool(std::size_t jobs, const WorkerPoolOptions& options,
                   const std::function<void(std::size_t, const Deliver&)>& job,
                   const std::function<void(std::size_t, json)>& done) {
  std::vector<int> const processors = UsableProcessors();
  std::vector<std::unique_ptr<Worker>> workers;
  for (unsigned i = 0; i < std::min<std::size_t>(WorkersOf(options), jobs); ++i) {
    workers.push_back(std::make_unique<Worker>(processors[i % processors.size()]));
  }
  std::size_t next = 0;
  Clock::time_point looked = Clock::now();
  for (;;) {
    if (options.stops && options.stops()) return;
    std::vector<pollfd> polls;
    for (auto const& worker : workers) {
      if (!worker->busy() && next < jobs) worker->Begin(next++, job);
      polls.push_back(worker->Watched());
    }
    if (std::ranges::none_of(workers, [](auto& worker) { return worker->busy(); })) return;
    if (::poll(polls.data(), polls.size(), kPollMilliseconds) < 0) continue;
    for (std::size_t i = 0; i < workers.size(); ++i) {
      if (polls[i].revents == 0 || !workers[i]->Receive()) continue;
      json answer = workers[i]->Take();
      done(workers[i]->job(), std::move(answer));
    }
    if (Clock::now() - looked < kBetweenLooks) continue;
    looked = Clock::now();
    for (auto const& worker : workers) {
      if (worker->busy()) worker->Look(options.time_out);
    }
  }
}

}  // namespace cli
