// Which archive a tablet gets: the unchanged service chooses, its look-ups and its messages are written down.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/description/description.h"
#include "sim/tablet/machine/tablet.h"

namespace cli {

/// The places that can name an archive, in the order in which the service may come to them.
enum class Origin { kSalesCode, kCscMap, kRegistryId, kFirmwareId, kIdMap, kDefault };

/// Its name in documents: "sales_code", "csc_map", ...
std::string_view IdOf(Origin origin);
/// Its name for people.
std::string_view TitleOf(Origin origin);

/// What the service met at one place.
struct Source {
  Origin origin = Origin::kSalesCode;
  std::string where;                 ///< the variable or the registry value; empty where it was not asked
  std::string key;                   ///< the name that was looked up in a map
  bool asked = false;                ///< whether the service came to it
  std::optional<std::string> found;  ///< as people read it; also where it was there and could not be taken
  std::uint32_t error = 0;           ///< Windows' number when it could not be read
  std::string remark;                ///< half a sentence; may be empty
  bool decided = false;              ///< it named the archive
};

struct Decision {
  std::vector<Source> sources;        ///< one for each Origin, in their order
  std::string path;                   ///< the archive as the service went for it; empty when it went for none
  std::string name;                   ///< below the archives' folder
  bool cut = false;                   ///< the map holds a longer name
  std::string why;                    ///< the rule that decided, a sentence without a full stop
  std::vector<std::string> messages;  ///< of the service, while it chose

  /// The one that decided; null when nothing that was seen explains the choice.
  const Source* Decider() const;
};

/// Lets the service choose on a tablet of this folder, whose drive is empty and whose registry and firmware `change`,
/// which may be null, has changed before. The folder stays as it is. Throws InputError; std::runtime_error when the
/// service asks for what is not modelled.
Decision Decide(const std::filesystem::path& folder, const std::function<void(tablet::Tablet&)>& change);

nlohmann::ordered_json ToJson(const Source& source);

/// An archive on the tablet's own drive.
struct ArchiveFile {
  bool present = false;  ///< as a file
  bool folder = false;   ///< a folder has its name
  std::uint64_t bytes = 0;
};
ArchiveFile FindArchive(const tablet::Drive& drive, std::string_view path);

}  // namespace cli
