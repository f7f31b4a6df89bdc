#include <fmt/format.h>

#include <array>

#include "sim/tablet/base/nearest.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/description/description_parts.h"
#include "sim/tablet/system/privileges.h"

namespace tablet {

namespace {

using Kind = JsonNode::Kind;

void ReadDrive(const JsonNode& node, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 2> kKnown{"free_bytes", "locked"};
  Section const drive(node, file, "drive", kKnown);
  if (drive.Find("free_bytes") != nullptr) {
    out.free_bytes = static_cast<std::uint64_t>(drive.Number("free_bytes", 0, INT64_MAX, 0));
  }
  for (const JsonNode* item : drive.List("locked", Kind::kText)) {
    out.locked_files.push_back({ToUtf16(item->text), fmt::format("{}:{}: drive.locked", file, item->line)});
  }
}

void ReadPrivileges(const JsonNode& node, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 1> kKnown{"missing"};
  Section const privileges(node, file, "privileges", kKnown);
  for (const JsonNode* item : privileges.List("missing", Kind::kText)) {
    auto const number = Privileges::Number(ToUtf16(item->text));
    if (!number) {
      std::vector<std::string> const names = Privileges::Names();
      std::vector<std::string_view> const known(names.begin(), names.end());
      privileges.Refuse(*item, "missing", fmt::format("\"{}\" is not a privilege", item->text),
                        SuggestOneOf(item->text, known));
    }
    out.missing_privileges.push_back(*number);
  }
}

}  // namespace

void ReadSurroundings(const Section& root, const std::string& file, Description& out) {
  if (const JsonNode* node = root.Find("drive")) ReadDrive(*node, file, out);
  if (const JsonNode* node = root.Find("privileges")) ReadPrivileges(*node, file, out);
}

}  // namespace tablet
