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
  tablet::Description description = DefaultDescription();
  description.crash.sessions = {{.id = 1, .user = u"kim"}};
  return description;
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

void CrashTest::PutFile(std::u16string_view path, std::string_view text) {
  drive().Put(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::string CrashTest::TextOf(std::u16string_view path) {
  auto const data = drive().Contents(path);
  return {data.begin(), data.end()};
}

std::vector<std::string> CrashTest::MessagesOf(std::string_view start) {
  std::vector<std::string> found = messages();
  std::erase_if(found, [&](const std::string& message) { return !message.starts_with(start); });
  return found;
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
