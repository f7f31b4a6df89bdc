#include "tests/unit/crash/crash_fixture.h"

#include <algorithm>

#include "sim/tablet/drive/pe_version.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace crash_tests {

CrashTest::CrashTest() { OpenLog(0); }

void CrashTest::PowerOnAgain(const tablet::Description& description) {
  PowerOn(description);
  OpenLog(0);
}

tablet::Description CrashTest::WithKim() {
  return With([](auto& description) { description.crash.sessions = {{.id = 1, .user = u"kim"}}; });
}

void CrashTest::LogKimOn() {
  SelectUser(kKim);
  PutSession(u"1", kKim);
  drive().Put(u"c:\\Windows\\ToastGenerator\\ToastGenerator.exe", tablet::MakeExecutableWithVersion(1, 0, 0, 0));
}

void CrashTest::PutSession(std::u16string_view name, std::u16string_view sid) {
  std::u16string const key = std::u16string(kLogonUi) + u"\\SessionData\\" + std::u16string(name);
  registry().MakeKey(key);
  if (!sid.empty()) registry().PutText(key, u"LoggedOnUserSID", sid);
}

std::vector<std::string> CrashTest::Results(std::string_view call) {
  std::vector<std::string> results;
  for (const tablet::CallEvent& event : machine().journal().Calls(call)) results.push_back(event.result);
  return results;
}

std::shared_ptr<tablet::Process> CrashTest::ProcessNamed(std::u16string_view name, std::uint32_t session) {
  auto const& running = machine().processes().running();
  auto const found = std::ranges::find_if(
      running, [&](const auto& process) { return process->name == name && process->session == session; });
  return found == running.end() ? nullptr : *found;
}

}  // namespace crash_tests
