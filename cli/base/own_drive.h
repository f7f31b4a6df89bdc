// Drive C: of a tablet's folder, read in place.
#pragma once

#include <filesystem>

#include "sim/tablet/description/description.h"
#include "sim/tablet/drive/drive.h"
#include "sim/tablet/kernel/clock.h"
#include "sim/tablet/kernel/scheduler.h"

namespace cli {

class OwnDrive {
 public:
  /// Throws InputError for a drive that no tablet can have. Nothing in the folder is changed.
  OwnDrive(const std::filesystem::path& folder, const tablet::Description& description)
      : clock_(scheduler_, description.power_on, description.utc_offset_minutes),
        drive_(folder / "C", folder / "attributes.txt", clock_) {}
  const tablet::Drive& get() const { return drive_; }

 private:
  tablet::Scheduler scheduler_{{}};
  tablet::Clock clock_;
  tablet::Drive drive_;
};

}  // namespace cli
