// Whether every value that the service reads has the type, size and range that it needs.
#pragma once

#include <vector>

#include "cli/check/finding.h"
#include "cli/check/rules/registry_places.h"
#include "sim/tablet/description/description.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/drive/drive.h"
#include "sim/tablet/registry/registry.h"

namespace cli {

/// A tablet as its folder describes it.
struct TabletFacts {
  const tablet::Description& description;
  const tablet::Registry& registry;
  const tablet::Firmware& firmware;
  const tablet::Drive& drive;
  const TabletPlaces& places;
};

/// In the order of docs/registry-and-firmware.md; at the end the drivers, the service itself and its programs.
std::vector<CheckFinding> FindingsOfValues(const TabletFacts& facts);

}  // namespace cli
