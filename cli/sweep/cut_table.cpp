#include "cli/sweep/cut_table.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <set>

#include "sim/tablet/base/text.h"

namespace cli {

namespace {

/// A kind of things that a run changes.
struct Area {
  std::string_view part;  ///< of a line of a TabletState; the first that fits counts
  std::string_view some;  ///< in words: a part of it is done
  std::string_view all;   ///< all of it
  std::string_view does;  ///< what a start does there
};
constexpr Area kAreas[] = {
    {"\\ToastGenerator\\", "some of the notice's pictures", "the notice's pictures", "unpacks the notice's pictures"},
    {"\\modem_core", "some archives hidden", "the archives hidden", "hides the archives"},
    {"CPCrash_ (empty)", "an empty folder for dumps", "an empty folder for dumps", ""},
    {"\\RetailLog\\", "some dumps in the retail log", "the dumps in the retail log", "collects dumps"},
    {"\\RetailLog", "the retail log's folder", "the retail log's folder", ""},
    {"\\ssr_dumps", "", "", ""},
    {"file C:\\Windows\\System32\\", "some files of the image", "the whole image", "unpacks the image"},
    {"\"Distribute\"", "no request", "no request", "deletes the request"},
    {"\"AmssFwImagePath\"", "the new firmware path", "the new firmware path", "writes the firmware path"},
    {"\"AmssSwImagePath\"", "the new software path", "the new software path", "writes the software path"},
    {"firmware ", "some firmware variables", "the firmware variables", "writes firmware variables"},
    {"\\Authentication", "some of the logon screen's keys", "the logon screen's keys", "makes the logon screen's keys"},
    {"", "", "", ""},  // other registry values: they are named
};

constexpr const Area& kRest = *std::rbegin(kAreas);

const Area& AreaOf(std::string_view line) {
  return *std::ranges::find_if(kAreas, [&](const Area& area) { return line.find(area.part) != line.npos; });
}

/// The text of a name; empty for a missing one.
std::string_view At(const TabletState& state, const std::string& name) {
  auto const found = state.find(name);
  return found == state.end() ? std::string_view{} : std::string_view(found->second);
}

/// The names whose texts differ.
std::set<std::string> Changed(const TabletState& one, const TabletState& other) {
  std::set<std::string> names;
  for (auto const& [name, value] : one) {
    if (At(other, name) != value) names.insert(name);
  }
  for (auto const& [name, value] : other) {
    if (!one.contains(name)) names.insert(name);
  }
  return names;
}

/// "PELT_KNOW_TO_GO_SSR" with its quotes, of a line that is about a registry value.
std::optional<std::string> ValueIn(const std::string& name) {
  std::size_t const quote = name.find('"');
  if (&AreaOf(name) != &kRest || quote == name.npos) return std::nullopt;
  return name.substr(quote);
}

std::string Joined(const std::vector<std::string>& parts, std::string_view otherwise) {
  return parts.empty() ? std::string(otherwise) : fmt::format("{}", fmt::join(parts, "; "));
}

/// "`RegSetValueExW` in `SSetRegistrySZ`": the last call before the power goes.
std::string CallBefore(const std::vector<KnownCall>& calls, std::uint64_t cut) {
  auto const call = std::ranges::find(calls, cut - 1, &KnownCall::number);
  if (call == calls.end()) return "power-on";
  return call->function.empty() ? fmt::format("`{}`", call->name)
                                : fmt::format("`{}` in `{}`", call->name, call->function);
}

}  // namespace

std::string DescribeDisk(const TabletState& before, const TabletState& after, const TabletState& now) {
  struct Count {
    std::size_t done = 0, begun = 0, all = 0;
  };
  std::map<const Area*, Count> counts;
  std::set<std::string> values;
  std::set<std::string> names = Changed(before, after);
  names.merge(Changed(before, now));
  for (const std::string& name : names) {
    Count& count = counts[&AreaOf(name)];
    ++count.all;
    if (At(now, name) == At(before, name)) continue;
    ++(At(now, name) == At(after, name) ? count.done : count.begun);
    if (auto value = ValueIn(name)) values.insert(*std::move(value));
  }
  std::vector<std::string> parts;
  for (auto const& [area, count] : counts) {
    if (area->all.empty() || count.done + count.begun == 0) continue;
    parts.emplace_back(count.done == count.all ? area->all : area->some);
  }
  if (!values.empty()) parts.push_back(fmt::format("{}", fmt::join(values, ", ")));
  return Joined(parts, "as before");
}

std::string DescribeStart(const TabletState& from, const TabletState& to,
                          const std::vector<tablet::FileChange>& changes, bool notifies) {
  std::set<const Area*> touched;
  std::set<std::string> values;
  for (const std::string& name : Changed(from, to)) {
    touched.insert(&AreaOf(name));
    if (auto value = ValueIn(name)) values.insert(*std::move(value));
  }
  for (const tablet::FileChange& change : changes) touched.insert(&AreaOf("file " + tablet::ToUtf8(change.path)));
  std::vector<std::string> parts;
  for (const Area* const area : touched) {
    if (!area->does.empty()) parts.emplace_back(area->does);
  }
  if (!values.empty()) parts.push_back(fmt::format("writes {}", fmt::join(values, ", ")));
  if (notifies) parts.emplace_back("notifies the user");
  return Joined(parts, "changes nothing");
}

void PrintCutTable(const std::map<std::uint64_t, CutRow>& rows, const std::vector<KnownCall>& calls, Console& console) {
  console.Line("| power cut before call | last call | on disk | next start | tablet then |");
  console.Line("|---|---|---|---|---|");
  for (auto row = rows.begin(); row != rows.end();) {
    auto const [first, what] = *row;
    std::uint64_t last = first;
    for (; row != rows.end() && row->second == what; ++row) last = row->first;
    std::string const range = first == last ? fmt::format("{}", first) : fmt::format("{} to {}", first, last);
    console.Line(
        fmt::format("| {} | {} | {} | {} | {} |", range, CallBefore(calls, first), what.disk, what.next, what.left));
  }
}

}  // namespace cli
