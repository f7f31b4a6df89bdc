// The whole service on a simulated tablet on which there is nothing to deploy.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/machine/timeline.h"
#include "tests/testing/tablet_fixture.h"

extern "C" int wmain(int argumentCount, WCHAR** arguments);

namespace service_tests {

inline constexpr char16_t kModemClass[] =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";

class ServiceTest : public testing_support::TabletTest {
 protected:
  ServiceTest() { MakeDeployed(); }

  /// Powers on another tablet with nothing to deploy.
  void PowerOnDeployed(const tablet::Description& description, tablet::Scheduler::Options options = {}) {
    PowerOn(description, options);
    MakeDeployed();
  }

  void Start() {
    machine().services().Start(u"Vantord", [] { return wmain(0, nullptr); });
  }
  void Boot() {
    Start();
    Settle();
  }
  /// What a line of a timeline says.
  void Happen(std::string_view word, const std::string& argument = {}) {
    tablet::Happen(*tablet::MakeEvent(word, argument), machine());
    Settle();
  }
  void Stop() {
    ASSERT_EQ(machine().services().Send(tablet::kControlStop), 0u);
    Settle();
  }

  std::vector<std::string> States() {
    std::vector<std::string> states;
    for (const tablet::StatusEvent& status : machine().journal().Statuses()) states.push_back(status.state);
    return states;
  }
  tablet::StatusEvent LastStatus() { return machine().journal().Statuses().back(); }

  /// The texts that begin with `start`, delivered or not, without the entry and exit of functions.
  std::vector<std::string> LinesOf(std::string_view start) {
    std::vector<std::string> lines = formatted();
    std::erase_if(lines, [&](const std::string& line) {
      return !line.starts_with(start) || line.ends_with(": (+)") || line.ends_with(": (-)");
    });
    return lines;
  }
  /// How often a call was made, with these arguments.
  std::size_t Times(std::string_view call, std::string_view args) {
    auto const calls = machine().journal().Calls(call);
    return static_cast<std::size_t>(
        std::ranges::count_if(calls, [&](const tablet::CallEvent& event) { return event.args == args; }));
  }
  std::vector<std::string> Notes() {
    std::vector<std::string> notes;
    for (const tablet::Event& event : machine().journal().events()) {
      if (const auto* happening = std::get_if<tablet::Happening>(&event.what)) notes.push_back(happening->text);
    }
    return notes;
  }

 private:
  void MakeDeployed() {
    registry().PutText(std::u16string(kModemClass) + u"\\0000", u"AmssFwImagePath",
                       u"\\SystemRoot\\System32\\qcdsp1v2850.mbn");
    registry().PutText(u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State", u"ImageState",
                       u"IMAGE_STATE_COMPLETE");
  }
};

}  // namespace service_tests
