#include "sim/tablet/description/timeline_event.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "sim/tablet/base/text.h"
#include "sim/tablet/system/service_manager.h"

namespace tablet {

const Guid kUsbDeviceClass = *Guid::Parse("{A5DCBF10-6530-11D2-901F-00C04FB951ED}");

namespace {

constexpr std::uint32_t kSuspend = 4;
constexpr std::uint32_t kResumeAutomatic = 0x12;

constexpr std::array<std::string_view, 3> kDisplayWords{"off", "on", "dimmed"};

std::optional<std::uint32_t> Number(const std::string& text, std::uint32_t least, std::uint32_t most) {
  std::uint32_t number = 0;
  auto const [last, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  bool const whole = error == std::errc() && last == text.data() + text.size();
  if (!whole || number < least || number > most) return std::nullopt;
  return number;
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
  return "write nothing after it";
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

}  // namespace tablet
