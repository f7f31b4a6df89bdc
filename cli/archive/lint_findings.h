// The findings about one archive, made of what was seen of it: of its contents, and of a deployment.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/archive/archive_survey.h"
#include "cli/archive/archive_trial.h"
#include "cli/archive/driver_images.h"
#include "sim/tablet/machine/tablet.h"

namespace cli {

struct LintFacts {
  std::string archive;  ///< the file, for people
  const EndRecord& end;
  const Survey& survey;
  const Trial& trial;
  tablet::Tablet& machine;  ///< after the trial
  std::vector<DriverImage> images;
  std::optional<std::uint64_t> free_bytes;  ///< of the tablet, at power-on
  bool hung = false;                        ///< the trial was given up
};

/// The findings as the document has them, see docs/commands.md.
nlohmann::ordered_json LintFindings(const LintFacts& facts);

}  // namespace cli
