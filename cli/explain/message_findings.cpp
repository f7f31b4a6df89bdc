#include "cli/explain/message_findings.h"

#include <fmt/format.h>

#include <charconv>

#include "cli/base/service_facts.h"
#include "cli/boot/call_text.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::string_view kModemClass =
    "system\\currentcontrolset\\control\\class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";
constexpr std::string_view kMissing = "RegQueryValueEx fail, ValueName = ";
/// More entries than an archive that the service reads can have.
constexpr std::size_t kMostFailures = 70'000;
constexpr std::uint32_t kVariableMissing = 203;

std::uint32_t NumberIn(std::string_view text, int base) {
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

}  // namespace

std::optional<std::string> Between(std::string_view text, std::string_view start, std::string_view end) {
  std::size_t const from = text.find(start);
  if (from == std::string_view::npos) return std::nullopt;
  std::string_view const rest = text.substr(from + start.size());
  std::size_t const to = end.empty() ? rest.size() : rest.find(end);
  if (to == std::string_view::npos) return std::nullopt;
  return std::string(rest.substr(0, to));
}

void MessageFindings::Take(const tablet::TraceEvent& message) {
  if (message.function == "CImageSelector::UnzipBinary" && !message.line) {
    if (message.text.ends_with(": (+)")) {
      ++extractions_;
      named_ = false;
      file_open_ = false;
    } else {
      EndOfExtraction();
    }
    return;
  }
  if (!message.line) return;
  std::string const text = TextOnly(message);
  TakeLookUp(message.function, *message.line, text);
  TakeChoice(message.function, *message.line, text);
  TakeArchive(message.function, *message.line, text);
  if (message.function == "CKAVRILUEFIHandler::Read" && *message.line == 81) TakeFirmware(text);
  // What follows a complete extraction and nothing else.
  bool const reset = message.function == "ExecuteSilentResetQCThread" || message.function == "IsDefaultSetupState";
  if (reset || message.function == "CModemQC::UpdateImageRegPath") Settle();
}

void MessageFindings::NoteRegistry(std::string key, std::string_view name, std::optional<std::string> found) {
  findings_.Note({LookUp::Store::kRegistry, std::move(key), std::string(name), std::move(found), std::nullopt});
}

void MessageFindings::NoteDriver(std::optional<std::string> found) {
  std::string const driver = next_driver_ < drivers_.size() ? drivers_[next_driver_] : "?";
  NoteRegistry(fmt::format("{}\\{}", kModemClass, driver), "AmssFwImagePath", std::move(found));
  ++next_driver_;
}

/// The request for a deployment, and the driver's paths.
void MessageFindings::TakeLookUp(std::string_view function, int number, std::string_view text) {
  in_worker_ = in_worker_ || function == "IsFactoryLoggingMode";
  if (function == "SGetRegistryDWORD" && text == fmt::format("{}Distribute", kMissing)) {
    asked_for_request_ = true;
    NoteRegistry(tablet::ToUtf8(service_facts::kParametersKey), "Distribute", std::nullopt);
  }
  if (function == "SRegistrySubKeys" && number == 1072 && !drivers_done_) {
    // The service asks for the request just before; it logs nothing when the value is there.
    if (in_worker_ && !asked_for_request_) {
      asked_for_request_ = true;
      NoteRegistry(tablet::ToUtf8(service_facts::kParametersKey), "Distribute",
                   "set (there is no message that it is missing)");
    }
    if (auto key = Between(text, ") = ", "")) drivers_.push_back(std::move(*key));
  }
  if (function == "SGetRegistrySZ" && text == fmt::format("{}AmssFwImagePath", kMissing)) NoteDriver(std::nullopt);
  if (function == "CModemQC::CheckImageRegPath" && (number == 124 || number == 130)) {
    drivers_done_ = true;
    NoteDriver(Between(text, number == 124 ? "Needs to be updated from " : "Already updated to ", ""));
  }
}

/// The places that can name an archive.
void MessageFindings::TakeChoice(std::string_view function, int number, std::string_view text) {
  if (function == "SGetRegistrySZ") {
    missing_ = Between(text, kMissing, "").value_or("");
    if (missing_ == "ModemImageID") NoteRegistry(tablet::ToUtf8(service_facts::kServiceKey), missing_, std::nullopt);
  } else if (function == "GetUEFISalesCode") {
    if (auto code = Between(text, "Sales_Code = ", "!!!")) {
      findings_.Note({LookUp::Store::kFirmware, {}, "SALES_CODE", std::move(code), std::nullopt});
    }
  } else if (function == "CImageSelector::GetRegMapsCSC" || function == "CImageSelector::GetRegMapsImageID") {
    auto const name = Between(text, "(", ")");
    bool const by_code = function == "CImageSelector::GetRegMapsCSC";
    auto archive = Between(text, ") ModemBinary(", "");
    if (!name || !archive || !archive->ends_with(')')) return;
    archive->pop_back();
    NoteRegistry(by_code ? service_facts::kCscMap : service_facts::kImageIdMap, *name, std::move(archive));
  } else if (function == "CImageSelector::DetermineImageByCSC" && number == 59) {
    NoteRegistry(service_facts::kCscMap, missing_, std::nullopt);
  } else if (function == "CImageSelector::DetermineImageByModemID" && number == 79) {
    NoteRegistry(service_facts::kImageIdMap, missing_, std::nullopt);
  } else if (function == "CImageSelector::GetRegModemID") {
    NoteRegistry(tablet::ToUtf8(service_facts::kServiceKey), "ModemImageID", Between(text, "Image ID = ", "!!!"));
  } else if (function == "CImageSelector::GetUEFIModemID") {
    findings_.Note({LookUp::Store::kFirmware, {}, "ModemImageID", Between(text, "Image ID = ", "!!!"), std::nullopt});
  }
}

/// A variable that could not be read.
void MessageFindings::TakeFirmware(std::string_view text) {
  auto const name = Between(text, "name[", "]");
  auto const error = Between(text, "GetLastError=", "");
  if (!name || !error) return;
  std::optional<std::string> found;
  std::uint32_t const number = NumberIn(*error, 10);
  if (number != kVariableMissing) {
    std::string const text = ErrorText(number);
    found = "not read: " + text.substr(0, text.find(','));
  }
  findings_.Note({LookUp::Store::kFirmware, {}, *name, std::move(found), std::nullopt});
}

void MessageFindings::TakeArchive(std::string_view function, int number, std::string_view text) {
  if (function == "lufopen" && number == 2659) file_open_ = true;
  if (function == "TUnzip::Unzip" && number == 4189) entry_path_ = Between(text, "4189 (", "").value_or("");
  if (function != "CImageSelector::UnzipBinary") return;
  if (number == 244 || number == 247) {
    bool const refused = number == 244;
    auto path = Between(text, refused ? "Failure in Unzipping " : "Unzipping ", "");
    if (!path) return;
    named_ = true;
    findings_.archives.push_back({.path = std::move(*path),
                                  .opened = !refused || file_open_,
                                  .error = 0,
                                  .unreadable = refused,
                                  .entries = 0,
                                  .failures = {}});
  } else if (auto const status = Between(text, "Unzipping status ", "")) {
    TakeEntry(*status);
  }
}

void MessageFindings::TakeEntry(std::string_view status) {
  if (entry_path_.ends_with(')')) entry_path_.pop_back();
  if (!findings_.archives.empty()) {
    ArchiveUse& archive = findings_.archives.back();
    ++archive.entries;
    std::uint32_t const code = NumberIn(status, 16);
    if (code != 0 && archive.failures.size() < kMostFailures) archive.failures.push_back({entry_path_, code});
  }
  entry_path_.clear();
}

void MessageFindings::EndOfExtraction() {
  // The messages with the archive's name are in a zone that may be off. The toast's archive is the first of the two.
  if (!named_ && extractions_ > 1) {
    findings_.archives.push_back({.path = fmt::format("{}\\?", service_facts::kArchiveFolder),
                                  .opened = true,
                                  .error = 0,
                                  .unreadable = false,
                                  .entries = 0,
                                  .failures = {}});
    return;
  }
  Settle();
}

/// The modem's archive was extracted completely.
void MessageFindings::Settle() {
  const ArchiveUse* const archive = findings_.ModemArchive();
  if (archive == nullptr || archive != &findings_.archives.back()) return;
  if (archive->opened && !archive->unreadable && archive->failures.empty()) findings_.request_settled = true;
}

}  // namespace cli
