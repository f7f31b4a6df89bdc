#include "cli/story/story_expect.h"

#include <archive.h>
#include <archive_entry.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <vector>

#include "cli/base/zip_file.h"
#include "cli/boot/call_text.h"
#include "cli/boot/changes.h"
#include "cli/output/message_zones.h"
#include "cli/output/story_teller.h"
#include "cli/story/story_verbs.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// One expectation, taken apart.
class Expectation {
 public:
  Expectation(const StoryVerb& verb, TabletRun& run, const Findings& seen, tablet::Millis told_at)
      : verb_(verb), run_(run), seen_(seen), told_at_(told_at) {
    auto [word, rest] = Split(verb.rest);
    wanted_ = word != "no";
    if (!wanted_) std::tie(word, rest) = Split(rest);
    what_ = word;
    rest_ = rest;
  }

  std::string Unmet() {
    static const std::map<std::string, std::string (Expectation::*)(), std::less<>> kKinds{
        {"firmware", &Expectation::Firmware}, {"message", &Expectation::Message}, {"stopped", &Expectation::Stopped},
        {"status", &Expectation::Status},     {"registry", &Expectation::Value},  {"file", &Expectation::File}};
    auto const kind = kKinds.find(what_);
    if (kind == kKinds.end()) {
      std::vector<std::string_view> names;
      for (auto const& [name, check] : kKinds) names.push_back(name);
      Refuse(verb_, fmt::format("\"{}\" cannot be expected", what_), tablet::SuggestOneOf(what_, names), what_);
    }
    bool const can_be_absent = what_ == "message" || what_ == "registry" || what_ == "file";
    if (!wanted_ && !can_be_absent) RefuseForm("\"no\" is for messages, registry values and files");
    return (this->*kind->second)();
  }

 private:
  [[noreturn]] void RefuseForm(const std::string& next) const {
    Refuse(verb_, fmt::format("\"{}\" is not an expectation", verb_.rest), next, rest_.empty() ? what_ : rest_);
  }

  tablet::Tablet& machine() const { return run_.machine(); }

  std::string Firmware() {
    Deployment const outcome = seen_.Outcome();
    const ArchiveUse* const archive = seen_.ModemArchive();
    std::string name;
    if (archive != nullptr) name = archive->path.substr(archive->path.rfind('\\') + 1);
    std::string const state(NameOf(outcome.state));
    std::string const found = name.empty() ? state : name + ' ' + state;
    std::size_t const blank = rest_.rfind(' ');
    std::string const last = rest_.substr(blank == std::string::npos ? 0 : blank + 1);
    if (rest_ != "not needed" && (blank == std::string::npos || (last != "deployed" && last != "failed"))) {
      RefuseForm("write: expect firmware VZW.bin deployed, VZW.bin failed or not needed");
    }
    bool const same = tablet::EqualIgnoringCase(tablet::ToUtf16(found), tablet::ToUtf16(rest_));
    return same ? std::string() : fmt::format("{}: {}", found, outcome.reason);
  }

  std::string Message() {
    bool const in_zone = rest_ == "in zone error";
    if (!in_zone && !(rest_.size() > 2 && rest_.starts_with('"') && rest_.ends_with('"'))) {
      RefuseForm("write: expect message \"TEXT\" or expect no message in zone error");
    }
    std::string const text = in_zone ? std::string() : rest_.substr(1, rest_.size() - 2);
    std::size_t all = 0;
    std::vector<std::string> found;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* const message = std::get_if<tablet::TraceEvent>(&event.what);
      if (message == nullptr) continue;
      ++all;
      bool const fits = in_zone ? IsFailure(*message) : TextOnly(*message).find(text) != std::string::npos;
      if (fits)
        found.push_back(fmt::format("{} s, {}: {}", FormatTime(event.time), message->function, TextOnly(*message)));
    }
    if (found.empty() == !wanted_) return {};
    if (found.empty()) return fmt::format("none of {}", Counted(all, "message"));
    return fmt::format("{}, the first at {}", Counted(found.size(), "message"), found.front());
  }

  /// "10 s", "500ms".
  tablet::Millis Duration(std::string_view text) const {
    static constexpr std::array<std::pair<std::string_view, double>, 4> kUnits{
        {{"ms", 1}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}}};
    double number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
    while (unit.starts_with(' ')) unit.remove_prefix(1);
    auto const known = std::ranges::find(kUnits, unit, &std::pair<std::string_view, double>::first);
    if (error != std::errc() || number < 0 || number > 1e9 || known == kUnits.end()) {
      RefuseForm("write: expect stopped within 10 s (ms, s, min or h)");
    }
    return tablet::Millis(static_cast<std::int64_t>(number * known->second));
  }

  std::string Stopped() {
    constexpr std::string_view kWithin = "within ";
    if (!rest_.starts_with(kWithin)) RefuseForm("write: expect stopped within 10 s");
    tablet::Millis const most = Duration(std::string_view(rest_).substr(kWithin.size()));
    std::optional<tablet::Millis> stopped;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* const status = std::get_if<tablet::StatusEvent>(&event.what);
      if (status != nullptr && status->state == "STOPPED") stopped = event.time;
    }
    if (machine().services().status().state != tablet::kServiceStopped || !stopped || *stopped < told_at_) {
      return "its status is " + std::string(tablet::StateName(machine().services().status().state));
    }
    if (*stopped - told_at_ <= most) return {};
    return fmt::format("stopped after {} s", FormatTime(*stopped - told_at_));
  }

  std::string Status() {
    std::string const found(tablet::StateName(machine().services().status().state));
    return found == rest_ ? std::string() : found;
  }

  std::string Value() {
    constexpr std::string_view kForm = R"(write: expect registry [HKEY_LOCAL_MACHINE\...] "Name"=dword:00000001)";
    constexpr std::string_view kHive = "HKEY_LOCAL_MACHINE\\";
    std::size_t const close = rest_.find(']');
    if (!rest_.starts_with('[') || close == std::string::npos || !rest_.substr(1).starts_with(kHive)) {
      RefuseForm(std::string(kForm));
    }
    std::string line = rest_.substr(close + 1);
    line.erase(0, line.find_first_not_of(' '));
    std::size_t const quote = line.starts_with('"') ? line.find('"', 1) : line.starts_with('@') ? 0 : std::string::npos;
    if (quote == std::string::npos) RefuseForm(std::string(kForm));
    std::u16string const key = tablet::ToUtf16(rest_.substr(1 + kHive.size(), close - 1 - kHive.size()));
    std::u16string const name = tablet::ToUtf16(quote == 0 ? std::string() : line.substr(1, quote - 1));
    auto const found = machine().registry().Get(key, name);
    std::string const data = line.substr(quote + 1);
    std::size_t const equals = data.find('=');
    if (equals == std::string::npos) {
      if (found.has_value() == wanted_) return {};
      return found ? ShowValue(*found) : "it is not set";
    }
    if (!wanted_) RefuseForm("without a value: expect no registry [KEY] \"Name\"");
    std::size_t const from = data.find_first_not_of(' ', equals + 1);
    tablet::Registry wanted;
    tablet::ReadRegText(fmt::format("Windows Registry Editor Version 5.00\n\n{}\n{}={}\n", rest_.substr(0, close + 1),
                                    line.substr(0, quote + 1), from == std::string::npos ? "" : data.substr(from)),
                        verb_.word, wanted);
    if (found && found == wanted.Get(key, name)) return {};
    return found ? ShowValue(*found) : "it is not set";
  }

  /// The bytes of an entry of one of the archives that the service opened, the last one first.
  std::optional<Bytes> EntryBytes(const std::string& entry_name) const {
    for (auto use = seen_.archives.rbegin(); use != seen_.archives.rend(); ++use) {
      std::u16string const path = tablet::ToUtf16(use->path);
      if (!use->opened || !machine().drive().Exists(path)) continue;
      Bytes const bytes = machine().drive().Contents(path);
      ZipReader const reader(archive_read_new());
      archive_read_support_format_zip(reader.get());
      if (archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) continue;
      archive_entry* entry = nullptr;
      while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
        if (entry_name != archive_entry_pathname(entry)) continue;
        Bytes content(static_cast<std::size_t>(archive_entry_size(entry)));
        la_ssize_t const count = archive_read_data(reader.get(), content.data(), content.size());
        if (count == static_cast<la_ssize_t>(content.size())) return content;
      }
    }
    return std::nullopt;
  }

  std::string File() {
    StoryVerb plain = verb_;
    plain.rest = rest_;
    auto const [path, tail] = SplitPath(plain);
    std::u16string const wide = tablet::ToUtf16(path);
    bool const exists = machine().drive().Exists(wide);
    constexpr std::string_view kFrom = "from ";
    if (path.empty() || (!tail.empty() && (!wanted_ || !tail.starts_with(kFrom)))) {
      RefuseForm("write: expect file C:\\folder\\name from ENTRY, or expect no file PATH");
    }
    if (exists != wanted_) return exists ? "it is there" : "it does not exist";
    if (tail.empty()) return {};
    std::optional<Bytes> const entry = EntryBytes(tail.substr(kFrom.size()));
    if (!entry) return "no archive that the service opened has this entry";
    if ((machine().drive().Facts(wide).attributes & tablet::kAttributeDirectory) != 0) return "it is a folder";
    return machine().drive().Contents(wide) == *entry ? std::string() : "its bytes are others";
  }

  const StoryVerb& verb_;
  TabletRun& run_;
  const Findings& seen_;
  tablet::Millis told_at_;
  bool wanted_ = true;
  std::string what_;
  std::string rest_;
};

}  // namespace

std::string Unmet(const StoryVerb& verb, TabletRun& run, const Findings& seen, tablet::Millis told_at) try {
  return Expectation(verb, run, seen, told_at).Unmet();
} catch (const tablet::InputError& error) {
  if (error.place().starts_with(fmt::format("{}:", verb.line))) throw;
  Refuse(verb, error.problem(), error.next(), verb.rest);
}

}  // namespace cli
