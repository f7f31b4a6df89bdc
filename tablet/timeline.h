// What happens to a tablet from outside while it runs: controls, power, the display, devices that come and go.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tablet/guid.h"
#include "tablet/scheduler.h"
#include "tablet/win_error.h"

namespace tablet {

class Tablet;

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

/// The event of a word of EventWords and its argument as text; nullopt when that is no argument for it.
std::optional<TimelineEvent> MakeEvent(std::string_view word, const std::string& argument);

/// What arguments a word takes, for people: "give on, off or dimmed".
std::string_view HintFor(std::string_view word);

/// "stop control", "suspend", "display on": for the journal.
std::string NameOf(const TimelineEvent& event);

/// "ERROR_SERVICE_NOT_ACTIVE (1062)"; the number alone when it has no name here.
std::string NameOfRefusal(WinError refusal);

/// Lets it happen now, and says so in the journal; a control that Windows would refuse is noted with Windows' error,
/// which is the answer, too. Display events and other power settings reach the service only while it is registered for
/// them, device events only for the class it registered for; the list of devices stays as it is.
WinError Happen(const TimelineEvent& event, Tablet& machine);

}  // namespace tablet
