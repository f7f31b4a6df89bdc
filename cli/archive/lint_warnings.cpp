#include "cli/archive/lint_warnings.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "cli/boot/call_text.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"

namespace cli {

namespace {

constexpr std::string_view kSystemFolder = "C:\\Windows\\System32\\";
constexpr std::size_t kLongestName = 259;

std::vector<std::string> PartsOf(std::string_view name) {
  std::vector<std::string> parts(1);
  for (char const c : name) {
    if (c == '\\' || c == '/') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

bool IsUtf8(const std::string& bytes) { return tablet::ToUtf8(tablet::ToUtf16(bytes)) == bytes; }

bool IsInSystemFolder(const std::string& path) {
  return ContainsIgnoringCase((path + "\\").substr(0, kSystemFolder.size()), kSystemFolder);
}

/// Collects the warnings of one entry after the other.
class Collector {
 public:
  explicit Collector(tablet::Tablet& machine) : machine_(machine) {}

  void Look(std::size_t index, const SurveyedEntry& entry, const TriedEntry* tried) {
    index_ = index;
    LookAtParts(entry);
    if (tried != nullptr) LookAtLanding(entry, *tried);
    if (!entry.header_ok) return;  // what such a header says is chance
    LookAtName(entry);
    LookAtData(entry, tried != nullptr && tried->code && *tried->code == 0);
  }
  std::vector<Warning> Take() { return std::move(warnings_); }

 private:
  void Warn(std::string_view what, std::string text) { warnings_.push_back({what, index_, std::move(text)}); }

  void LookAtName(const SurveyedEntry& entry) {
    const std::string& raw = entry.raw_name;
    if (!IsUtf8(raw))
      Warn("encoding", "its name is not UTF-8, and the service reads it as UTF-8 whatever the flags say");
    if (raw.size() > kLongestName) {
      Warn("long-name", fmt::format("its name has {} bytes, the service takes the first {}", raw.size(), 260));
    }
    if (raw.find('\\') != std::string::npos) {
      Warn("backslash", "its name holds a backslash, which Windows takes as a separator of folders");
    }
    if (raw.size() > 1 && raw[1] == ':') Warn("drive", "its name begins with a drive, which the service cuts off");
    if (!raw.empty() && (raw[0] == '/' || raw[0] == '\\')) {
      Warn("absolute", "its name begins with a separator, which the service cuts off");
    }
    std::vector<std::string> const parts = PartsOf(raw);
    if (std::find(parts.begin(), parts.end(), "..") != parts.end()) {
      Warn("parent", fmt::format("its name steps up to a parent folder; the service makes it \"{}\"", entry.name));
    }
  }

  void LookAtParts(const SurveyedEntry& entry) {
    for (const std::string& part : PartsOf(entry.name)) {
      if (part.empty() || part == "." || part == "..") continue;
      if (part.back() == '.' || part.back() == ' ') {
        Warn("trailing", fmt::format("Windows drops the dots and blanks at the end of \"{}\"", part));
      }
      if (tablet::NamesDosDevice(tablet::ToUtf16(part))) {
        Warn("device", fmt::format("\"{}\" is a device on Windows, not a file", part));
      }
      if (part.find(':') != std::string::npos) {
        Warn("stream", fmt::format("Windows takes the part after the colon in \"{}\" as the name of a stream", part));
      }
    }
  }

  void LookAtLanding(const SurveyedEntry& entry, const TriedEntry& tried) {
    if (entry.name.empty()) return;
    if (tablet::ToUtf16(entry.name).size() + kSystemFolder.size() > kLongestName) {
      Warn("long-path", "its path is longer than the 259 characters that the service composes, and is cut");
    }
    std::string const lands = LandingOf(tried);
    if (lands.empty()) return;
    if (!IsInSystemFolder(lands)) Warn("escapes", fmt::format("it lands outside of the system folder: {}", lands));
    if (entry.folder) {
      bool const made = machine_.drive().Exists(tablet::ToUtf16(lands));
      if (tried.code && !made) Warn("folder", "the service takes it, but the folder cannot be made");
      return;
    }
    std::u16string const key = tablet::FoldCase(tablet::ToUtf16(lands));
    auto const [before, is_new] = landings_.emplace(key, std::pair{index_, lands});
    if (is_new) return;
    auto const& [other, other_path] = before->second;
    bool const same = other_path == lands;
    Warn(same ? "duplicate" : "case",
         fmt::format("entry {} {}; the later one wins", other,
                     same ? "lands there too" : fmt::format("differs in letter case only: {}", other_path)));
  }

  void LookAtData(const SurveyedEntry& entry, bool accepted) {
    if (entry.encrypted) Warn("encrypted", "it is encrypted, and the service has no password");
    if (entry.crc_differs && accepted) {
      Warn("checksum", "its data is not what its checksum declares; the service does not notice");
    }
    if (entry.read_to_end && entry.delivered < entry.bytes && accepted) {
      Warn("short", fmt::format("its data ends after {} of {} bytes; the service does not notice", entry.delivered,
                                entry.bytes));
    }
  }

  tablet::Tablet& machine_;
  std::size_t index_ = 0;
  std::map<std::u16string, std::pair<std::size_t, std::string>> landings_;
  std::vector<Warning> warnings_;
};

}  // namespace

std::string LandingOf(const TriedEntry& entry) {
  tablet::DrivePath path;
  std::u16string const wide = tablet::ToUtf16(entry.target);
  if (tablet::ParseDrivePath(wide, u"C:\\Windows\\System32", false, path) != tablet::kSuccess) return {};
  return tablet::ToUtf8(path.Text());
}

std::vector<Warning> WarningsOf(const Survey& survey, const Trial& trial, tablet::Tablet& machine) {
  Collector collector(machine);
  for (std::size_t i = 0; i < survey.entries.size(); ++i) {
    collector.Look(i, survey.entries[i], i < trial.entries.size() ? &trial.entries[i] : nullptr);
  }
  return collector.Take();
}

}  // namespace cli
