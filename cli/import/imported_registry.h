// The registry of an imported tablet: the keys that the service reads or writes, with what is below them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cli/import/volume.h"
#include "sim/tablet/registry/registry.h"

namespace cli {

/// Reads the hives of a volume: what a tablet needs, and what tells which drivers there are. Gives why hives that were
/// read all the same are not up to date, one text for each. Throws InputError for hives that are missing or damaged,
/// and without `dirty` for those that are not up to date.
std::vector<std::string> ReadHives(Volume& volume, bool dirty, tablet::Registry& registry);

/// A session with a user.
struct LoggedOn {
  std::uint32_t session = 0;
  std::string user;
};

/// What the registry of a source says of the tablet.
struct RegistryFacts {
  bool has_service = false;  ///< the service's key exists
  bool has_partner = false;
  bool has_modem_driver = false;
  std::vector<std::u16string> modem_links;     ///< device interfaces that have arrived, also before the last shutdown
  std::vector<std::u16string> firmware_links;  ///< the same of the driver for firmware variables
  std::vector<LoggedOn> users;                 ///< where Windows ran when it was collected
};
/// `shown`: the source, for messages. Throws InputError where no control set is the current one.
RegistryFacts FactsOf(const tablet::Registry& registry, const std::string& shown);

/// The keys of a tablet alone, the control set with its number.
std::unique_ptr<tablet::Registry> TabletKeysOf(const tablet::Registry& registry);

/// Copies a key with what is below it; nothing where it does not exist.
void CopyKeys(const tablet::Registry& from, const std::u16string& path, const std::u16string& to,
              tablet::Registry& registry);

}  // namespace cli
