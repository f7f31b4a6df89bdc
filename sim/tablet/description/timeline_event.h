// One event of a tablet's timeline, and the words of tablet.json, stories and the command line that name it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sim/tablet/base/guid.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

struct TimelineEvent {
  enum class Kind {
    kControl,  ///< `number` is the control: stop, interrogate, preshutdown or one of 128 to 255
    kPower,    ///< a power event; `number` is its type
    kDisplay,  ///< the console's display; `number` is its state: 0 off, 1 on, 2 dimmed
    kDevice,   ///< a device interface; `number` is 0 for an arrival, 1 for a removal
    kSetting,  ///< another power setting, `guid`; `number` is its new value
  };

  Millis at{0};  ///< since power-on
  Kind kind = Kind::kControl;
  std::uint32_t number = 0;
  std::u16string link{};  ///< of devices
  Guid guid{};            ///< the interface class of a device, or the power setting

  bool operator==(const TimelineEvent&) const = default;
};

/// The interface class of USB devices, for devices that name no other.
extern const Guid kUsbDeviceClass;

/// The words of events, in order: "arrival", "control", "display", ...
std::span<const std::string_view> EventWords();

/// What an event's word needs beside it: the key of its argument ("control", "guid", "link", "state" or "type"; empty
/// for none), which is a number for "control" and "type".
std::string_view ArgumentOf(std::string_view word);

/// The event of a word of EventWords and its argument as text; nullopt if the word does not take that argument.
std::optional<TimelineEvent> MakeEvent(std::string_view word, const std::string& argument);

/// What arguments a word takes, for people: "give on, off or dimmed".
std::string_view HintFor(std::string_view word);

/// "stop control", "suspend", "display on": for the journal.
std::string NameOf(const TimelineEvent& event);

}  // namespace tablet
