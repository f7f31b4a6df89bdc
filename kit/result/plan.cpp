#include "kit/result/plan.h"

namespace kit {

namespace {

struct Reason {
  std::string_view test;  ///< or a suite with its dot
  std::string_view why;   ///< or the question
};

constexpr std::string_view kNeedsSystem = "opens winlogon.exe with all rights, which Windows gives to no user";
constexpr Reason kReasons[] = {
    {"Devices.", "needs the devices of the project's own test driver"},
    {"Processes.WinlogonIsFoundByTheNameOfItsFirstModule", kNeedsSystem},
    {"Processes.ATokenIsDuplicatedAsAPrimaryOne", kNeedsSystem},
    {"Processes.AFileThatIsNotAnExecutableDoesNotStart", kNeedsSystem},
    {"Processes.DuplicatingATokenNeedsTheRight", kNeedsSystem},
};

constexpr Reason kMayEnd[] = {
    {"MayEndTheProcess.ClosingASearchTwice", "find-closed"},
    {"MayEndTheProcess.ADeviceRequestWithoutAPlaceForTheCount", "device-no-count"},
    {"MayEndTheProcess.EndingANotificationTwice", "cm-unregister-twice"},
};

bool IsUpper(char one) { return one >= 'A' && one <= 'Z'; }
bool IsDigit(char one) { return one >= '0' && one <= '9'; }
char Lower(char one) { return IsUpper(one) ? static_cast<char>(one + ('a' - 'A')) : one; }

}  // namespace

Mode ModeOf(std::string_view test) {
  // A privilege of administrators.
  if (test == "Tokens.APrivilegeThatIsHeldIsEnabled") return Mode::kService;
  return test.starts_with("Service") ? Mode::kService : Mode::kPlain;
}

bool IsOfItself(std::string_view test) { return test.starts_with("Self."); }

std::string_view WhyNot(std::string_view test) {
  for (const Reason& reason : kReasons) {
    if (test == reason.test || (reason.test.ends_with('.') && test.starts_with(reason.test))) return reason.why;
  }
  return {};
}

std::string_view QuestionOfEnd(std::string_view test) {
  for (const Reason& one : kMayEnd) {
    if (one.test == test) return one.why;
  }
  return {};
}

std::string PlainWords(std::string_view name) {
  std::string words;
  for (std::size_t i = 0; i < name.size(); ++i) {
    bool const starts = IsUpper(name[i]) || (IsDigit(name[i]) && i > 0 && !IsDigit(name[i - 1]));
    if (starts && i > 0) words += ' ';
    words += Lower(name[i]);
  }
  return words;
}

std::string PlainTest(std::string_view test) {
  std::size_t const dot = test.find('.');
  return PlainWords(test.substr(0, dot)) + ": " + PlainWords(test.substr(dot + 1));
}

}  // namespace kit
