#include "sim/tablet/machine/timeline.h"

#include <fmt/format.h>

#include <memory>
#include <vector>

#include "sim/tablet/machine/tablet.h"

namespace tablet {

namespace {

const Guid kConsoleDisplayState = *Guid::Parse("{6FE69556-704A-47A0-8F24-C28D936FDA47}");

constexpr std::uint32_t kPowerSettingChange = 0x8013;

/// Windows' record of a changed setting: the setting, the length of its data, the data, here one 32-bit word.
std::shared_ptr<void> SettingRecord(const Guid& setting, std::uint32_t value) {
  auto record = std::make_shared<std::vector<std::uint8_t>>(setting.bytes.begin(), setting.bytes.end());
  for (std::uint32_t const word : {std::uint32_t{sizeof value}, value}) {
    for (int shift = 0; shift < 32; shift += 8) record->push_back(static_cast<std::uint8_t>(word >> shift));
  }
  return {record, record->data()};
}

WinError SendNoted(const TimelineEvent& event, Tablet& machine, std::uint32_t control, std::uint32_t type,
                   std::shared_ptr<void> data = nullptr) {
  WinError const refusal = machine.services().Send(control, type, std::move(data));
  std::string const name = NameOf(event);
  machine.journal().Note(refusal == kSuccess ? fmt::format("{} sent", name)
                                             : fmt::format("{} refused: {}", name, NameOfRefusal(refusal)));
  return refusal;
}

/// Windows notifies a service only of settings that it registered for.
WinError ChangeSetting(const TimelineEvent& event, Tablet& machine, const Guid& setting) {
  if (machine.notifications().WantsPower(setting)) {
    return SendNoted(event, machine, kControlPowerEvent, kPowerSettingChange, SettingRecord(setting, event.number));
  }
  machine.journal().Note(NameOf(event) + ": no registration receives it");
  return kSuccess;
}

}  // namespace

std::string NameOfRefusal(WinError refusal) {
  switch (refusal) {
    case kInvalidServiceControl:
      return fmt::format("ERROR_INVALID_SERVICE_CONTROL ({})", refusal);
    case kServiceCannotAcceptControl:
      return fmt::format("ERROR_SERVICE_CANNOT_ACCEPT_CTRL ({})", refusal);
    case kServiceNotActive:
      return fmt::format("ERROR_SERVICE_NOT_ACTIVE ({})", refusal);
    default:
      return fmt::format("{}", refusal);
  }
}

WinError Happen(const TimelineEvent& event, Tablet& machine) {
  switch (event.kind) {
    case TimelineEvent::Kind::kControl:
      return SendNoted(event, machine, event.number, 0);
    case TimelineEvent::Kind::kPower:
      return SendNoted(event, machine, kControlPowerEvent, event.number);
    case TimelineEvent::Kind::kDisplay:
      return ChangeSetting(event, machine, kConsoleDisplayState);
    case TimelineEvent::Kind::kSetting:
      return ChangeSetting(event, machine, event.guid);
    case TimelineEvent::Kind::kDevice:
      machine.notifications().AnnounceDevice(event.number, event.guid, event.link);
      return kSuccess;
  }
  return kSuccess;
}

}  // namespace tablet
