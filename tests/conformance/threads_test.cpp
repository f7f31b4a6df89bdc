// Events, waits, threads and work items.
#include "tests/conformance/world.h"

#include <atomic>

namespace {

using conformance::Error;
using testing_support::Handle;

constexpr DWORD kLongMs = 20000;  // how long a wait may take that is expected to succeed
constexpr DWORD kShortMs = 20;
constexpr int kMostSleeps = 500;

using Threads = conformance::World;

struct Work {
  HANDLE event;
  std::atomic<DWORD> ran{0};
};

DWORD WINAPI SetItsEvent(LPVOID context) {
  auto* const work = static_cast<Work*>(context);
  work->ran += 1;
  ::SetEvent(work->event);
  return 7;
}

HANDLE MakeEvent(bool manual, bool set) {
  return ::CreateEventW(nullptr, manual ? TRUE : FALSE, set ? TRUE : FALSE, nullptr);
}

TEST_F(Threads, AnAutoResetEventLetsOneWaitThrough) {
  Handle const event(MakeEvent(false, true));
  EXPECT_EQ(::WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(::SetEvent(event));
  EXPECT_TRUE(::SetEvent(event)) << "setting it twice is setting it once";
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
}

TEST_F(Threads, AManualResetEventLetsAllThrough) {
  Handle const event(MakeEvent(true, false));
  EXPECT_EQ(::WaitForSingleObject(event, kShortMs), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(::SetEvent(event));
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::WaitForSingleObject(event, INFINITE), DWORD{WAIT_OBJECT_0});
}

TEST_F(Threads, ATimeOutIsNoError) {
  Handle const event(MakeEvent(true, false));
  ::SetLastError(77);
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(::GetLastError(), 77u);
}

TEST_F(Threads, WaitsOnWhatIsNoHandleFail) {
  HANDLE const closed = MakeEvent(true, true);
  EXPECT_TRUE(::CloseHandle(closed));
  EXPECT_EQ(::WaitForSingleObject(closed, 0), DWORD{WAIT_FAILED});
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_EQ(::WaitForSingleObject(nullptr, 0), DWORD{WAIT_FAILED});
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_EQ(Error(::SetEvent(closed)), 6u);
}

TEST_F(Threads, AThreadRunsWithItsParameter) {
  Handle const event(MakeEvent(true, false));
  Work work{event};
  Handle const thread(::CreateThread(nullptr, 0, &SetItsEvent, &work, 0, nullptr));
  ASSERT_TRUE(thread != nullptr);
  EXPECT_EQ(::WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(work.ran, 1u);
}

TEST_F(Threads, AThreadIsSignalledOnceItHasEnded) {
  Handle const event(MakeEvent(true, false));
  Work work{event};
  Handle const thread(::CreateThread(nullptr, 0, &SetItsEvent, &work, 0, nullptr));
  EXPECT_EQ(::WaitForSingleObject(thread, kLongMs), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::WaitForSingleObject(thread, 0), DWORD{WAIT_OBJECT_0});
}

TEST_F(Threads, AThreadRunsOnWhenItsHandleIsClosed) {
  Handle const event(MakeEvent(true, false));
  Work work{event};
  { Handle const thread(::CreateThread(nullptr, 0, &SetItsEvent, &work, 0, nullptr)); }
  EXPECT_EQ(::WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
}

TEST_F(Threads, AWorkItemRunsOnAnotherThread) {
  Handle const event(MakeEvent(false, false));
  Work work{event};
  EXPECT_TRUE(::QueueUserWorkItem(&SetItsEvent, &work, WT_EXECUTELONGFUNCTION));
  EXPECT_EQ(::WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(work.ran, 1u);
}

TEST_F(Threads, TheTickCountGoesOnWhileAThreadSleeps) {
  DWORD const before = ::GetTickCount();
  // On a busy machine the count may be late.
  for (int i = 0; i < kMostSleeps && ::GetTickCount() - before < kShortMs; ++i) ::Sleep(kShortMs);
  EXPECT_GE(::GetTickCount() - before, kShortMs);
}

}  // namespace
