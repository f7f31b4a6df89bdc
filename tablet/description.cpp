#include "tablet/description.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <optional>
#include <span>

#include "tablet/input_error.h"
#include "tablet/json_source.h"
#include "tablet/nearest.h"
#include "tablet/text.h"

namespace tablet {

namespace {

constexpr std::int64_t kSchema = 1;
constexpr const char16_t* kDefaultModemLink = u"\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}";
constexpr const char16_t* kDefaultSafiLink = u"\\\\?\\ROOT#SAFI#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}";

/// An object of the file, with its place for messages and the keys it may hold.
class Section {
 public:
  Section(const JsonNode& node, std::string file, std::string name, std::span<const std::string_view> known)
      : node_(node), file_(std::move(file)), name_(std::move(name)) {
    if (node_.kind != JsonNode::Kind::kObject) {
      throw InputError(Place(node_.line, name_.empty() ? "the file" : name_),
                       fmt::format("must be an object, is {}", KindName(node_.kind)), "write { ... } here");
    }
    for (const JsonNode::Member& member : node_.members) {
      if (std::find(known.begin(), known.end(), member.key) != known.end()) continue;
      throw InputError(Place(member.line, Full(member.key)), "unknown key", SuggestOneOf(member.key, known));
    }
  }

  const JsonNode* Find(std::string_view key) const {
    for (const JsonNode::Member& member : node_.members) {
      if (member.key == key) return &member.value;
    }
    return nullptr;
  }
  const JsonNode* Find(std::string_view key, JsonNode::Kind kind) const {
    const JsonNode* value = Find(key);
    if (value != nullptr) Expect(*value, kind, key);
    return value;
  }
  const JsonNode& Need(std::string_view key, JsonNode::Kind kind) const {
    const JsonNode* value = Find(key, kind);
    if (value != nullptr) return *value;
    throw InputError(Place(node_.line, Full(key)), "the key is missing", fmt::format("add \"{}\" here", key));
  }
  void Expect(const JsonNode& value, JsonNode::Kind kind, std::string_view key) const {
    if (value.kind == kind) return;
    throw InputError(Place(value.line, Full(key)),
                     fmt::format("must be {}, is {}", KindName(kind), KindName(value.kind)), "correct the value");
  }
  bool Flag(std::string_view key, bool without) const {
    const JsonNode* value = Find(key, JsonNode::Kind::kBoolean);
    return value == nullptr ? without : value->boolean;
  }
  std::vector<const JsonNode*> List(std::string_view key, JsonNode::Kind items) const {
    std::vector<const JsonNode*> list;
    const JsonNode* value = Find(key, JsonNode::Kind::kArray);
    if (value == nullptr) return list;
    for (std::size_t i = 0; i < value->items.size(); ++i) {
      Expect(value->items[i], items, fmt::format("{}[{}]", key, i));
      list.push_back(&value->items[i]);
    }
    return list;
  }
  std::vector<std::u16string> Texts(std::string_view key) const {
    std::vector<std::u16string> texts;
    for (const JsonNode* item : List(key, JsonNode::Kind::kText)) texts.push_back(ToUtf16(item->text));
    return texts;
  }
  [[noreturn]] void Refuse(const JsonNode& value, std::string_view key, const std::string& problem,
                           const std::string& next) const {
    throw InputError(Place(value.line, Full(key)), problem, next);
  }

 private:
  std::string Place(int line, const std::string& what) const { return fmt::format("{}:{}: {}", file_, line, what); }
  std::string Full(std::string_view key) const {
    return name_.empty() ? std::string(key) : fmt::format("{}.{}", name_, key);
  }

  const JsonNode& node_;
  std::string file_;
  std::string name_;
};

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
      section.Refuse(*item, key, fmt::format("\"{}\" is no registry key", item->text),
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
      clock.Refuse(*start, "start", fmt::format("\"{}\" is no time", start->text),
                   "write UTC from 1980 on, as in 2026-03-02T08:00:00Z");
    out.power_on = *ticks;
  }
  if (const JsonNode* offset = clock.Find("utc_offset_minutes", JsonNode::Kind::kInteger)) {
    constexpr int kFurthest = 14 * 60;
    if (offset->integer < -kFurthest || offset->integer > kFurthest) {
      clock.Refuse(*offset, "utc_offset_minutes", fmt::format("{} is no time zone", offset->integer),
                   "give minutes from -840 to 840");
    }
    out.utc_offset_minutes = static_cast<int>(offset->integer);
  }
}

void ReadDevices(const Section& root, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 2> kModem{"links", "present"};
  static constexpr std::array<std::string_view, 2> kDriver{"link", "present"};
  out.modem_links = {kDefaultModemLink};
  out.firmware_driver_link = kDefaultSafiLink;
  if (const JsonNode* node = root.Find("modem")) {
    Section const modem(*node, file, "modem", kModem);
    out.modem_present = modem.Flag("present", true);
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
  }
}

void ReadTimeline(const Section& root, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 2> kKnown{"at_ms", "event"};
  static constexpr std::array<std::string_view, 2> kEvents{"preshutdown", "stop"};
  std::size_t index = 0;
  for (const JsonNode* node : root.List("timeline", JsonNode::Kind::kObject)) {
    Section const event(*node, file, fmt::format("timeline[{}]", index++), kKnown);
    const JsonNode& at = event.Need("at_ms", JsonNode::Kind::kInteger);
    constexpr std::int64_t kOneYear = 365LL * 24 * 3600 * 1000;
    if (at.integer < 0 || at.integer > kOneYear) {
      event.Refuse(at, "at_ms", fmt::format("{} is out of range", at.integer),
                   "give milliseconds since power-on, up to a year");
    }
    const JsonNode& word = event.Need("event", JsonNode::Kind::kText);
    auto const known = std::find(kEvents.begin(), kEvents.end(), word.text);
    if (known == kEvents.end()) {
      event.Refuse(word, "event", fmt::format("unknown event \"{}\"", word.text), SuggestOneOf(word.text, kEvents));
    }
    out.timeline.push_back(
        {Millis(at.integer), word.text == "stop" ? TimelineEvent::Kind::kStop : TimelineEvent::Kind::kPreshutdown});
  }
  std::stable_sort(out.timeline.begin(), out.timeline.end(),
                   [](const TimelineEvent& a, const TimelineEvent& b) { return a.at < b.at; });
}

}  // namespace

Description ReadDescription(const std::filesystem::path& path) {
  static constexpr std::array<std::string_view, 8> kRoot{"clock",    "firmware_driver", "modem",    "name",
                                                         "registry", "schema",          "timeline", "trace"};
  static constexpr std::array<std::string_view, 2> kRegistry{"denied", "read_only"};
  static constexpr std::array<std::string_view, 1> kTrace{"collect"};
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
  ReadClock(root.Find("clock"), file, out);
  ReadDevices(root, file, out);
  if (const JsonNode* node = root.Find("registry")) {
    Section const registry(*node, file, "registry", kRegistry);
    out.denied_keys = KeyPaths(registry, "denied");
    out.read_only_keys = KeyPaths(registry, "read_only");
  }
  if (const JsonNode* node = root.Find("trace"))
    out.trace_collected = Section(*node, file, "trace", kTrace).Flag("collect", true);
  ReadTimeline(root, file, out);
  return out;
}

}  // namespace tablet
