// A tablet in a folder of its own, powered on for the length of a test. The test body is the tablet's thread 0: it
// calls the Windows API directly.
#pragma once

#include <windows.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/machine/tablet.h"
#include "tests/testing/matchers.h"
#include "tests/testing/scratch_folder.h"
#include "vantord/common/diagnostic_log.h"

using tablet::Millis;

namespace testing_support {

class TabletTest : public ::testing::Test {
 protected:
  /// Powered on with the defaults: a modem, a firmware driver, 2026-03-02 08:00 UTC, one hour ahead of UTC, the
  /// service's trace collected, calls recorded.
  TabletTest();

  /// Powers on again with another description or seed; registry, drive and firmware start empty. The service's
  /// process-wide state is that of a new process, but for the count of check points, which only a process of its own
  /// resets.
  void PowerOn(const tablet::Description& description, tablet::Scheduler::Options options = {});
  static tablet::Description DefaultDescription();
  /// The default description after `change`.
  template <typename Change>
  static tablet::Description With(Change change) {
    tablet::Description description = DefaultDescription();
    change(description);
    return description;
  }

  /// As the service's start does it: registers the trace provider. Without zones only unconditional messages are sent.
  void OpenLog(ULONG zones = kDefaultZoneMask);

  tablet::Tablet& machine() { return *machine_; }
  tablet::Registry& registry() { return machine_->registry(); }
  tablet::Drive& drive() { return machine_->drive(); }
  std::vector<std::string> messages() { return machine_->journal().Messages(); }
  /// The messages that begin with `start`, a function's name for instance, in order.
  std::vector<std::string> MessagesOf(std::string_view start);
  /// How often a message was logged.
  std::size_t TimesLogged(std::string_view message);
  /// The arguments of each call of that name.
  std::vector<std::string> ArgumentsOf(std::string_view call);
  /// The number of the first event of the journal, from `start` on, that is a call of that name with `part` in its
  /// arguments.
  std::ptrdiff_t At(std::string_view name, std::string_view part = "", std::ptrdiff_t start = 0);
  /// The kinds of the handles that are open.
  std::vector<std::string> open_kinds() { return machine_->handles().OpenKinds(tablet::kMachineProcess); }

  Millis Now() { return machine_->scheduler().Now(); }
  /// Lets everything happen that can happen.
  void Settle();

  void Put(std::u16string_view path, std::string_view text, std::uint32_t attributes = tablet::kAttributeArchive);
  std::string TextOf(std::u16string_view path);

  /// Everything the wide formatter made so far, delivered or not.
  std::vector<std::string> formatted() { return ArgumentsOf("_vsnwprintf"); }

  /// Makes an injected error: the call fails from its `first` next occurrence on, `count` times.
  void Inject(std::string call, tablet::WinError error, std::uint32_t first = 1,
              std::uint32_t count = tablet::Fault::kEvery);

 private:
  std::unique_ptr<ScratchFolder> folder_;
  std::unique_ptr<tablet::Tablet> machine_;
};

}  // namespace testing_support
