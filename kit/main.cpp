// vantord-check: asks a Windows machine what only it can tell, and writes one file.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "kit/check/child.h"
#include "kit/check/parent.h"
#include "kit/machine/facts.h"
#include "kit/machine/places.h"
#include "kit/machine/service_control.h"
#include "kit/result/plan.h"
#include "kit/result/result.h"
#include "kit/result/zip_file.h"
#include "kit/run/restore.h"
#include "kit/run/vantord_run.h"
#include "kit/service/own_service.h"

#ifndef VANTORD_VERSION
#error the build names the version
#endif

namespace {

enum ExitCode : int { kDone = 0, kFailed = 1, kUsage = 2, kInterrupted = 130 };

constexpr const char* kHelp =
    "vantord-check: asks this machine's Windows what Vantord's developers cannot know, and writes one file.\n"
    "\n"
    "  vantord-check [--service] [--run] [--output FOLDER] [--only PART] [--yes]\n"
    "  vantord-check --list\n"
    "\n"
    "  --service        also installs two small services, VantordCheckA and VantordCheckB, and removes them again;\n"
    "                   needs an administrator\n"
    "  --run            also installs Vantord itself, starts and stops it, and removes it again; for a test device\n"
    "                   that has neither Vantord nor its firmware; needs an administrator\n"
    "  --output FOLDER  where the result is written; default: the current folder\n"
    "  --only PART      only tests whose names hold PART, or another PART\n"
    "  --list           shows every test and question, and does nothing\n"
    "  --clean          removes what an interrupted run left, and does nothing else\n"
    "  --self-test      runs tests of this program itself, three of which fail on purpose\n"
    "  --yes            does not ask before it installs something\n"
    "\n"
    "Without --service and --run it touches a folder for temporary files and one key of the current user, and removes both.\n";

struct Options {
  bool service = false;
  bool run = false;
  bool list = false;
  bool clean = false;
  bool self_test = false;
  bool yes = false;
  std::wstring output = L".";
  std::vector<std::string> only;  ///< empty: all
};

/// Held while something is made that CleanUp removes, and for good by the handler of Ctrl-C.
std::mutex g_making;

void Print(const std::string& text) {
  std::fputs((text + "\n").c_str(), stdout);
  std::fflush(stdout);
}

/// Names what cannot be removed.
std::string RemoveAll() {
  std::string const left = kit::UndoRun();
  // The journal of what is left is in the folder.
  return left.empty() ? kit::CleanUp() : left;
}

/// Ends everything and cleans up, on the thread that Windows makes for it.
BOOL WINAPI OnInterrupt(DWORD) {
  g_making.lock();
  kit::EndChild();
  std::string const left = RemoveAll();
  Print(left.empty() ? "interrupted; nothing is left" : "interrupted; this is left:\n" + left);
  ::ExitProcess(kInterrupted);
}

bool IsWanted(const std::string& test, const Options& options) {
  auto const names = [&test](const std::string& part) { return test.find(part) != std::string::npos; };
  if (!options.only.empty() && std::ranges::none_of(options.only, names)) return false;
  if (kit::IsOfItself(test) != options.self_test) return false;
  return options.service || kit::ModeOf(test) == kit::Mode::kPlain;
}

void List() {
  for (kit::Mode const mode : {kit::Mode::kPlain, kit::Mode::kService}) {
    Print(mode == kit::Mode::kPlain ? "Questions, without an administrator:" : "\nQuestions of --service:");
    for (const kit::Question& question : kit::Questions()) {
      if (question.mode == mode) Print("  " + std::string(question.name) + ": " + question.text);
    }
    Print(mode == kit::Mode::kPlain ? "\nTests, without an administrator:" : "\nTests of --service:");
    for (const std::string& test : kit::TestNames()) {
      if (kit::ModeOf(test) == mode && !kit::IsOfItself(test) && kit::WhyNot(test).empty())
        Print("  " + kit::PlainTest(test));
    }
  }
}

/// Asks before something is installed. True to go on.
bool Agreed(const Options& options) {
  if (!options.service && !options.run) return true;
  if (options.run) Print(kit::kRunPlan);
  if (options.service)
    Print(
        "This installs two small services, VantordCheckA and VantordCheckB, which do nothing but answer the questions\n"
        "of this program, starts and stops them, starts two trace sessions in memory, and removes all of it. It takes\n"
        "up to ten minutes. Nothing else of this machine is changed.");
  if (options.yes) return true;
  std::fputs("Continue? [y/n] ", stdout);
  std::fflush(stdout);
  int const answer = std::getchar();
  return answer == 'y' || answer == 'Y';
}

/// Installs what the mode needs. Empty, or what failed.
std::string Install(const Options& options) {
  std::lock_guard const lock(g_making);
  if (!::CreateDirectoryW(kit::Folder().c_str(), nullptr)) {
    return "the folder " + kit::ToUtf8(kit::Folder()) + " cannot be made: error " + std::to_string(::GetLastError());
  }
  for (const WCHAR* name : {kit::kFirstService, kit::kSecondService}) {
    DWORD const error = options.service ? kit::InstallService(name) : 0;
    if (error == ERROR_ACCESS_DENIED) return "--service needs an administrator: start it from an elevated prompt";
    if (error != 0) return "a service cannot be installed: error " + std::to_string(error);
  }
  if (!options.run) return {};
  std::string const why = kit::WhyNoRun();
  return !why.empty() || kit::BeginRun() ? why : "the journal of --run cannot be written";
}

void RunAll(const Options& options, kit::Result& result) {
  std::vector<std::string> tests;
  for (const std::string& test : kit::TestNames()) {
    if (!IsWanted(test, options)) continue;
    std::string_view const why = kit::WhyNot(test);
    if (why.empty()) {
      tests.push_back(test);
    } else {
      result.steps.push_back({test, "not tried", {std::string(why)}});
    }
  }
  std::size_t count = 0;
  kit::RunTests(tests, result, [&](const kit::Step& step) {
    Print("[" + std::to_string(++count) + "/" + std::to_string(tests.size()) + "] " + step.outcome + "  " +
          kit::PlainTest(step.name));
  });
}

/// The last part of the result's path.
std::string FileName(const kit::Result& result) {
  return "vantord-check-" + result.machine + "-" + result.date + ".zip";
}

int Check(const Options& options) {
  kit::Result result;
  result.version = VANTORD_VERSION;
  result.date = kit::Today();
  result.machine = kit::MachineName();
  result.modes = {"plain"};
  if (options.service) result.modes.emplace_back("service");
  if (options.run) result.modes.emplace_back("run");
  result.facts = kit::MachineFacts();
  std::string const wrong = Install(options);
  if (wrong.empty()) RunAll(options, result);
  if (wrong.empty() && options.run) {
    Print("Vantord is installed, started and stopped ...");
    result.run = kit::RunVantord();
  }
  std::string left;
  {
    std::lock_guard const lock(g_making);
    left = RemoveAll();
  }
  if (!wrong.empty()) {
    Print("vantord-check: " + wrong);
    return kFailed;
  }
  if (!left.empty()) Print("This could not be removed; vantord-check --clean tries again:\n" + left);

  kit::ZipFile zip;
  zip.Add("result.json", kit::Document(result, kit::MachineRedaction()));
  std::wstring const path = options.output + L"\\" + kit::ToWide(FileName(result));
  if (!kit::WriteFileText(path, zip.Finish())) {
    Print("vantord-check: " + kit::ToUtf8(path) + ": cannot be written; name another folder with --output");
    return kFailed;
  }
  auto const failed = std::ranges::count_if(result.steps, [](const kit::Step& step) {
    return step.outcome != "passed" && step.outcome != "skipped" && step.outcome != "not tried";
  });
  Print(std::to_string(result.steps.size()) + " tests, of which " + std::to_string(failed) +
        " found something unexpected; " + std::to_string(result.answers.size()) + " answers");
  Print("The result is in " + kit::ToUtf8(path) + ". Please send it back.");
  return left.empty() ? kDone : kFailed;
}

/// Another run on this machine would use the same names.
bool IsTheOnlyOne() {
  ::CreateMutexW(nullptr, FALSE, L"Local\\VantordCheck");
  return ::GetLastError() != ERROR_ALREADY_EXISTS;
}

int RunParent(const Options& options) {
  if (options.list) {
    List();
    return kDone;
  }
  if (!IsTheOnlyOne()) {
    Print("vantord-check: it runs already; wait for it");
    return kFailed;
  }
  if (!options.clean && !Agreed(options)) return kFailed;
  ::SetConsoleCtrlHandler(&OnInterrupt, TRUE);
  // What an earlier run left that could not clean up.
  std::string const left = RemoveAll();
  if (!left.empty()) {
    Print("An earlier run left this, which cannot be removed; start vantord-check --clean as an administrator:\n" +
          left);
    return kFailed;
  }
  return options.clean ? kDone : Check(options);
}

/// False for a command line that is wrong.
bool Parse(const std::vector<std::wstring>& words, Options& options) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    bool const has_value = i + 1 < words.size();
    if (words[i] == L"--service") {
      options.service = true;
    } else if (words[i] == L"--run") {
      options.run = true;
    } else if (words[i] == L"--list") {
      options.list = true;
    } else if (words[i] == L"--self-test") {
      options.self_test = true;
    } else if (words[i] == L"--clean") {
      options.clean = true;
    } else if (words[i] == L"--yes") {
      options.yes = true;
    } else if (words[i] == L"--output" && has_value) {
      options.output = words[++i];
    } else if (words[i] == L"--only" && has_value) {
      options.only.push_back(kit::ToUtf8(words[++i]));
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int wmain(int count, WCHAR** given) {
  std::vector<std::wstring> const words(given + 1, given + count);
  int gtest_count = 1;
  ::testing::InitGoogleTest(&gtest_count, given);
  if (words.size() == 1 && words[0] == L"--child") return kit::RunChild();
  if (words.size() == 3 && words[0] == L"--as-service") return kit::RunOwnService(words[1], words[2]);
  Options options;
  if (!Parse(words, options)) {
    Print(kHelp);
    return words.size() == 1 && words[0] == L"--help" ? kDone : kUsage;
  }
  UINT const code_page = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  int const code = RunParent(options);
  ::SetConsoleOutputCP(code_page);
  return code;
}
