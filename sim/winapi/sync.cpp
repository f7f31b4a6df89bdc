// Sleep, events, waits, threads and the thread pool.
#include "sim/tablet/kernel/waitable.h"
#include "sim/winapi/call.h"

using tablet::Millis;
using win32::Call;
using win32::Machine;
using win32::Number;
using win32::RefuseUnmodelled;
using win32::ShowHandle;

namespace {

Millis Duration(DWORD milliseconds) { return milliseconds == INFINITE ? tablet::kForever : Millis{milliseconds}; }

/// A thread that CreateThread has made; a wait for it ends when it has ended.
class ThreadObject final : public tablet::Object {
 public:
  ThreadObject(const tablet::Scheduler& scheduler, tablet::ThreadId id) : m_scheduler(scheduler), m_id(id) {}
  std::string_view kind() const override { return "thread"; }
  bool waitable() const override { return true; }
  bool signaled() const override { return m_scheduler.IsThreadDone(m_id); }

 private:
  const tablet::Scheduler& m_scheduler;
  tablet::ThreadId m_id;
};

}  // namespace

extern "C" {

void WINAPI Sleep(DWORD milliseconds) {
  auto describe = [&] { return fmt::format("{}", milliseconds); };
  Call call("Sleep", describe);
  Machine().scheduler().Sleep(Duration(milliseconds));
  call.Done();
}

DWORD WINAPI GetTickCount() {
  auto describe = [] { return std::string(); };
  Call call("GetTickCount", describe);
  return call.Done(static_cast<DWORD>(Machine().scheduler().Now().count()));
}

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCWSTR name) {
  auto describe = [&] { return fmt::format("manual={}, initial={}", manualReset, initialState); };
  Call call("CreateEventW", describe);
  if (security != nullptr || name != nullptr) RefuseUnmodelled("CreateEventW", "security attributes or a name");
  if (call.fault() != 0) return call.Fail(HANDLE{});
  auto event = std::make_shared<tablet::EventObject>(manualReset != FALSE, initialState != FALSE);
  // Windows clears the last error when it makes a new event.
  Machine().scheduler().last_error() = NO_ERROR;
  return call.Done(win32::ToHandle(Machine().handles().Add(std::move(event))));
}

BOOL WINAPI SetEvent(HANDLE event) {
  auto describe = [&] { return ShowHandle(event); };
  Call call("SetEvent", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const object = Machine().handles().Get<tablet::EventObject>(Number(event));
  if (!object) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  object->Set();
  return call.Done(TRUE);
}

DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  auto describe = [&] { return fmt::format("{}, {}", ShowHandle(object), milliseconds); };
  Call call("WaitForSingleObject", describe);
  if (call.fault() != 0) return call.Fail(DWORD{WAIT_FAILED});
  auto const target = Machine().handles().Find(Number(object));
  if (!target || !target->waitable()) return call.Fail(DWORD{WAIT_FAILED}, ERROR_INVALID_HANDLE);
  switch (Machine().scheduler().WaitFor(Duration(milliseconds), [target] { return target->signaled(); })) {
    case tablet::Wake::kReady:
      target->Consume();
      return call.Done(DWORD{WAIT_OBJECT_0});
    case tablet::Wake::kDeadline:
      return call.Done(DWORD{WAIT_TIMEOUT});
    case tablet::Wake::kStalled:
      break;
  }
  Machine().scheduler().HaltRun(
      {tablet::Halt::Reason::kStopped, "WaitForSingleObject: nothing that could end this wait can happen any more"});
}

BOOL WINAPI QueueUserWorkItem(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags) {
  auto describe = [&] { return fmt::format("flags={:#x}", flags); };
  Call call("QueueUserWorkItem", describe);
  if (flags != WT_EXECUTELONGFUNCTION) RefuseUnmodelled("QueueUserWorkItem", fmt::format("flags {:#x}", flags));
  if (call.fault() != 0) return call.Fail(FALSE);
  tablet::Scheduler& scheduler = Machine().scheduler();
  scheduler.Start(scheduler.current_process(), "worker", [function, context] { function(context); });
  return call.Done(TRUE);
}

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stackBytes, LPTHREAD_START_ROUTINE function,
                           LPVOID parameter, DWORD flags, LPDWORD threadId) {
  auto describe = [&] { return fmt::format("flags={:#x}", flags); };
  Call call("CreateThread", describe);
  if (security != nullptr || stackBytes != 0 || flags != 0) {
    RefuseUnmodelled("CreateThread", "security attributes, a size of the stack, or flags");
  }
  if (call.fault() != 0) return call.Fail(HANDLE{});
  tablet::Scheduler& scheduler = Machine().scheduler();
  tablet::ThreadId const id =
      scheduler.Start(scheduler.current_process(), "thread", [function, parameter] { function(parameter); });
  if (threadId != nullptr) *threadId = id;
  return call.Done(win32::ToHandle(Machine().handles().Add(std::make_shared<ThreadObject>(scheduler, id))));
}
}
