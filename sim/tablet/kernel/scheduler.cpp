#include "sim/tablet/kernel/scheduler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <semaphore>
#include <thread>
#include <utility>

namespace tablet {

struct SimThread {
  ThreadId id = 0;
  ProcessId process = kMachineProcess;
  std::string name;
  std::function<void()> body;
  std::binary_semaphore baton{0};
  enum class State { kRunnable, kWaiting, kDone } state = State::kRunnable;
  std::uint64_t turn = 0;  ///< when it became runnable: smaller goes first
  Millis deadline = kForever;
  std::function<bool()> ready;
  bool stalled = false;  ///< thread 0: woken because nothing can happen
  bool first_of_process = false;
  std::uint32_t last_error = 0;
};

namespace {

/// The scheduler whose thread runs here; the terminate handler has no other way to find it.
thread_local Scheduler* t_scheduler = nullptr;

/// Calls between two hand-overs of a thread that never waits, under first come, first served.
constexpr std::uint64_t kQuantum = 10'000;

/// Stands for all that was done before a process began, also by an earlier process with the same variables, and before
/// the end of a simulation.
constexpr char kEarlier = 0;

std::string DescribeException() {
  std::exception_ptr const flying = std::current_exception();
  if (!flying) return "std::terminate was called";
  try {
    std::rethrow_exception(flying);
  } catch (std::uint32_t code) {
    return "an exception with Windows error code " + std::to_string(code);
  } catch (int code) {
    return "an exception with the integer " + std::to_string(code);
  } catch (const std::exception& error) {
    return std::string("an exception: ") + error.what();
  } catch (...) {
    return "an exception of an unknown type";
  }
}

[[noreturn]] void EndSimulatedProcess() {
  OutsideProduct const outside;
  if (t_scheduler != nullptr && t_scheduler->current_thread() != 0) t_scheduler->DieHere(DescribeException());
  std::fprintf(stderr, "terminated by %s\n", DescribeException().c_str());
  std::abort();
}

}  // namespace

Scheduler::Scheduler(Options options) : options_(options), random_(options.seed) {
  auto machine = std::make_shared<SimThread>();
  machine->name = "machine";
  threads_.push_back(machine);
  current_ = std::move(machine);
  t_scheduler = this;
  // What thread 0 did before there was a simulation comes before every thread of it.
  HappensBefore(this);
  std::set_terminate(EndSimulatedProcess);
  ForeseeCalls();
}

void Scheduler::Reseed(std::uint64_t seed) {
  options_.seed = seed;
  random_.seed(seed);
  ForeseeCalls();
}

void Scheduler::CutPowerAt(std::uint64_t call) {
  cut_at_ = call;
  ForeseeCalls();
}

Scheduler::~Scheduler() {
  HappensAfter(&kEarlier);
  t_scheduler = nullptr;
}

ThreadId Scheduler::Start(ProcessId process, std::string name, std::function<void()> body) {
  OutsideProduct const outside;
  auto thread = std::make_shared<SimThread>();
  thread->id = static_cast<ThreadId>(threads_.size());
  thread->process = process;
  thread->name = std::move(name);
  thread->body = std::move(body);
  thread->turn = next_turn_++;
  thread->first_of_process = std::none_of(threads_.begin(), threads_.end(),
                                          [&](const ThreadPointer& other) { return other->process == process; });
  threads_.push_back(thread);
  // Creating a thread happens before its first instruction, unless the clock was moved for the machine: that thread is
  // outside the product.
  if (current_->id != 0) HappensBefore(thread.get());
  // No handler around the body: an exception that leaves it must reach the terminate handler with nothing unwound, as
  // it ends a process on Windows.
  std::thread([this, thread] { ThreadMain(thread); }).detach();
  return thread->id;
}

void Scheduler::ThreadMain(ThreadPointer self) {
  {
    OutsideProduct const outside;
    self->baton.acquire();
    t_scheduler = this;
    HappensAfter(this);
    HappensAfter(self.get());
    if (self->first_of_process) HappensAfter(&kEarlier);
  }
  self->body();
  OutsideProduct const outside;
  self->state = SimThread::State::kDone;
  PassBaton();
}

bool Scheduler::IsRunnable(const SimThread& thread) const {
  switch (thread.state) {
    case SimThread::State::kRunnable:
      return true;
    case SimThread::State::kDone:
      return false;
    case SimThread::State::kWaiting:
      return thread.deadline <= now_ || thread.ready();
  }
  return false;
}

Scheduler::ThreadPointer Scheduler::PickRunnable() {
  if (halt_) return threads_[0];
  runnable_.clear();
  for (const ThreadPointer& thread : threads_) {
    if (!IsRunnable(*thread)) continue;
    if (thread->turn == 0 && thread != current_) thread->turn = next_turn_++;
    runnable_.push_back(&thread);
  }
  if (runnable_.empty()) return nullptr;
  // A thread that yields queues after all that were waiting.
  if (current_->turn == 0) current_->turn = next_turn_++;
  if (options_.seed != 0) return *runnable_[random_() % runnable_.size()];
  return **std::min_element(runnable_.begin(), runnable_.end(),
                            [](const ThreadPointer* a, const ThreadPointer* b) { return (*a)->turn < (*b)->turn; });
}

Scheduler::ThreadPointer Scheduler::PickNext() {
  for (;;) {
    if (ThreadPointer next = PickRunnable()) return next;
    if (AdvanceClock()) continue;
    bool woken = false;
    if (idle_hook_) AsMachine([&] { woken = idle_hook_(); });
    if (woken) continue;
    SimThread& machine = *threads_[0];
    machine.stalled = true;
    return threads_[0];
  }
}

bool Scheduler::AdvanceClock() {
  Millis next = kForever;
  for (const ThreadPointer& thread : threads_) {
    if (thread->state == SimThread::State::kWaiting) next = std::min(next, thread->deadline);
  }
  for (const Action& action : actions_) next = std::min(next, action.when);
  if (next == kForever) return false;
  MoveClockTo(next);
  RunDueActions();
  return true;
}

void Scheduler::MoveClockTo(Millis when) {
  if (when <= now_) return;
  calls_at_movement_ = calls();
  ForeseeCalls();
  if (options_.realtime) {
    constexpr Millis kSlice{50};
    for (Millis left = when - now_; left > Millis{0} && !halt_; left -= std::min(left, kSlice)) {
      std::this_thread::sleep_for(std::min(left, kSlice));
      if (tick_hook_) AsMachine(tick_hook_);
    }
  }
  now_ = when;
  if (!options_.realtime && tick_hook_) AsMachine(tick_hook_);
}

void Scheduler::RunDueActions() {
  for (;;) {
    auto due = std::min_element(actions_.begin(), actions_.end(), [](const Action& a, const Action& b) {
      return std::pair(a.when, a.order) < std::pair(b.when, b.order);
    });
    if (due == actions_.end() || due->when > now_) return;
    std::function<void()> const run = std::move(due->run);
    actions_.erase(due);
    AsMachine(run);
  }
}

void Scheduler::SwitchFrom(SimThread& self) {
  if (PassBaton() != &self) self.baton.acquire();
}

SimThread* Scheduler::PassBaton() {
  HappensBefore(&kEarlier);
  ThreadPointer const next = PickNext();
  next->turn = 0;
  if (next != current_) {
    current_ = next;
    next->baton.release();
  }
  return next.get();
}

void Scheduler::AsMachine(const std::function<void()>& work) {
  ThreadPointer const self = std::exchange(current_, threads_[0]);
  work();
  current_ = self;
}

namespace {

// Texts are made apart from the way that every call takes.
[[gnu::noinline]] Halt PowerCut(std::uint64_t number, std::string_view call) {
  return {Halt::Reason::kPowerCut, "the power is cut at call " + std::to_string(number) + ", " + std::string(call)};
}

[[gnu::noinline]] Halt CallLimit(std::uint64_t limit, const std::string& thread) {
  return {Halt::Reason::kCallLimit, "more than " + std::to_string(limit) +
                                        " calls without any movement of the clock: thread \"" + thread +
                                        "\" polls for ever"};
}

}  // namespace

void Scheduler::ForeseeCalls() {
  if (options_.seed != 0) {
    uneventful_before_ = 0;
    return;
  }
  std::uint64_t const since = calls() - calls_at_movement_;
  std::uint64_t const turn_ends = (since / kQuantum + 1) * kQuantum;
  uneventful_before_ = calls_at_movement_ + std::min(turn_ends - 1, options_.call_limit) + 1;
  if (cut_at_ > calls()) uneventful_before_ = std::min(uneventful_before_, cut_at_);
}

void Scheduler::YieldAt(std::uint64_t number, std::string_view call) {
  if (number == cut_at_) HaltRun(PowerCut(number, call));
  std::uint64_t const since = number - calls_at_movement_;
  if (since > options_.call_limit) HaltRun(CallLimit(options_.call_limit, current_->name));
  ForeseeCalls();
  if (options_.seed == 0 && since % kQuantum != 0) return;
  SimThread& self = *current_;
  self.turn = 0;
  SwitchFrom(self);
}

Wake Scheduler::Wait(Millis deadline, std::function<bool()> ready) {
  OutsideProduct const outside;
  SimThread& self = *current_;
  if (ready()) return Wake::kReady;
  self.state = SimThread::State::kWaiting;
  self.deadline = deadline;
  self.ready = std::move(ready);
  self.turn = 0;
  self.stalled = false;
  SwitchFrom(self);
  bool const holds = self.ready();
  self.state = SimThread::State::kRunnable;
  self.deadline = kForever;
  self.ready = nullptr;
  if (holds) return Wake::kReady;
  if (self.stalled || (halt_ && self.id == 0)) return Wake::kStalled;
  return Wake::kDeadline;
}

Wake Scheduler::WaitFor(Millis duration, std::function<bool()> ready) {
  return Wait(duration == kForever ? kForever : now_ + duration, std::move(ready));
}

void Scheduler::Sleep(Millis duration) {
  WaitFor(duration, [] { return false; });
}

std::uint64_t Scheduler::At(Millis when, std::function<void()> action) {
  actions_.push_back({std::max(when, now_), next_action_, std::move(action)});
  return next_action_++;
}

void Scheduler::Cancel(std::uint64_t action) {
  std::erase_if(actions_, [action](const Action& entry) { return entry.order == action; });
}

void Scheduler::EndProcess(ProcessId process) {
  OutsideProduct const outside;
  for (const ThreadPointer& thread : threads_) {
    if (thread->process == process && process != kMachineProcess) thread->state = SimThread::State::kDone;
  }
  if (current_->process == process && process != kMachineProcess) ParkForever(*current_);
}

void Scheduler::ParkForever(SimThread& self) {
  self.state = SimThread::State::kDone;
  PassBaton();
  for (;;) self.baton.acquire();
}

void Scheduler::DieHere(const std::string& why) {
  SimThread& self = *current_;
  ProcessId const process = self.process;
  if (death_hook_) death_hook_(process, self.name, why);
  EndProcess(process);
  ParkForever(self);
}

void Scheduler::HaltRun(Halt halt) {
  OutsideProduct const outside;
  if (!halt_) halt_ = std::move(halt);
  if (current_->id == 0) {
    std::fprintf(stderr, "%s\n", halt_->message.c_str());
    std::abort();
  }
  ParkForever(*current_);
}

ThreadId Scheduler::current_thread() const { return current_->id; }
ProcessId Scheduler::current_process() const { return current_->process; }
const std::string& Scheduler::current_name() const { return current_->name; }
std::uint32_t& Scheduler::last_error() { return current_->last_error; }

bool Scheduler::IsThreadDone(ThreadId thread) const { return threads_[thread]->state == SimThread::State::kDone; }

std::vector<std::string> Scheduler::LiveThreads(ProcessId process) const {
  std::vector<std::string> names;
  for (const ThreadPointer& thread : threads_) {
    if (thread->process == process && thread->state != SimThread::State::kDone) names.push_back(thread->name);
  }
  return names;
}

bool Scheduler::IsProcessParked(ProcessId process) const {
  return std::all_of(threads_.begin(), threads_.end(), [&](const ThreadPointer& thread) {
    return thread->process != process || thread->state == SimThread::State::kDone ||
           (thread->state == SimThread::State::kWaiting && thread->deadline == kForever && !thread->ready());
  });
}

}  // namespace tablet
