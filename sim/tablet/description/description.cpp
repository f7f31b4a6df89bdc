#include "sim/tablet/description/description.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <optional>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/description/description_parts.h"

namespace tablet {

namespace {

constexpr std::int64_t kSchema = 1;
constexpr const char16_t* kDefaultModemLink = u"\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}";
constexpr const char16_t* kDefaultSafiLink = u"\\\\?\\ROOT#SAFI#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}";

/// "2026-03-02T08:00:00Z", to the second.
std::optional<FileTicks> ParseUtc(const std::string& text) {
  std::array<int, 6> field{};
  char zone = 0;
  int used = 0;
  int const found = std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c%n", &field[0], &field[1], &field[2], &field[3],
                                &field[4], &field[5], &zone, &used);
  constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:ddZ";
  bool const shaped =
      text.size() == kShape.size() && std::equal(text.begin(), text.end(), kShape.begin(), [](char c, char s) {
        return s == 'd' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : c == s;
      });
  if (found != 7 || !shaped) return std::nullopt;
  std::chrono::year_month_day const day{std::chrono::year(field[0]),
                                        std::chrono::month(static_cast<unsigned>(field[1])),
                                        std::chrono::day(static_cast<unsigned>(field[2]))};
  if (!day.ok() || field[0] < 1980 || field[3] > 23 || field[4] > 59 || field[5] > 59) return std::nullopt;
  auto const days = std::chrono::sys_days(day).time_since_epoch().count();
  auto const seconds =
      ((static_cast<FileTicks>(days) * 24 + static_cast<FileTicks>(field[3])) * 60 + static_cast<FileTicks>(field[4])) *
          60 +
      static_cast<FileTicks>(field[5]);
  return kUnixEpoch + seconds * kTicksPerSecond;
}

/// Keys are written as in .reg files, or without the hive's name.
std::vector<std::u16string> KeyPaths(const Section& section, std::string_view key) {
  std::vector<std::u16string> paths = section.Texts(key);
  for (std::u16string& path : paths) {
    constexpr std::u16string_view kHive = u"HKEY_LOCAL_MACHINE\\";
    if (path.size() > kHive.size() && EqualIgnoringCase(path.substr(0, kHive.size()), kHive))
      path.erase(0, kHive.size());
  }
  for (const JsonNode* item : section.List(key, JsonNode::Kind::kText)) {
    bool const empty_part = item->text.empty() || item->text.front() == '\\' || item->text.back() == '\\' ||
                            item->text.find("\\\\") != std::string::npos;
    if (empty_part)
      section.Refuse(*item, key, fmt::format("\"{}\" is not a registry key", item->text),
                     "name a key below HKEY_LOCAL_MACHINE");
  }
  return paths;
}

void ReadClock(const JsonNode* node, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 2> kKnown{"start", "utc_offset_minutes"};
  if (node == nullptr) return;
  Section const clock(*node, file, "clock", kKnown);
  if (const JsonNode* start = clock.Find("start", JsonNode::Kind::kText)) {
    auto const ticks = ParseUtc(start->text);
    if (!ticks)
      clock.Refuse(*start, "start", fmt::format("\"{}\" is not a time", start->text),
                   "write UTC from 1980 on, as in 2026-03-02T08:00:00Z");
    out.power_on = *ticks;
  }
  if (const JsonNode* offset = clock.Find("utc_offset_minutes", JsonNode::Kind::kInteger)) {
    constexpr int kFurthest = 14 * 60;
    if (offset->integer < -kFurthest || offset->integer > kFurthest) {
      clock.Refuse(*offset, "utc_offset_minutes", fmt::format("{} is not a time zone", offset->integer),
                   "give minutes from -840 to 840");
    }
    out.utc_offset_minutes = static_cast<int>(offset->integer);
  }
}

/// A number of times, or "always".
void ReadTrouble(const Section& driver, FirmwareTrouble& out) {
  out.status = static_cast<WinError>(driver.Number("status", 0, UINT32_MAX, 0));
  out.request_error = static_cast<WinError>(driver.Number("request_error", 0, UINT32_MAX, 0));
  const JsonNode* const count = driver.Find("status_count");
  if (count == nullptr) return;
  if (count->kind == JsonNode::Kind::kInteger) {
    out.count = static_cast<std::uint32_t>(driver.Number("status_count", 0, UINT32_MAX - 1, 0));
  } else if (count->kind != JsonNode::Kind::kText || count->text != "always") {
    driver.Refuse(*count, "status_count",
                  fmt::format("must be a whole number or \"always\", is {}", KindName(count->kind)),
                  "correct the value");
  }
}

void ReadDevices(const Section& root, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 3> kModem{"arrives_at_ms", "links", "present"};
  static constexpr std::array<std::string_view, 5> kDriver{"link", "present", "request_error", "status",
                                                           "status_count"};
  out.modem_links = {kDefaultModemLink};
  out.firmware_driver_link = kDefaultSafiLink;
  if (const JsonNode* node = root.Find("modem")) {
    Section const modem(*node, file, "modem", kModem);
    constexpr std::int64_t kOneDay = 24LL * 3600 * 1000;
    out.modem_present = modem.Flag("present", true);
    out.modem_arrival = Millis(modem.Number("arrives_at_ms", 0, kOneDay, 0));
    if (modem.Find("links") != nullptr) out.modem_links = modem.Texts("links");
    if (out.modem_present && out.modem_links.empty()) {
      modem.Refuse(*modem.Find("links"), "links", "a modem that is present needs a link",
                   "name one, or set \"present\" to false");
    }
  }
  if (const JsonNode* node = root.Find("firmware_driver")) {
    Section const driver(*node, file, "firmware_driver", kDriver);
    out.firmware_driver_present = driver.Flag("present", true);
    if (const JsonNode* link = driver.Find("link", JsonNode::Kind::kText))
      out.firmware_driver_link = ToUtf16(link->text);
    ReadTrouble(driver, out.firmware_trouble);
  }
}

}  // namespace

Description ReadDescription(const std::filesystem::path& path) {
  static constexpr std::array<std::string_view, 19> kRoot{
      "amss",       "assumed",   "clock", "drive",    "firmware_driver", "modem",    "name",     "partner",
      "privileges", "processes", "radio", "registry", "schema",          "services", "sessions", "setup",
      "timeline",   "toast",     "trace"};
  static constexpr std::array<std::string_view, 2> kRegistry{"denied", "read_only"};
  static constexpr std::array<std::string_view, 2> kTrace{"collect", "enabled_after_ms"};
  std::string const file = path.string();
  JsonNode const tree = ReadJsonFile(path);
  Section const root(tree, file, "", kRoot);

  const JsonNode& schema = root.Need("schema", JsonNode::Kind::kInteger);
  if (schema.integer != kSchema) {
    root.Refuse(schema, "schema", fmt::format("version {} is not known here", schema.integer),
                fmt::format("write {}", kSchema));
  }
  Description out;
  constexpr FileTicks kMorningOfMarch2 = kUnixEpoch + 1'772'438'400ULL * kTicksPerSecond;
  out.power_on = kMorningOfMarch2;
  if (const JsonNode* name = root.Find("name", JsonNode::Kind::kText)) out.name = name->text;
  root.List("assumed", JsonNode::Kind::kText);  // for people: what an import did not know
  ReadClock(root.Find("clock"), file, out);
  ReadDevices(root, file, out);
  if (const JsonNode* node = root.Find("registry")) {
    Section const registry(*node, file, "registry", kRegistry);
    out.denied_keys = KeyPaths(registry, "denied");
    out.read_only_keys = KeyPaths(registry, "read_only");
  }
  if (const JsonNode* node = root.Find("trace")) {
    Section const trace(*node, file, "trace", kTrace);
    constexpr std::int64_t kOneMinute = 60'000;
    out.trace_collected = trace.Flag("collect", true);
    out.trace_enabled_after = Millis(trace.Number("enabled_after_ms", 0, kOneMinute, 0));
  }
  ReadServices(root, file, out);
  ReadCrash(root, file, out);
  ReadSurroundings(root, file, out);
  ReadTimeline(root, file, out);
  return out;
}

}  // namespace tablet
