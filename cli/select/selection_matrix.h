// What each sales code and each image ID of a tablet's maps leads to.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/select/decision.h"

namespace cli {

struct MatrixRow {
  Origin origin = Origin::kSalesCode;  ///< kSalesCode, kRegistryId or, for the last row, kDefault
  std::string name;                    ///< the code or ID as the map has it
  std::string entry;                   ///< what the map says, as people read it; empty for the default
  bool reachable = false;              ///< a tablet with this code or ID gets what the entry names
  bool cut = false;                    ///< the entry has more than the 9 characters that are used
  std::string archive;                 ///< what such a tablet gets
  std::string path;                    ///< the same as the service composed it; empty when it went for none
  bool by_firmware = false;            ///< of an ID: only one in firmware leads there
  ArchiveFile file;
  std::string remark;
};

struct SelectionMatrix {
  std::vector<MatrixRow> rows;       ///< codes, then IDs, in order of their names; then the default
  std::vector<std::string> unnamed;  ///< files in the archives' folder that no row names
};

/// Codes and IDs beside those of the maps.
struct MoreNames {
  std::vector<std::string> codes;
  std::vector<std::string> ids;
};

/// Lets the service choose once for each row, on the tablet of this folder with that code or ID. A row of `more` whose
/// name no map has has no entry.
SelectionMatrix MakeMatrix(const std::filesystem::path& folder, const tablet::Drive& drive, const MoreNames& more = {});

/// Makes a tablet one with the code or the ID of a row, and no other; for the default, one with neither.
void BecomeTabletOf(const MatrixRow& row, tablet::Tablet& machine);

void Print(Console& console, const std::string& tablet, const SelectionMatrix& matrix);
nlohmann::ordered_json ToJson(const std::string& tablet, const SelectionMatrix& matrix);

}  // namespace cli
