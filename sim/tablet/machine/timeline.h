// What happens to a tablet from outside while it runs: controls, power, the display, devices that come and go.
#pragma once

#include <string>

#include "sim/tablet/base/win_error.h"
#include "sim/tablet/description/timeline_event.h"

namespace tablet {

class Tablet;

/// "ERROR_SERVICE_NOT_ACTIVE (1062)"; the number alone when it has no name here.
std::string NameOfRefusal(WinError refusal);

/// Lets it happen now, and says so in the journal; a control that Windows would refuse is noted with Windows' error,
/// which is returned, too. Display events and other power settings reach the service only while it is registered for
/// them, device events only for the class it registered for; the list of devices stays as it is.
WinError Happen(const TimelineEvent& event, Tablet& machine);

}  // namespace tablet
