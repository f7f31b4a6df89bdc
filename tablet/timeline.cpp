#include "tablet/timeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <vector>

#include "tablet/tablet.h"
#include "tablet/text.h"

namespace tablet {

const Guid kUsbDeviceClass = *Guid::Parse("{A5DCBF10-6530-11D2-901F-00C04FB951ED}");

namespace {

const Guid kConsoleDisplayState = *Guid::Parse("{6FE69556-704A-47A0-8F24-C28D936FDA47}");

constexpr std::uint32_t kSuspend = 4;
constexpr std::uint32_t kResumeAutomatic = 0x12;
constexpr std::uint32_t kPowerSettingChange = 0x8013;

constexpr std::array<std::string_view, 3> kDisplayWords{"off", "on", "dimmed"};

std::optional<std::uint32_t> Number(const std::string& text, std::uint32_t least, std::uint32_t most) {
  std::uint32_t number = 0;
  auto const [last, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  bool const whole = error == std::errc() && last == text.data() + text.size();
  if (!whole || number < least || number > most) return std::nullopt;
  return number;
}

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

/// Windows tells a service of those settings alone that it registered for.
WinError ChangeSetting(const TimelineEvent& event, Tablet& machine, const Guid& setting) {
  if (machine.notifications().WantsPower(setting)) {
    return SendNoted(event, machine, kControlPowerEvent, kPowerSettingChange, SettingRecord(setting, event.number));
  }
  machine.journal().Note(NameOf(event) + ": nobody is registered for it");
  return kSuccess;
}

}  // namespace

std::span<const std::string_view> EventWords() {
  static constexpr std::array<std::string_view, 11> kWords{"arrival", "control",     "display", "interrogate",
                                                           "power",   "preshutdown", "removal", "resume",
                                                           "setting", "stop",        "suspend"};
  return kWords;
}

std::string_view ArgumentOf(std::string_view word) {
  if (word == "control") return "control";
  if (word == "display") return "state";
  if (word == "power") return "type";
  if (word == "setting") return "guid";
  if (word == "arrival" || word == "removal") return "link";
  return {};
}

std::string_view HintFor(std::string_view word) {
  if (word == "control") return "give a number from 128 to 255";
  if (word == "display") return "give on, off or dimmed";
  if (word == "power") return "give the event's type, a number up to 65535";
  if (word == "setting") return "give the GUID of a power setting as {8-4-4-4-12} digits";
  if (word == "arrival" || word == "removal") return "give the symbolic link of a device interface";
  return "write nothing behind it";
}

std::optional<TimelineEvent> MakeEvent(std::string_view word, const std::string& argument) {
  using Kind = TimelineEvent::Kind;
  if (ArgumentOf(word).empty() != argument.empty()) return std::nullopt;
  if (word == "stop") return TimelineEvent{.kind = Kind::kControl, .number = kControlStop};
  if (word == "preshutdown") return TimelineEvent{.kind = Kind::kControl, .number = kControlPreshutdown};
  if (word == "interrogate") return TimelineEvent{.kind = Kind::kControl, .number = kControlInterrogate};
  if (word == "suspend") return TimelineEvent{.kind = Kind::kPower, .number = kSuspend};
  if (word == "resume") return TimelineEvent{.kind = Kind::kPower, .number = kResumeAutomatic};
  if (word == "display") {
    auto const state = std::find(kDisplayWords.begin(), kDisplayWords.end(), argument);
    if (state == kDisplayWords.end()) return std::nullopt;
    return TimelineEvent{.kind = Kind::kDisplay, .number = static_cast<std::uint32_t>(state - kDisplayWords.begin())};
  }
  if (word == "arrival" || word == "removal") {
    return TimelineEvent{.kind = Kind::kDevice,
                         .number = word == "arrival" ? 0U : 1U,
                         .link = ToUtf16(argument),
                         .guid = kUsbDeviceClass};
  }
  if (word == "setting") {
    auto const setting = Guid::Parse(argument);
    if (!setting) return std::nullopt;
    return TimelineEvent{.kind = Kind::kSetting, .number = 1, .guid = *setting};
  }
  bool const control = word == "control";
  auto const number = Number(argument, control ? 128 : 0, control ? 255 : 65535);
  if (!number) return std::nullopt;
  return TimelineEvent{.kind = control ? Kind::kControl : Kind::kPower, .number = *number};
}

std::string NameOf(const TimelineEvent& event) {
  switch (event.kind) {
    case TimelineEvent::Kind::kControl:
      if (event.number == kControlStop) return "stop control";
      if (event.number == kControlPreshutdown) return "preshutdown control";
      if (event.number == kControlInterrogate) return "interrogate control";
      return fmt::format("control {}", event.number);
    case TimelineEvent::Kind::kPower:
      if (event.number == kSuspend) return "suspend";
      if (event.number == kResumeAutomatic) return "resume";
      return fmt::format("power event {:#x}", event.number);
    case TimelineEvent::Kind::kDisplay:
      return fmt::format("display {}", kDisplayWords.at(event.number));
    case TimelineEvent::Kind::kDevice:
      return event.number == 0 ? "device arrival" : "device removal";
    case TimelineEvent::Kind::kSetting:
      return fmt::format("power setting {}", event.guid.ToString());
  }
  return "unknown";
}

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
