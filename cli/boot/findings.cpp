#include "cli/boot/findings.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/base/service_facts.h"
#include "cli/boot/call_text.h"

namespace cli {

namespace {

std::string LastPart(std::string_view path) { return std::string(path.substr(path.find_last_of('\\') + 1)); }

/// The maps are the keys below the service's parameters.
bool IsMap(const LookUp& look_up) { return ContainsIgnoringCase(look_up.key, "\\Parameters\\"); }

}  // namespace

std::string_view NameOf(Deployment::State state) {
  if (state == Deployment::State::kDeployed) return "deployed";
  return state == Deployment::State::kFailed ? "failed" : "not needed";
}

std::string Describe(const FailedEntry& entry) { return fmt::format("{}: {:#x}", entry.path, entry.code); }

bool IsModemArchive(std::string_view path) { return ContainsIgnoringCase(path, service_facts::kArchivePart); }

void Findings::Note(LookUp look_up) {
  // Sizes and attempts are asked for again and again; the last result counts.
  auto const same = std::find_if(look_ups.begin(), look_ups.end(), [&](const LookUp& seen) {
    return seen.store == look_up.store && seen.key == look_up.key && seen.name == look_up.name;
  });
  if (same == look_ups.end()) {
    look_ups.push_back(std::move(look_up));
  } else {
    *same = std::move(look_up);
  }
}

const ArchiveUse* Findings::ModemArchive() const {
  auto const archive =
      std::find_if(archives.rbegin(), archives.rend(), [](const ArchiveUse& use) { return IsModemArchive(use.path); });
  return archive == archives.rend() ? nullptr : &*archive;
}

std::string Findings::WhyThisArchive() const {
  const ArchiveUse* archive = ModemArchive();
  if (archive == nullptr) return "the service went for no archive";
  for (const LookUp& look_up : look_ups) {
    if (IsMap(look_up) && look_up.found)
      return fmt::format("{} maps {} to {}", look_up.key, look_up.name, *look_up.found);
  }
  return fmt::format("nothing that was looked up names an archive, {} is the service's default",
                     LastPart(archive->path));
}

std::vector<std::string> Findings::Warnings() const {
  std::vector<std::string> warnings;
  bool driver = false;
  for (const LookUp& look_up : look_ups) {
    driver = driver || look_up.name == "AmssFwImagePath";
    if (look_up.name != "Distribute" || !look_up.data || look_up.data->type == tablet::kTypeDword) continue;
    warnings.push_back(fmt::format("{}\\Distribute is no DWORD", look_up.key));
  }
  if (!driver) warnings.push_back("no driver instance was there to be pointed at the new firmware");
  return warnings;
}

Deployment Findings::Outcome() const {
  using State = Deployment::State;
  const ArchiveUse* archive = ModemArchive();
  if (archive == nullptr) {
    if (look_ups.empty()) return {State::kNotNeeded, "the service ended before it came to the firmware", {}};
    std::string seen;
    for (const LookUp& look_up : look_ups) {
      std::string const found = look_up.found ? "is " + *look_up.found : "is not set";
      std::string const place = look_up.key.empty() ? std::string{} : LastPart(look_up.key) + "\\";
      seen += fmt::format("{}{}{} {}", seen.empty() ? "" : ", ", place, look_up.name, found);
    }
    return {State::kNotNeeded, "no archive was opened: " + seen, {}};
  }
  const std::string& path = archive->path;
  if (request_settled && archive->opened) {
    return {State::kDeployed, fmt::format("{} was extracted completely", path), Warnings()};
  }
  std::string reason = fmt::format("the extraction of {} was not completed", path);
  if (!archive->opened) {
    reason = fmt::format("{} could not be opened", path);
    if (archive->error != 0) reason += ": " + ErrorText(archive->error);
  } else if (archive->unreadable) {
    reason = fmt::format("{} is no archive that the service can read", path);
  } else if (!archive->failures.empty()) {
    reason = fmt::format("{} of {} entries of {} failed, the first: {}", archive->failures.size(), archive->entries,
                         path, Describe(archive->failures.front()));
  }
  return {State::kFailed, std::move(reason), {}};
}

}  // namespace cli
