// tablet.json of an imported tablet: what the source says, and what had to be assumed.
#pragma once

#include <string>
#include <vector>

#include "cli/import/import.h"
#include "cli/import/imported_drive.h"
#include "cli/import/imported_registry.h"
#include "sim/tablet/devices/firmware.h"

namespace cli {

/// What is known of a tablet before its tablet.json is written.
struct ImportFacts {
  std::string name;
  DriveFacts drive;
  RegistryFacts registry;
  std::vector<std::string> pending;   ///< hives that are not up to date
  std::vector<std::string> left_out;  ///< files whose content is not at hand
  std::string partner;                ///< its state at the time of collection: "running"; empty: unknown
  std::vector<std::string> images;    ///< of the file; more than one: one was chosen
  bool redacted = false;              ///< identifiers were left out on request
};

std::vector<Assumption> AssumptionsOf(const ImportFacts& facts, const ImportOptions& options,
                                      const tablet::Firmware& firmware);

std::string DescriptionOf(const ImportFacts& facts, const ImportOptions& options,
                          const std::vector<Assumption>& assumptions);

/// Puts the variables of the options in place of the source's. Throws InputError for texts that no variable can hold.
void PutVariables(const ImportOptions& options, tablet::Firmware& firmware);

}  // namespace cli
