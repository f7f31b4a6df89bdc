#include "cli/sweep/sweep_state.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/boot/changes.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::u16string_view kCrashFolder = u"CPCrash_";

void AddKey(const tablet::Registry& registry, const std::u16string& path, TabletState& state) {
  for (const std::u16string& value : registry.ValueNames(path)) {
    state[fmt::format("registry {} \"{}\"", tablet::ToUtf8(path), tablet::ToUtf8(value))] =
        ShowValue(*registry.Get(path, value));
  }
  for (const std::u16string& name : registry.SubKeyNames(path)) {
    std::u16string const below = path.empty() ? name : path + u'\\' + name;
    state[fmt::format("registry {}", tablet::ToUtf8(below))] = "a key";
    AddKey(registry, below, state);
  }
}

/// "CPCrash_#1" in place of a time.
std::string CrashName(tablet::Drive& drive, const std::u16string& path, int& count) {
  std::vector<tablet::FileFacts> found;
  drive.Find(path + u"\\*", found);
  bool const empty = std::ranges::all_of(found, [](auto& facts) { return facts.name == u"." || facts.name == u".."; });
  return empty ? "CPCrash_ (empty)" : fmt::format("CPCrash_#{}", ++count);
}

/// Times since the power first came on are one: the run that is compared runs at another.
std::string WrittenAt(tablet::FileTicks time, tablet::FileTicks power_on) {
  return time >= power_on ? "since then" : std::to_string(time);
}

void AddFolder(tablet::Drive& drive, tablet::FileTicks power_on, const std::u16string& folder, const std::string& shown,
               TabletState& state) {
  std::vector<tablet::FileFacts> found;
  drive.Find(folder + u"\\*", found);
  int crash_folders = 0;
  for (const tablet::FileFacts& facts : found) {
    if (facts.name == u"." || facts.name == u"..") continue;
    bool const is_folder = (facts.attributes & tablet::kAttributeDirectory) != 0;
    std::u16string const path = folder + u'\\' + facts.name;
    bool const crash = is_folder && facts.name.starts_with(kCrashFolder);
    std::string const name = crash ? CrashName(drive, path, crash_folders) : tablet::ToUtf8(facts.name);
    std::string const shown_path = shown + "\\" + name;
    if (is_folder) {
      state["file " + shown_path] = fmt::format("a folder, attributes {:#x}", facts.attributes);
      AddFolder(drive, power_on, path, shown_path, state);
    } else {
      state["file " + shown_path] =
          fmt::format("{} bytes, attributes {:#x}, sum {:08x}, written {}", facts.size, facts.attributes,
                      drive.Sum(path), WrittenAt(facts.times.write, power_on));
    }
  }
}

}  // namespace

TabletState StateOf(tablet::Tablet& machine, tablet::FileTicks power_on) {
  TabletState state;
  AddKey(machine.registry(), u"", state);
  for (auto const& [key, variable] : machine.firmware().variables()) {
    std::string bytes;
    for (std::uint8_t const byte : variable.data) bytes += fmt::format("{:02x}", byte);
    state[fmt::format("firmware {}-{}", tablet::ToUtf8(key.name), key.vendor.ToString())] = std::move(bytes);
  }
  AddFolder(machine.drive(), power_on, u"C:", "C:", state);
  return state;
}

TabletState WithoutSetup(TabletState state) {
  std::erase_if(state, [](auto& entry) { return entry.first.find("\"ImageState\"") != entry.first.npos; });
  return state;
}

std::vector<std::string> Differences(const TabletState& wanted, const TabletState& found) {
  std::vector<std::string> lines;
  for (auto const& [name, value] : wanted) {
    auto const other = found.find(name);
    if (other == found.end()) {
      lines.push_back(name + ": is missing");
    } else if (other->second != value) {
      lines.push_back(fmt::format("{}: is {}, not {}", name, other->second, value));
    }
  }
  for (auto const& [name, value] : found) {
    if (!wanted.contains(name)) lines.push_back(name + ": is there");
  }
  return lines;
}

}  // namespace cli
