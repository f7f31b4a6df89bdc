#include "kit/check/child.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>

#include "kit/machine/places.h"

namespace kit {

namespace {

constexpr DWORD kWatchMilliseconds = 50;

std::atomic<ULONGLONG> g_deadline{0};  ///< of the test that runs; 0: none runs

void Note(const std::string& kind, const std::string& first, const std::string& second = {}) {
  std::string const line = kind + "\t" + Field(first) + (second.empty() ? "" : "\t" + Field(second)) + "\n";
  AppendText(Folder() + L"\\" + kNotesFile, line);
}

DWORD WINAPI Watch(void*) {
  for (;;) {
    ULONGLONG const deadline = g_deadline;
    if (deadline != 0 && ::GetTickCount64() > deadline) {
      Note("end", "timed out");
      ::TerminateProcess(::GetCurrentProcess(), 3);
    }
    ::Sleep(kWatchMilliseconds);
  }
}

unsigned LimitOf(const std::string& suite) {
  if (suite == "Self") return kSelfStepMilliseconds;
  return suite.starts_with("Service") ? kServiceStepMilliseconds : kStepMilliseconds;
}

class Notes : public ::testing::EmptyTestEventListener {
 public:
  void OnTestStart(const ::testing::TestInfo& info) override {
    std::string const suite = info.test_suite_name();
    Note("begin", suite + "." + info.name());
    g_deadline = ::GetTickCount64() + LimitOf(suite);
  }
  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (!result.passed()) Note("text", result.message());
  }
  void OnTestEnd(const ::testing::TestInfo& info) override {
    g_deadline = 0;
    Note("end", info.result()->Failed() ? "failed" : info.result()->Skipped() ? "skipped" : "passed");
  }
};

}  // namespace

std::vector<std::string> TestNames() {
  std::vector<std::string> names;
  auto const& tests = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < tests.total_test_suite_count(); ++i) {
    auto const& suite = *tests.GetTestSuite(i);
    for (int k = 0; k < suite.total_test_count(); ++k) {
      names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(k)->name());
    }
  }
  return names;
}

int RunChild() {
  // A test that ends the process must not wait for a person.
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  ::testing::GTEST_FLAG(filter) = ReadFileText(Folder() + L"\\" + kFilterFile);
  ::testing::GTEST_FLAG(catch_exceptions) = false;
  auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(new Notes);
  HANDLE const watch = ::CreateThread(nullptr, 0, &Watch, nullptr, 0, nullptr);
  if (watch != nullptr) ::CloseHandle(watch);
  return RUN_ALL_TESTS();
}

void Saw(const char* question, const std::string& seen) {
  DWORD const error = ::GetLastError();
  Note("saw", question, seen);
  ::SetLastError(error);
}

}  // namespace kit
