#include "cli/archive/lint_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/archive/lint_warnings.h"
#include "cli/base/json_text.h"
#include "cli/boot/call_text.h"
#include "sim/tablet/base/text.h"
#include "vantord/unzip/unzip.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

bool Fails(const TriedEntry& entry) { return entry.code.value_or(0) != 0; }

/// Codes with which an entry leaves nothing that could be used, not even in part.
bool IsRefusal(std::uint32_t code) { return code != UNZIP_BAD_DATA && code != UNZIP_WRITE_FAILED; }

/// Why an entry fails: its name in documents, and half a sentence.
struct Cause {
  std::string_view id;
  std::string text;
};

Cause CauseOf(const SurveyedEntry& entry, const TriedEntry& tried) {
  std::uint32_t const code = tried.code.value_or(0);
  if (code == 0) return {};
  if (!entry.header_ok) return {"header", "its central header is damaged or missing"};
  if (code == UNZIP_BAD_PASSWORD) return {"password", "it is encrypted, and the service has no password"};
  if (code == UNZIP_WRITE_FAILED) return {"full", "the file cannot be written: the drive is full"};
  if (entry.described == UNZIP_BAD_HEADER && entry.method != 0 && entry.method != 8) {
    return {"method",
            fmt::format("compression method {} is not known to the service, which takes 0 and 8", entry.method)};
  }
  if (entry.described == UNZIP_BAD_HEADER) return {"header", "its local header disagrees with the central directory"};
  if (entry.described != 0) return {"header", "its headers cannot be read"};
  if (code == UNZIP_FILE_FAILED) {
    if (entry.raw_name.ends_with('/') && !entry.folder) {
      return {"folder", "its name ends as a folder's does, but its attributes are those of a file"};
    }
    return {"file", "its file cannot be made: " + ErrorText(tried.create_error)};
  }
  if (entry.bytes == 0) return {"empty", "it is empty, and the service takes an empty file for a failure"};
  if (entry.bytes == 0xFFFFFFFF || entry.packed_bytes == 0xFFFFFFFF) {
    return {"zip64", "its size is in a Zip64 field, which the service does not know"};
  }
  if (entry.delivered < entry.bytes) {
    return {"data", fmt::format("its data cannot be unpacked after byte {} of {}", entry.delivered, entry.bytes)};
  }
  return {"data", "its data cannot be unpacked"};
}

ordered_json EntryFindings(const LintFacts& facts, std::size_t index) {
  const SurveyedEntry& entry = facts.survey.entries[index];
  const TriedEntry* const tried = index < facts.trial.entries.size() ? &facts.trial.entries[index] : nullptr;
  std::string verdict = "not reached";
  ordered_json code;
  ordered_json cause;
  ordered_json lands;
  std::string reason;
  if (tried != nullptr && tried->device) {
    verdict = "unknown";
    cause = "device";
    reason = "its name is a device's on Windows, which is not modelled";
  }
  if (tried != nullptr && tried->code) {
    verdict = *tried->code == 0 ? "accepted" : IsRefusal(*tried->code) ? "refused" : "fails";
    code = fmt::format("{:#010x}", *tried->code);
    Cause found = CauseOf(entry, *tried);
    if (!found.id.empty()) cause = found.id;
    reason = std::move(found.text);
    if (std::string const place = LandingOf(*tried); !place.empty() && !entry.name.empty()) lands = place;
  }
  return {{"index", index},
          {"name", entry.raw_name},
          {"folder", entry.folder},
          {"verdict", verdict},
          {"code", std::move(code)},
          {"cause", std::move(cause)},
          {"reason", reason},
          {"cleaned", entry.name},
          {"lands", std::move(lands)},
          {"bytes", entry.bytes},
          {"packed_bytes", entry.packed_bytes},
          {"method", entry.method},
          {"encrypted", entry.encrypted},
          {"checksum_differs", entry.crc_differs}};
}

std::size_t Count(const Trial& trial, bool (*is)(const TriedEntry& entry)) {
  return static_cast<std::size_t>(std::ranges::count_if(trial.entries, is));
}

/// The word and the reason, half a sentence.
std::pair<std::string, std::string> VerdictOn(const LintFacts& facts) {
  const Survey& survey = facts.survey;
  const Trial& trial = facts.trial;
  if (facts.hung) {
    return {"hangs",
            fmt::format("the service never returns from entry {}: the central header of entry {} is damaged or "
                        "missing, and {} entries are claimed; the service cannot be stopped then",
                        trial.entries.size(), survey.entries.size() - 1, survey.claimed)};
  }
  if (!trial.not_modelled.empty()) {
    return {"unknown",
            fmt::format("what becomes of entry {} is not modelled: {}", trial.entries.size() - 1, trial.not_modelled)};
  }
  if (!trial.opened) return {"not found", "the service finds no archive: " + facts.end.trouble};
  if (std::size_t const failures = Count(trial, Fails)) {
    return {"fails", fmt::format("{} of {} entries fail", failures, trial.entries.size())};
  }
  if (std::size_t const devices = Count(trial, [](const TriedEntry& one) { return one.device; })) {
    return {"unknown",
            fmt::format("{} of {} entries have a device's name, which is not modelled", devices, trial.entries.size())};
  }
  return {"deploys", trial.entries.empty() ? "it has no entries" : "every entry is accepted"};
}

void AddArchiveWarnings(const LintFacts& facts, std::vector<Warning>& warnings) {
  if (!facts.trial.opened) return;
  if (facts.end.zip64) {
    warnings.push_back({"zip64", std::nullopt, "it is a Zip64 archive, which the service does not know"});
  }
  if (facts.end.cut_off) {
    warnings.push_back(
        {"cut-off", std::nullopt, "the file ends within its end record or comment: it is shorter than it was made"});
  }
  if (facts.end.opens_empty) {
    warnings.push_back(
        {"end-record", std::nullopt,
         "its end record begins at 2 GiB or more: the service finds no entries, and counts it as deployed"});
  }
}

ordered_json ImageFindings(const LintFacts& facts, std::vector<Warning>& warnings) {
  const Trial& trial = facts.trial;
  ordered_json images = ordered_json::array();
  for (const DriverImage& image : facts.images) {
    // The last entry that lands there decides.
    std::optional<std::size_t> brings;
    std::u16string const file = tablet::FoldCase(tablet::ToUtf16(image.file));
    for (std::size_t i = 0; i < trial.entries.size(); ++i) {
      bool const lands = trial.entries[i].code && !facts.survey.entries[i].folder;
      if (lands && tablet::FoldCase(tablet::ToUtf16(LandingOf(trial.entries[i]))) == file) brings = i;
    }
    bool const fails = brings && Fails(trial.entries[*brings]);
    if ((!brings || fails) && trial.ended && trial.opened) {
      warnings.push_back({"image", std::nullopt,
                          brings ? fmt::format("the driver is pointed at {}, and entry {}, which brings it, fails",
                                               image.path, *brings)
                                 : fmt::format("the driver is pointed at {}, which no entry brings", image.path)});
    }
    images.push_back(
        {{"value", image.value}, {"path", image.path}, {"entry", fails ? ordered_json() : OrNull(brings)}});
  }
  return images;
}

std::uint64_t Unpacked(const Survey& survey) {
  std::uint64_t sum = 0;
  for (const SurveyedEntry& entry : survey.entries) sum += entry.header_ok ? entry.bytes : 0;
  return sum;
}

}  // namespace

ordered_json LintFindings(const LintFacts& facts) {
  auto const [verdict, reason] = VerdictOn(facts);
  ordered_json entries = ordered_json::array();
  for (std::size_t i = 0; i < facts.survey.entries.size(); ++i) entries.push_back(EntryFindings(facts, i));
  std::vector<Warning> warnings = WarningsOf(facts.survey, facts.trial, facts.machine);
  AddArchiveWarnings(facts, warnings);
  ordered_json images = ImageFindings(facts, warnings);
  ordered_json list = ordered_json::array();
  for (const Warning& warning : warnings) {
    list.push_back({{"what", warning.what}, {"entry", OrNull(warning.entry)}, {"text", warning.text}});
  }
  return {{"archive", facts.archive},
          {"verdict", verdict},
          {"reason", reason},
          {"claimed_entries", facts.survey.claimed},
          {"unpacked_bytes", Unpacked(facts.survey)},
          {"free_bytes", OrNull(facts.free_bytes)},
          {"entries", std::move(entries)},
          {"images", std::move(images)},
          {"warnings", std::move(list)}};
}

}  // namespace cli
