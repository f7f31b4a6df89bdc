#include "cli/check/rules/archive_rules.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "cli/archive/driver_images.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

std::string TextAt(const ordered_json& object, const char* key) {
  auto const found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// What helps against entries that fail, by cause.
std::string_view HelpFor(std::string_view cause) {
  static const std::map<std::string_view, std::string_view> kHelp{
      {"header", "make the archive anew"},
      {"password", "make the archive without encryption"},
      {"full", "make room on the drive, or the archive smaller"},
      {"method", "make the archive with the methods store and deflate only"},
      {"folder", "give the entry a folder's attributes, or another name"},
      {"file", "remove what is in the way on the drive"},
      {"empty", "leave empty files out of the archive"},
      {"zip64", "make the archive without Zip64"},
      {"data", "make the archive anew, or copy it again"},
      {"device", "rename the entry"},
  };
  auto const found = kHelp.find(cause);
  return found == kHelp.end() ? "make the archive anew" : found->second;
}

class TrialRules {
 public:
  TrialRules(const CheckedArchive& archive, const Lead& lead, const TabletFacts& facts)
      : archive_(archive), trial_(archive.trial), lead_(lead), facts_(facts) {}

  std::vector<CheckFinding> Take() {
    if (!trial_.crash.empty()) {
      Add("not-checked", "the trial of it ended early: " + trial_.crash, "report this as a fault of the program");
      return std::move(findings_);
    }
    if (!archive_.present) {
      AddOfTablet("archive-missing", lead_.place,
                  fmt::format("{} leads to {}, and drive C: has no such file", lead_.title, archive_.path),
                  "put the archive there, or correct the map");
    } else if (trial_.lint.is_object()) {
      CheckVerdict();
      CheckEntries();
      CheckWarnings();
    }
    CheckStart();
    CheckAfterwards();
    return std::move(findings_);
  }

 private:
  void Add(std::string_view id, std::string text, std::string next, const std::string& entry = {}) {
    findings_.push_back({std::string(id), {archive_.file, 0, entry}, std::move(text), std::move(next)});
  }
  void AddOfTablet(std::string_view id, FindingPlace place, std::string text, std::string next) {
    findings_.push_back({std::string(id), std::move(place), std::move(text), std::move(next)});
  }
  bool HasError() const {
    return std::ranges::any_of(findings_, [](auto& one) { return one.severity() == Severity::kError; });
  }
  bool Deployed() const { return trial_.deployment == "deployed"; }

  void CheckVerdict() {
    std::string const verdict = TextAt(trial_.lint, "verdict");
    std::string const reason = TextAt(trial_.lint, "reason");
    if (verdict == "not found") Add("archive-not-found", reason, "make the archive anew, or copy it again");
    if (verdict == "hangs") Add("archive-hangs", reason, "make the archive anew");
    if (verdict != "unknown") return;
    bool const device =
        std::ranges::any_of(trial_.lint["entries"], [](auto& entry) { return entry["cause"] == "device"; });
    if (!device) Add("archive-unknown", reason, "report this as a fault of the program");
  }

  /// One finding for all entries that fail for one cause.
  void CheckEntries() {
    struct Failing {
      std::string entry;
      std::string reason;
      std::size_t count = 0;
    };
    std::map<std::string, Failing> causes;
    for (const ordered_json& entry : trial_.lint["entries"]) {
      std::string const cause = TextAt(entry, "cause");
      if (cause.empty()) continue;
      Failing& failing = causes[cause];
      if (failing.count++ == 0) failing = {TextAt(entry, "name"), TextAt(entry, "reason"), 1};
    }
    for (auto const& [cause, failing] : causes) {
      std::string text = failing.reason;
      if (failing.count > 1) text += fmt::format(" (and {} more)", failing.count - 1);
      Add("entry-" + cause, std::move(text), std::string(HelpFor(cause)), failing.entry);
    }
  }

  void CheckWarnings() {
    for (const ordered_json& warning : trial_.lint["warnings"]) {
      std::string const what = TextAt(warning, "what");
      if (what == "image" && !trial_.driver_files.empty()) continue;
      std::string entry;
      if (warning["entry"].is_number()) {
        entry = TextAt(trial_.lint["entries"][warning["entry"].get<std::size_t>()], "name");
      }
      Add("archive-" + what, TextAt(warning, "text"), "correct the archive, or allow it in the policy", entry);
    }
  }

  void CheckStart() {
    bool const told = HasError();
    if (trial_.end != "stopped" && !told) {
      AddOfTablet("run", facts_.places.OfFolder(), fmt::format("with {}, {}", lead_.title, trial_.message),
                  "\"vantord-tablet run\" shows how it comes to that");
    } else if (!Deployed() && !told) {
      Add("not-deployed", trial_.reason, "\"vantord-tablet run\" shows how it comes to that");
    }
    if (!trial_.toast.empty()) {
      AddOfTablet("toast-archive", facts_.places.OfFile("C"), trial_.toast, "put the notice's archive there");
    }
  }

  void CheckAfterwards() {
    if (!Deployed()) return;
    auto const instance = FindDriverInstance(facts_.registry);
    if (!trial_.driver_updated && instance) {
      AddOfTablet("driver-not-updated", facts_.places.OfValue(instance->key, u"AmssFwImagePath"),
                  fmt::format("\"AmssFwImagePath\" stays \"{}\" after the deployment: it cannot be written",
                              tablet::ToUtf8(instance->firmware)),
                  "let the service's account write the driver's key");
    }
    // A driver that is pointed at the service's images already keeps its paths: its own start shows what they lead to.
    bool const changes_paths = !instance || !instance->points_at_service;
    if (changes_paths && !trial_.driver_files.empty()) {
      Add("driver-file",
          fmt::format("the driver is pointed at {} after the deployment, and drive C: has no such file",
                      fmt::join(trial_.driver_files, " and ")),
          "put the files that the driver loads into the archive");
    }
    if (!trial_.reset.empty()) {
      AddOfTablet("modem-reset", facts_.places.OfSetting("amss"),
                  fmt::format("{}: the new firmware is loaded only after a restart", trial_.reset),
                  "install the driver that resets the modem");
    }
    if (!trial_.again.empty()) {
      AddOfTablet("second-boot", facts_.places.OfFolder(),
                  fmt::format("the start after the deployment is not quiet: {}", fmt::join(trial_.again, "; ")),
                  "let the service's account write its keys, or mend what is written anew at each start");
    }
    if (!trial_.differing.empty()) {
      Add("deployed-differs",
          fmt::format("the driver's path is right already, so no start deploys it, and {}{}", trial_.differing.front(),
                      trial_.differing.size() == 1 ? "" : fmt::format(" (and {} more)", trial_.differing.size() - 1)),
          "request a deployment with \"Distribute\", or put the archive's files in place");
    }
    for (const std::string& version : trial_.versions) {
      Add("policy-version", version, "put the right files into the archive, or correct the policy");
    }
  }

  const CheckedArchive& archive_;
  const TrialResult& trial_;
  const Lead& lead_;
  const TabletFacts& facts_;
  std::vector<CheckFinding> findings_;
};

}  // namespace

std::vector<CheckFinding> FindingsOfTrial(const CheckedArchive& archive, const Lead& lead, const TabletFacts& facts) {
  return TrialRules(archive, lead, facts).Take();
}

}  // namespace cli
