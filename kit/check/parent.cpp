#include "kit/check/parent.h"

#include <windows.h>

#include <atomic>
#include <cstdio>

#include "kit/check/child.h"
#include "kit/machine/places.h"
#include "kit/result/plan.h"

namespace kit {

namespace {

constexpr DWORD kReadMilliseconds = 100;
constexpr DWORD kEndMilliseconds = 5000;
/// The child ends its own tests; this is for one that can no longer.
constexpr ULONGLONG kSilenceMilliseconds = kServiceStepMilliseconds + 10000;

std::atomic<HANDLE> g_job{nullptr};
std::atomic<HANDLE> g_child{nullptr};  ///< closed by the thread that started it

/// What the notes of one child say so far.
struct ChildNotes {
  std::size_t read = 0;  ///< bytes
  Step step;             ///< the test that runs; without a name: none
  std::vector<Answer> answers;
};

/// Takes in what has been noted since the last call. A last line that is not complete waits.
void Follow(ChildNotes& notes, Result& result, const std::function<void(const Step&)>& ended) {
  std::string const text = ReadFileText(Folder() + L"\\" + kNotesFile);
  for (;;) {
    std::size_t const end = text.find('\n', notes.read);
    if (end == std::string::npos) return;
    std::vector<std::string> const fields = Fields(text.substr(notes.read, end - notes.read), 3);
    notes.read = end + 1;
    if (fields[0] == "begin") notes.step = {fields[1], "died", {}};
    if (fields[0] == "text") notes.step.texts.push_back(fields[1]);
    if (fields[0] == "saw") AddAnswer(result, fields[1], fields[2], notes.step.name);
    if (fields[0] == "end") {
      notes.step.outcome = fields[1];
      ended(notes.step);
      notes.step = {};
    }
  }
}

/// A process that ends with this one, whatever ends this one; null on failure.
HANDLE StartChild() {
  HANDLE const job = ::CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  std::wstring command = L"\"" + OwnPath() + L"\" --child";
  // A process group of its own: Ctrl-C is this process's business.
  if (!::CreateProcessW(OwnPath().c_str(), command.data(), nullptr, nullptr, FALSE,
                        CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &process)) {
    ::CloseHandle(job);
    return nullptr;
  }
  ::AssignProcessToJobObject(job, process.hProcess);
  g_child = process.hProcess;
  g_job = job;
  ::ResumeThread(process.hThread);
  ::CloseHandle(process.hThread);
  return process.hProcess;
}

std::string ExitText(HANDLE child) {
  DWORD code = 0;
  ::GetExitCodeProcess(child, &code);
  char text[64] = {};
  std::snprintf(text, sizeof(text), "the process ended with 0x%08lx", static_cast<unsigned long>(code));
  return text;
}

/// Runs one child. Returns the number of tests that ended with it, at least 1 for a list that is not empty.
std::size_t RunOneChild(const std::vector<std::string>& tests, Result& result,
                        const std::function<void(const Step&)>& progress) {
  std::string filter;
  for (const std::string& test : tests) filter += (filter.empty() ? "" : ":") + test;
  WriteFileText(Folder() + L"\\" + kFilterFile, filter);
  WriteFileText(Folder() + L"\\" + kNotesFile, "");
  std::size_t count = 0;
  auto const ended = [&](const Step& step) {
    ++count;
    result.steps.push_back(step);
    progress(step);
  };
  HANDLE const child = StartChild();
  ChildNotes notes;
  std::string why = "the process cannot be started";
  ULONGLONG last = ::GetTickCount64();
  while (child != nullptr && ::WaitForSingleObject(child, kReadMilliseconds) == WAIT_TIMEOUT) {
    std::size_t const before = notes.read;
    Follow(notes, result, ended);
    if (notes.read != before) last = ::GetTickCount64();
    if (::GetTickCount64() - last > kSilenceMilliseconds) EndChild();
  }
  Follow(notes, result, ended);
  if (child != nullptr) why = ExitText(child);
  EndChild();
  if (child != nullptr) ::CloseHandle(child);
  if (!notes.step.name.empty() || count == 0) {
    if (notes.step.name.empty()) notes.step = {tests.front(), "died", {}};
    notes.step.texts.push_back(why);
    std::string_view const question = QuestionOfEnd(notes.step.name);
    if (!question.empty() && notes.step.outcome == "died") AddAnswer(result, question, why, notes.step.name);
    ended(notes.step);
  }
  return count;
}

}  // namespace

void RunTests(const std::vector<std::string>& tests, Result& result, const std::function<void(const Step&)>& progress) {
  for (std::size_t done = 0; done < tests.size();) {
    std::size_t end = done + 1;
    auto const alone = [&](std::size_t at) { return !QuestionOfEnd(tests[at]).empty(); };
    while (end < tests.size() && !alone(done) && !alone(end)) ++end;
    std::vector<std::string> const part(tests.begin() + static_cast<std::ptrdiff_t>(done),
                                        tests.begin() + static_cast<std::ptrdiff_t>(end));
    done += RunOneChild(part, result, progress);
  }
}

void EndChild() {
  HANDLE const job = g_job.exchange(nullptr);
  if (job == nullptr) return;
  ::TerminateJobObject(job, 1);
  // What it held open is closed only then.
  ::WaitForSingleObject(g_child, kEndMilliseconds);
  ::CloseHandle(job);
}

}  // namespace kit
