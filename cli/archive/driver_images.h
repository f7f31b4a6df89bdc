// Which images the modem's driver is pointed at once a deployment has succeeded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/registry/registry.h"

namespace cli {

/// The instance of the modem's driver that decides: the first one with a firmware path.
struct DriverInstance {
  std::u16string key;              ///< below HKEY_LOCAL_MACHINE
  std::u16string firmware;         ///< "AmssFwImagePath"
  bool points_at_service = false;  ///< at the firmware image that the service puts in place
};
std::optional<DriverInstance> FindDriverInstance(const tablet::Registry& registry);

struct DriverImage {
  std::string value;  ///< of the driver's instance key: "AmssFwImagePath"
  std::string path;   ///< what it then says: "\SystemRoot\System32\..."
  std::string file;   ///< the file that is meant: "C:\Windows\..."
};

/// The firmware and the software image. The service points the driver at images of its own, unless the firmware path is
/// right already: then it leaves both values alone, and the software path is whatever the registry says.
std::vector<DriverImage> DriverImages(const tablet::Registry& registry);

}  // namespace cli
