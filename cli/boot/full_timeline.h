// What happens to a tablet whose description says nothing of it: everything that a service meets between its start and
// its stop.
#pragma once

#include "sim/tablet/description/description.h"

namespace cli {

/// Gives a description without a timeline one: the display, a device that comes and goes, sleep, every custom control,
/// and a stop at the end; all of it after the service's start-up. Leaves any other description alone.
void AddFullTimeline(tablet::Description& description);

}  // namespace cli
