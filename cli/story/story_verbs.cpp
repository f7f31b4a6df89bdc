#include "cli/story/story_verbs.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/bundle/bundle.h"
#include "cli/samples/samples.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/description/description.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace fs = std::filesystem;

void Refuse(const StoryVerb& verb, const std::string& problem, const std::string& next, std::string_view part) {
  throw tablet::InputError(fmt::format("{}: {}", PlaceOf(verb, part), verb.word), problem, next);
}

std::pair<std::string, std::string> Split(const std::string& rest) {
  std::size_t const blank = rest.find(' ');
  if (blank == std::string::npos) return {rest, {}};
  return {rest.substr(0, blank), rest.substr(rest.find_first_not_of(' ', blank))};
}

std::pair<std::string, std::string> SplitPath(const StoryVerb& verb) {
  if (!verb.rest.starts_with('"')) return Split(verb.rest);
  std::size_t const end = verb.rest.find('"', 1);
  if (end == std::string::npos) Refuse(verb, "a quote is missing", "close the path with \"", verb.rest);
  auto [none, tail] = Split(verb.rest.substr(end + 1));
  return {verb.rest.substr(1, end - 1), tail};
}

tablet::TimelineEvent EventOf(const StoryVerb& verb) {
  bool const device = tablet::ArgumentOf(verb.word) == "link";
  auto const [link, name] = device ? Split(verb.rest) : std::pair<std::string, std::string>{};
  std::optional<tablet::TimelineEvent> event = tablet::MakeEvent(verb.word, device ? link : verb.rest);
  if (!event)
    Refuse(verb, fmt::format("\"{}\" is nothing for it", verb.rest), std::string(tablet::HintFor(verb.word)),
           verb.rest);
  if (name.empty()) return *event;
  auto const guid = tablet::Guid::Parse(name);
  if (!guid) Refuse(verb, fmt::format("\"{}\" is no GUID", name), "give the class as {8-4-4-4-12} digits", name);
  event->guid = *guid;
  return *event;
}

bool BelongsToRun(const StoryVerb& verb) {
  static constexpr std::array<std::string_view, 7> kWords{"boot", "cut", kExpect, "fault", "file", "show", "wait"};
  auto const events = tablet::EventWords();
  return std::find(kWords.begin(), kWords.end(), verb.word) != kWords.end() ||
         std::find(events.begin(), events.end(), verb.word) != events.end();
}

namespace {

/// set KEY JSON: a key of tablet.json, its sections separated by dots.
void DoSet(const StoryVerb& verb, const fs::path& folder) {
  auto const [key, value] = Split(verb.rest);
  fs::path const file = folder / "tablet.json";
  std::ifstream in(file);
  nlohmann::ordered_json document = nlohmann::ordered_json::parse(in);
  nlohmann::ordered_json const parsed = nlohmann::ordered_json::parse(value, nullptr, false);
  if (parsed.is_discarded())
    Refuse(verb, fmt::format("\"{}\" is not JSON", value), "write: set modem.present false", value);
  std::string pointer;
  for (char const c : key) pointer += c == '.' ? '/' : c;
  document[nlohmann::ordered_json::json_pointer("/" + pointer)] = parsed;
  std::ofstream(file) << document.dump(2) << '\n';
  tablet::ReadDescription(file);
}

/// registry [KEY] LINE: a line as in .reg files; registry [-KEY] removes a key.
void DoRegistry(const StoryVerb& verb, const fs::path& folder) {
  std::size_t const close = verb.rest.find(']');
  if (!verb.rest.starts_with('[') || close == std::string::npos) {
    Refuse(verb, "no key in brackets", "write: registry [HKEY_LOCAL_MACHINE\\...] \"Name\"=dword:00000001");
  }
  std::string const text =
      fmt::format("\n{}\n{}\n", verb.rest.substr(0, close + 1), Split(verb.rest.substr(close + 1)).second);
  constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\n";
  tablet::Registry trial;
  tablet::ReadRegText(std::string(kHeader) + text, verb.word, trial);
  fs::path const file = folder / "registry" / tablet::kSavedRegistryFile;
  bool const is_new = !fs::exists(file);
  std::ofstream out(file, std::ios::app);
  if (is_new) out << kHeader;
  out << text;
}

/// firmware NAME-GUID TEXT, or "-" to remove the variable.
void DoFirmware(const StoryVerb& verb, const fs::path& folder) {
  auto const [name, text] = Split(verb.rest);
  if (name.empty() || text.empty()) Refuse(verb, "no name and text", "write: firmware SALES_CODE-... KOR");
  fs::path const file = folder / "efi" / name;
  if (text == "-") {
    fs::remove(file);
    return;
  }
  std::ofstream(file, std::ios::binary) << std::string("\x07\0\0\0", 4) << text;
}

/// tablet SAMPLE or tablet DIR.
void MakeTablet(const StoryVerb& verb, const fs::path& folder, const fs::path& base) {
  auto const samples = Samples();
  bool const is_sample = std::ranges::find(samples, verb.rest, &Sample::name) != samples.end();
  fs::path const own = base / verb.rest;
  if (is_sample || !fs::exists(own)) {
    MakeSample(verb.rest, true, folder);
    return;
  }
  tablet::ReadTabletFolder(own);
  tablet::CopyTree(own, folder);
}

/// bundle FILE: the tablet of a run that was collected.
void MakeFromBundle(const StoryVerb& verb, const fs::path& folder, const fs::path& base) {
  fs::path const bundle = base / verb.rest;
  fs::path const unpacked = folder.parent_path() / "bundle";
  fs::create_directory(unpacked);
  UnpackBundle(bundle, unpacked);
  auto const manifest = nlohmann::json::parse(ReadTextFile(unpacked / kManifestFile), nullptr, false);
  if (!fs::is_directory(unpacked / kTabletFolder) || !manifest.is_object()) {
    Refuse(verb, fmt::format("\"{}\" has no tablet", verb.rest), "name a file made by \"vantord-tablet collect\"",
           verb.rest);
  }
  fs::rename(unpacked / kTabletFolder, folder);
  SetDriveTimes(folder, manifest.value("times", nlohmann::json::array()));
}

}  // namespace

void DoSetUp(const StoryVerb& verb, const fs::path& folder, const fs::path& base) try {
  if (verb.word == "tablet") {
    MakeTablet(verb, folder, base);
  } else if (verb.word == "bundle") {
    MakeFromBundle(verb, folder, base);
  } else if (verb.word == "set") {
    DoSet(verb, folder);
  } else if (verb.word == "registry") {
    DoRegistry(verb, folder);
  } else {
    DoFirmware(verb, folder);
  }
} catch (const tablet::InputError& error) {
  if (error.place().starts_with(fmt::format("{}:", verb.line))) throw;
  // The user does not know the story's copy of the tablet: of "FOLDER/tablet.json:3: modem.present" only the key stays.
  // What names another file names the user's.
  bool const of_user =
      !error.place().starts_with(folder.string()) && fs::exists(error.place().substr(0, error.place().find(':')));
  if (of_user) throw;
  std::size_t const key = error.place().rfind(": ");
  std::string const part = key == std::string::npos ? verb.word : error.place().substr(key + 2);
  throw tablet::InputError(fmt::format("{}: {}", PlaceOf(verb, part), part), error.problem(), error.next());
}

}  // namespace cli
