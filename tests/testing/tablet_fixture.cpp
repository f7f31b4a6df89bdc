#include "tests/testing/tablet_fixture.h"

#include <algorithm>
#include <cstdlib>

#include "cli/base/service_facts.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace testing_support {

namespace {
constexpr tablet::FileTicks kMorningOfMarch2 = tablet::kUnixEpoch + 1'772'438'400ULL * tablet::kTicksPerSecond;

/// Puts the service's process-wide state back to that of a process that has just started. A provider that an earlier
/// test left behind was registered with a tablet that no longer exists: there is nothing to unregister.
void StartProcessAfresh() {
  g_ulZoneMask = kDefaultZoneMask;
  if (TraceControlBlock* const provider = RegisteredProvider()) provider->registration = 0;
  TraceProviderCleanup();
}
}  // namespace

TabletTest::TabletTest() { PowerOn(DefaultDescription()); }

tablet::Description TabletTest::DefaultDescription() {
  tablet::Description description;
  description.name = "test";
  description.power_on = kMorningOfMarch2;
  description.utc_offset_minutes = 60;
  description.modem_links = {u"\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"};
  description.firmware_driver_link = u"\\\\?\\ROOT#SAFI#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}";
  return description;
}

void TabletTest::PowerOn(const tablet::Description& description, tablet::Scheduler::Options options) {
  StartProcessAfresh();
  machine_.reset();
  folder_ = std::make_unique<ScratchFolder>();
  machine_ = std::make_unique<tablet::Tablet>(description, folder_->path(), options);
  machine_->journal().WantCalls(true);
  if (description.trace_collected) machine_->trace().Collect(*tablet::Guid::Parse(service_facts::kTraceProvider), 1, 5);
}

void TabletTest::OpenLog(ULONG zones) {
  g_ulZoneMask = zones;
  TraceProviderInit();
}

std::vector<std::string> TabletTest::MessagesOf(std::string_view start) {
  std::vector<std::string> found = messages();
  std::erase_if(found, [&](const std::string& message) { return !message.starts_with(start); });
  return found;
}

std::size_t TabletTest::TimesLogged(std::string_view message) { return std::ranges::count(messages(), message); }

std::vector<std::string> TabletTest::ArgumentsOf(std::string_view call) {
  std::vector<std::string> arguments;
  for (const tablet::CallEvent& event : machine_->journal().Calls(call)) arguments.push_back(event.args);
  return arguments;
}

std::ptrdiff_t TabletTest::At(std::string_view name, std::string_view part, std::ptrdiff_t start) {
  auto const& events = machine_->journal().events();
  auto const found = std::find_if(events.begin() + start, events.end(), [&](const tablet::Event& event) {
    const auto* const call = std::get_if<tablet::CallEvent>(&event.what);
    return call != nullptr && call->name == name && call->args.find(part) != std::string::npos;
  });
  EXPECT_NE(found, events.end()) << name << " " << part;
  return found - events.begin();
}

void TabletTest::Settle() {
  machine_->scheduler().Wait(tablet::kForever, [] { return false; });
}

void TabletTest::Put(std::u16string_view path, std::string_view text, std::uint32_t attributes) {
  drive().Put(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, attributes);
}

std::string TabletTest::TextOf(std::u16string_view path) {
  auto const data = drive().Contents(path);
  return {data.begin(), data.end()};
}

void TabletTest::Inject(std::string call, tablet::WinError error, std::uint32_t first, std::uint32_t count) {
  machine_->faults().Add({.call = std::move(call), .error = error, .first = first, .count = count});
}

}  // namespace testing_support
