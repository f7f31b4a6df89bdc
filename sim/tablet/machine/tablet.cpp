#include "sim/tablet/machine/tablet.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>

#include "sim/tablet/base/text.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace tablet {

namespace {
constexpr std::u16string_view kSetupStateKey = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";
}  // namespace

Tablet* Tablet::current_ = nullptr;

Tablet::Tablet(const Description& description, const std::filesystem::path& folder, Scheduler::Options options)
    : scheduler_(options),
      clock_(scheduler_, description.power_on, description.utc_offset_minutes),
      journal_(scheduler_),
      handles_(scheduler_),
      heap_(scheduler_),
      drive_(folder / "C", folder / "attributes.txt", clock_),
      trace_(journal_, scheduler_, description.trace_enabled_after),
      services_(scheduler_, journal_, handles_),
      notifications_(scheduler_, journal_),
      partner_(description.partner, scheduler_, journal_),
      radio_(description.radio, scheduler_, journal_, handles_),
      processes_(description.crash, scheduler_, journal_),
      amss_(description.crash.amss, scheduler_, journal_) {
  current_ = this;
  for (const std::u16string& key : description.denied_keys) registry_.Guard(key, KeyGuard::kDenied);
  for (const std::u16string& key : description.read_only_keys) registry_.Guard(key, KeyGuard::kReadOnly);
  for (std::uint32_t const privilege : description.missing_privileges) privileges_.Withhold(privilege);
  firmware_.trouble() = description.firmware_trouble;
  if (description.free_bytes) drive_.LimitSpace(*description.free_bytes);
  if (description.manager_denied) services_.DenyManager();
  if (description.serial_controls) services_.MakeControlsSerial();
  services_.SetPreshutdownTimeout(description.preshutdown_timeout);
  services_.OnProcessEnd([this](ProcessId process) {
    NoteWhatIsOpen(process);
    notifications_.DropAllOf(process);
    trace_.UnregisterAllOf(process);
  });
  faults_.on_first_hit = [this](const Faults::Counted& hit) {
    const CatalogedCall* const call = FindCataloged(hit.fault.call);
    auto const family = call == nullptr ? ErrorName::Family::kSystem : FamilyOf(call->failure);
    journal_.Note(fmt::format("fault: {} number {} fails with {}", hit.fault.call, hit.seen,
                              DescribeError(family, hit.fault.error)));
  };
  PlugInDevices(description, *this);
  for (const ImageStateChange& change : description.crash.setup) {
    scheduler_.At(change.at, [this, change] {
      registry_.PutText(kSetupStateKey, u"ImageState", change.state);
      journal_.Note("first-boot setup comes to " + ToUtf8(change.state));
    });
  }
}

void Tablet::NoteWhatIsOpen(ProcessId process) {
  left_open_ = handles_.OpenKinds(process);
  left_open_.insert(left_open_.end(), notifications_.device_registrations(), "device registration");
  left_open_.insert(left_open_.end(), notifications_.power_registrations(), "power registration");
  left_open_.insert(left_open_.end(), trace_.registrations(), "trace registration");
  left_open_.insert(left_open_.end(), heap_.LiveBlocks(process).size(), "memory");
}

Tablet::~Tablet() {
  if (current_ == this) current_ = nullptr;
}

void Tablet::RefuseWithoutTablet() {
  std::fputs("a call of the Windows API needs a tablet: make a tablet::Tablet first\n", stderr);
  std::abort();
}

}  // namespace tablet
