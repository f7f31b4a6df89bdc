// Simulated threads and virtual time.
//
// Simulated threads are real threads of which exactly one runs at any moment. The running one yields at calls of the
// Windows API and whenever it waits. Time is virtual: when no thread can run, the clock jumps to the next deadline.
//
// The thread that makes the scheduler is its thread 0, "machine": the outside world of the simulated processes (a test
// body, the engineers' program). It runs like any other, and is woken when everything has come to rest.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/kernel/race_edges.h"

namespace tablet {

using Millis = std::chrono::milliseconds;
inline constexpr Millis kForever = Millis::max();

using ProcessId = std::uint32_t;
using ThreadId = std::uint32_t;
inline constexpr ProcessId kMachineProcess = 0;

struct SimThread;

enum class Wake {
  kReady,     ///< the condition holds
  kDeadline,  ///< the deadline came first
  kStalled,   ///< thread 0 only: nothing can ever happen any more
};

/// Why a run ended before its own end.
struct Halt {
  enum class Reason { kNotModelled, kCallLimit, kStopped, kPowerCut };
  Reason reason;
  std::string message;
};

class Scheduler {
 public:
  struct Options {
    std::uint64_t seed = 0;                 ///< 0: first come, first served; else draws who runs next, at every call
    bool realtime = false;                  ///< the clock waits instead of jumping
    std::uint64_t call_limit = 20'000'000;  ///< calls without movement of the clock before the run is halted
  };

  explicit Scheduler(Options options);
  /// Threads that still exist stay parked and never touch the scheduler again.
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  Millis Now() const { return now_; }
  /// Calls of the Windows API so far. Callable from any thread of the host, such as a watchdog.
  std::uint64_t calls() const { return calls_.load(std::memory_order_relaxed); }

  /// Makes a thread that runs `body` once it is chosen. A body that an exception leaves ends its process.
  ThreadId Start(ProcessId process, std::string name, std::function<void()> body);

  /// A point where another thread may run: each call of the Windows API begins with one. `call` names it in messages.
  /// Returns the call's number, counted from 1 since power-on.
  std::uint64_t Yield(std::string_view call = {}) {
    OutsideProduct const outside;
    bool const uneventful = IsNextUneventful();
    CountCall();
    std::uint64_t const number = calls();
    if (!uneventful) [[unlikely]]
      YieldAt(number, call);
    return number;
  }
  /// Whether the next call will be counted, and nothing else.
  bool IsNextUneventful() const { return calls() + 1 < uneventful_before_; }
  /// In place of Yield, where IsNextUneventful.
  void CountCall() {
    // Only the thread that holds the baton counts: no locked instruction is needed.
    calls_.store(calls() + 1, std::memory_order_relaxed);
  }

  /// Cuts the power at the beginning of call number `call`, counted from 1 since power-on: that call and everything
  /// after it never happen, the run is halted. 0: never.
  void CutPowerAt(std::uint64_t call);
  /// Another seed than that of the options. Before any thread is made.
  void Reseed(std::uint64_t seed);

  /// Waits until `ready` holds or the clock reaches `deadline` (since power-on; kForever: none). Any thread may call
  /// `ready`; it must not wait or change anything.
  Wake Wait(Millis deadline, std::function<bool()> ready);
  Wake WaitFor(Millis duration, std::function<bool()> ready);
  void Sleep(Millis duration);

  /// Runs `action` when the clock reaches `when`, on whatever thread moved the clock. It must not wait. Returns the
  /// action's number, never 0.
  std::uint64_t At(Millis when, std::function<void()> action);
  /// Forgets an action that has not run; does nothing for any other number.
  void Cancel(std::uint64_t action);

  /// Called when no thread can run and no deadline is left. Returns whether it made something runnable.
  void OnIdle(std::function<bool()> hook) { idle_hook_ = std::move(hook); }
  /// Called in --realtime while the clock waits, several times a second, and at each jump otherwise.
  void OnTick(std::function<void()> hook) { tick_hook_ = std::move(hook); }

  /// Ends every thread of a process at once: nothing is unwound, the threads are parked. When the caller's own
  /// process ends, the call does not return.
  void EndProcess(ProcessId process);
  /// Called when an exception has left a thread, before its process ends; the text describes the exception.
  void OnDeath(std::function<void(ProcessId, const std::string& thread, const std::string& why)> hook) {
    death_hook_ = std::move(hook);
  }

  /// Halts the run: thread 0 is woken, every other thread is parked. Does not return on another thread than 0. On
  /// thread 0 it prints the message and aborts.
  [[noreturn]] void HaltRun(Halt halt);
  const std::optional<Halt>& halted() const { return halt_; }

  // The running thread.
  ThreadId current_thread() const;
  ProcessId current_process() const;
  const std::string& current_name() const;
  std::uint32_t& last_error();  ///< of the running thread
  bool IsThreadDone(ThreadId thread) const;
  /// The threads of a process that have not ended, as the names they wait under; for tests and summaries.
  std::vector<std::string> LiveThreads(ProcessId process) const;
  /// Every live thread of the process waits without a deadline.
  bool IsProcessParked(ProcessId process) const;

  /// Called by the terminate handler: ends the process of the running thread and parks it.
  [[noreturn]] void DieHere(const std::string& why);

 private:
  using ThreadPointer = std::shared_ptr<SimThread>;

  void YieldAt(std::uint64_t number, std::string_view call);  ///< call `number` may be more than counted
  void ForeseeCalls();                                        ///< finds uneventful_before_ anew
  void SwitchFrom(SimThread& self);                           ///< gives the baton away and waits for it
  SimThread* PassBaton();                                     ///< to the thread that runs next, which it returns
  void AsMachine(const std::function<void()>& work);          ///< runs a hook under thread 0's name
  ThreadPointer PickNext();                                   ///< moves the clock if no thread can run
  ThreadPointer PickRunnable();
  bool AdvanceClock();  ///< false: no deadline is left
  void MoveClockTo(Millis when);
  void RunDueActions();
  bool IsRunnable(const SimThread& thread) const;
  [[noreturn]] void ParkForever(SimThread& self);
  void ThreadMain(ThreadPointer self);

  struct Action {
    Millis when;
    std::uint64_t order;
    std::function<void()> run;
  };

  OutsideProduct const outside_;  ///< thread 0 is not part of the product
  Options options_;
  std::mt19937_64 random_;
  Millis now_{0};
  std::atomic<std::uint64_t> calls_{0};
  std::uint64_t cut_at_ = 0;
  std::uint64_t calls_at_movement_ = 0;  ///< how many there had been when the clock moved last
  /// Calls with a smaller number are only counted: no cut, limit or end of a turn is among them.
  std::uint64_t uneventful_before_ = 0;
  std::uint64_t next_turn_ = 1;
  std::uint64_t next_action_ = 1;
  std::vector<ThreadPointer> threads_;  ///< by id; [0] is the machine
  ThreadPointer current_;
  std::vector<const ThreadPointer*> runnable_;  ///< PickRunnable's: a draw at every call makes no new one
  std::vector<Action> actions_;                 ///< unordered; few
  std::optional<Halt> halt_;
  std::function<bool()> idle_hook_;
  std::function<void()> tick_hook_;
  std::function<void(ProcessId, const std::string&, const std::string&)> death_hook_;
};

}  // namespace tablet
