// Where a trace message comes from, as its own text says.
#pragma once

#include "sim/tablet/kernel/journal.h"

namespace tablet {

/// Sets function and tag from "Function:123 : text", and the function alone from "Function: (+)" and "Function: (-)".
/// Any other text sets nothing.
void ReadOrigin(TraceEvent& event);

}  // namespace tablet
