#include "cli/import/imported_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/base/json_text.h"
#include "cli/base/service_facts.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using Modem = ImportOptions::Modem;
using nlohmann::ordered_json;

constexpr int kLateArrival = 5000;  // milliseconds after power-on: most of the attempts to find the modem fail

tablet::FirmwareKey SalesCodeKey() { return {u"SALES_CODE", *tablet::Guid::Parse(service_facts::kSalesCodeVendor)}; }
tablet::FirmwareKey ImageIdKey() { return {u"ModemImageID", *tablet::Guid::Parse(service_facts::kImageIdVendor)}; }

/// Why the tablet has a modem; empty: there is no sign of one.
std::string SignOfModem(const ImportFacts& facts) {
  if (!facts.registry.modem_links.empty()) return "its device interface is registered";
  if (facts.registry.has_modem_driver) return "its driver is installed";
  if (facts.drive.has_archives) return "there are firmware archives";
  return {};
}

bool HasModem(const ImportFacts& facts, const ImportOptions& options) {
  if (options.modem != Modem::kAsTheSource) return options.modem != Modem::kNo;
  return !SignOfModem(facts).empty();
}

bool HasFirmwareDriver(const ImportFacts& facts, const ImportOptions& options) {
  return !facts.registry.firmware_links.empty() || HasModem(facts, options);
}

void AssumeDrivers(const ImportFacts& facts, const ImportOptions& options, std::vector<Assumption>& out) {
  bool const modem = HasModem(facts, options);
  if (options.modem == Modem::kAsTheSource) {
    std::string const sign = SignOfModem(facts);
    out.push_back(
        {"the modem",
         sign.empty() ? "missing, since there is no driver, interface or archive of it" : "present, since " + sign,
         "--modem yes|no|late"});
  }
  if (facts.registry.firmware_links.empty()) {
    out.push_back({"the driver for firmware variables", modem ? "present, as the modem" : "missing, as the modem",
                   fmt::format(R"("firmware_driver": {{ "present": {} }})", modem ? "false" : "true")});
  }
  out.push_back({"the driver that resets the modem", modem ? "present, as the modem" : "missing, as the modem",
                 fmt::format(R"("amss": {{ "present": {} }})", modem ? "false" : "true")});
}

void AssumeService(const ImportFacts& facts, std::vector<Assumption>& out) {
  if (!facts.registry.has_service)
    out.push_back({"the service's settings", "none, since its registry key is missing", "a file in registry/"});
  if (!facts.drive.has_service)
    out.push_back({"the service's version", "unknown, since Vantord.exe is missing", "a file in C/Windows/System32"});
  if (facts.registry.has_partner && facts.partner.empty())
    out.push_back({"the state of the partner service", "stopped at power-on", R"("partner": { "state": "running" })"});
}

void AssumeSource(const ImportFacts& facts, const ImportOptions& options, std::vector<Assumption>& out) {
  if (facts.images.size() > 1) {
    out.push_back({"which image", fmt::format("{} of {}", options.index, facts.images.size()), "--index N"});
  }
  for (const std::string& pending : facts.pending) {
    out.push_back({"the latest registry changes", "left out, since the hive is not up to date: " + pending,
                   "an import without --dirty after Windows has written them"});
  }
  for (const std::string& file : facts.left_out) {
    out.push_back({"the content of " + file, "the file is missing", "collect-tablet with /full, or the file in C/"});
  }
  if (facts.redacted)
    out.push_back({"users and device instances", "left out when the source was collected", "a collection with them"});
  if (!facts.drive.has_attributes)
    out.push_back({"hidden, system and read-only files", "none, since the source keeps no DOS attributes",
                   "attributes.txt, or an import from an image"});
}

}  // namespace

std::vector<Assumption> AssumptionsOf(const ImportFacts& facts, const ImportOptions& options,
                                      const tablet::Firmware& firmware) {
  std::vector<Assumption> out;
  AssumeSource(facts, options, out);
  AssumeDrivers(facts, options, out);
  if (firmware.Find(SalesCodeKey()) == nullptr) out.push_back({"the sales code", "none", "--sales-code CODE"});
  if (firmware.Find(ImageIdKey()) == nullptr)
    out.push_back({"the modem image ID in firmware", "none", "--image-id ID"});
  AssumeService(facts, out);
  if (facts.registry.users.empty())
    out.push_back({"users", "nobody is logged on", R"("sessions": [{ "id": 1, "user": "NAME" }])"});
  out.push_back({"the time of power-on", "2026-03-02T08:00:00Z", R"("clock": { "start": "..." })"});
  return out;
}

std::string DescriptionOf(const ImportFacts& facts, const ImportOptions& options,
                          const std::vector<Assumption>& assumptions) {
  bool const modem = HasModem(facts, options);
  ordered_json document{{"schema", 1}, {"name", facts.name}};
  document["assumed"] = ordered_json::array();
  for (const Assumption& assumption : assumptions) document["assumed"].push_back(TextOf(assumption));
  document["modem"] = {{"present", modem}};
  if (options.modem == Modem::kLate) document["modem"]["arrives_at_ms"] = kLateArrival;
  if (modem && !facts.registry.modem_links.empty()) {
    for (const std::u16string& link : facts.registry.modem_links)
      document["modem"]["links"].push_back(tablet::ToUtf8(link));
  }
  document["firmware_driver"] = {{"present", HasFirmwareDriver(facts, options)}};
  if (!facts.registry.firmware_links.empty())
    document["firmware_driver"]["link"] = tablet::ToUtf8(facts.registry.firmware_links.front());
  document["amss"] = {{"present", modem}};
  document["partner"] = {{"present", facts.registry.has_partner}};
  if (facts.partner == "running") document["partner"]["state"] = "running";
  for (const LoggedOn& one : facts.registry.users)
    document["sessions"].push_back({{"id", one.session}, {"user", one.user}});
  return JsonText(document, 2) + "\n";
}

void PutVariables(const ImportOptions& options, tablet::Firmware& firmware) {
  auto const put = [&](const std::optional<std::string>& text, const char* option, const tablet::FirmwareKey& key,
                       std::size_t most) {
    if (!text) return;
    bool const plain = std::ranges::all_of(*text, [](char c) { return c > ' ' && c < 127; });
    if (text->empty() || text->size() > most || !plain) {
      throw tablet::InputError(option, fmt::format("\"{}\" is not a text of 1 to {} letters and digits", *text, most),
                               "write it as it is in firmware, as in VZW");
    }
    firmware.Put(key, std::vector<std::uint8_t>(text->begin(), text->end()));
  };
  put(options.sales_code, "--sales-code", SalesCodeKey(), 3);
  put(options.image_id, "--image-id", ImageIdKey(), 9);
}

std::string TextOf(const Assumption& assumption) {
  return fmt::format("{}: {}; {}", assumption.unknown, assumption.taken, assumption.say);
}

}  // namespace cli
