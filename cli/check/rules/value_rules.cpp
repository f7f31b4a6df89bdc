#include "cli/check/rules/value_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "cli/archive/driver_images.h"
#include "cli/base/service_facts.h"
#include "cli/boot/changes.h"
#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using service_facts::kParametersKey;
using service_facts::kServiceKey;

constexpr std::u16string_view kModemClass = service_facts::kModemClass;
constexpr std::u16string_view kCrashControl = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr std::u16string_view kSetupState = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";
constexpr std::u16string_view kLogon = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr std::u16string_view kToastProgram = u"C:\\Windows\\ToastGenerator\\ToastGenerator.exe";
constexpr std::uint32_t kAutomaticStart = 2;
constexpr std::size_t kNumberBytes = 4;

/// What a value of the registry must be: a number, or a text of at most so many characters.
struct ValueRule {
  std::u16string_view key;
  std::u16string_view value;
  std::size_t most;  ///< characters; 0: a number of 4 bytes
  std::string_view id;
  std::string_view effect;  ///< of a value that is something else, half a sentence
};

constexpr std::array<ValueRule, 8> kValueRules{{
    {kServiceKey, u"Version", 14, "version", "the version is missing in traces"},
    {kServiceKey, u"ModemImageID", 9, "image-id", "the service takes the default archive"},
    {kParametersKey, u"ulZoneMask", 0, "zone-mask", "the default mask is used"},
    {kParametersKey, u"Distribute", 0, "distribute", "nothing is requested"},
    {kParametersKey, u"PELT_KNOW_TO_GO_SSR", 0, "ssr-flag", "the service overwrites it at the next start"},
    {kSetupState, u"ImageState", 259, "image-state", "the state counts as neither audit nor setup"},
    {kCrashControl, u"CrashDumpEnabled", 0, "crash-dumps", "dumps are not collected"},
    {kLogon, u"SelectedUserSID", 259, "user-sid", "nobody is notified of a crash"},
}};

constexpr std::array<std::u16string_view, 6> kImageStates{
    u"IMAGE_STATE_COMPLETE",
    u"IMAGE_STATE_UNDEPLOYABLE",
    u"IMAGE_STATE_GENERALIZE_RESEAL_TO_OOBE",
    u"IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT",
    u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_OOBE",
    u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT",
};

std::string TypeName(std::uint32_t type) {
  static constexpr std::array<std::string_view, 12> kNames{"REG_NONE",
                                                           "REG_SZ",
                                                           "REG_EXPAND_SZ",
                                                           "REG_BINARY",
                                                           "REG_DWORD",
                                                           "REG_DWORD_BIG_ENDIAN",
                                                           "REG_LINK",
                                                           "REG_MULTI_SZ",
                                                           "REG_RESOURCE_LIST",
                                                           "REG_FULL_RESOURCE_DESCRIPTOR",
                                                           "REG_RESOURCE_REQUIREMENTS_LIST",
                                                           "REG_QWORD"};
  return type < kNames.size() ? std::string(kNames[type]) : fmt::format("type {}", type);
}

std::uint32_t NumberOfBytes(const std::vector<std::uint8_t>& data) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < std::min(data.size(), kNumberBytes); ++i) {
    number |= static_cast<std::uint32_t>(data[i]) << (8 * i);
  }
  return number;
}

/// What is wrong with a number, half a sentence; nothing when it is one.
std::optional<std::string> NumberTrouble(const tablet::RegistryValue& value, std::string_view effect) {
  if (value.data.size() != kNumberBytes) {
    return fmt::format("is {} of {} bytes, and the service reads a number of 4 bytes: {}", TypeName(value.type),
                       value.data.size(), effect);
  }
  if (value.type == tablet::kTypeDword) return std::nullopt;
  return fmt::format("is {}, not REG_DWORD: the service reads its bytes as the number {}", TypeName(value.type),
                     NumberOfBytes(value.data));
}

/// What is wrong with a text of at most `most` characters.
std::optional<std::string> TextTrouble(const tablet::RegistryValue& value, std::size_t most, std::string_view effect) {
  if (value.type != tablet::kTypeText) {
    return fmt::format("is {}, not REG_SZ: the service reads its bytes as a text", TypeName(value.type));
  }
  if (value.data.size() % 2 != 0) return fmt::format("has {} bytes, which is not a whole text", value.data.size());
  std::size_t const count = tablet::TextOf(value).size();
  if (count <= most && value.data.size() <= (most + 1) * 2) return std::nullopt;
  return fmt::format("has {} characters, and the service reads at most {}: {}", count, most, effect);
}

/// Collects findings, one place after the other.
class Values {
 public:
  explicit Values(const TabletFacts& facts) : facts_(facts) {}

  std::vector<CheckFinding> Take() {
    for (const ValueRule& rule : kValueRules) CheckValue(rule);
    CheckMeanings();
    CheckSessions();
    for (auto const* map : {service_facts::kWideCscMap, service_facts::kWideImageIdMap}) CheckMap(map);
    CheckDriver();
    CheckAccess();
    CheckFirmware();
    CheckService();
    CheckPrograms();
    return std::move(findings_);
  }

 private:
  void Add(std::string_view id, FindingPlace place, std::string text, std::string next) {
    findings_.push_back({std::string(id), std::move(place), std::move(text), std::move(next)});
  }
  void AddValue(std::string_view id, std::u16string_view key, std::u16string_view value, std::string_view text,
                std::string next) {
    std::string const name = value.empty() ? "the default value" : '"' + tablet::ToUtf8(value) + '"';
    Add(id, facts_.places.OfValue(key, value), fmt::format("{} {}", name, text), std::move(next));
  }

  void CheckValue(const ValueRule& rule) {
    auto const value = facts_.registry.Get(rule.key, rule.value);
    if (!value) return;
    auto const trouble =
        rule.most == 0 ? NumberTrouble(*value, rule.effect) : TextTrouble(*value, rule.most, rule.effect);
    if (!trouble) return;
    AddValue(rule.id, rule.key, rule.value, *trouble,
             rule.most == 0 ? "write it as dword:" : fmt::format("write a text of at most {} characters", rule.most));
  }

  /// What has the right form and means something else than people think.
  void CheckMeanings() {
    auto const request = facts_.registry.GetDword(kParametersKey, u"Distribute");
    if (request && *request > 1) {
      AddValue("distribute", kParametersKey, u"Distribute",
               fmt::format("is {}, and only 1 requests a deployment", *request), "write dword:00000001, or remove it");
    }
    auto const state = facts_.registry.GetText(kSetupState, u"ImageState");
    if (state && std::ranges::find(kImageStates, *state) == kImageStates.end()) {
      AddValue("image-state", kSetupState, u"ImageState",
               fmt::format("is \"{}\", which Windows does not write; letter case counts", tablet::ToUtf8(*state)),
               "write one of Windows' states, such as IMAGE_STATE_COMPLETE");
    }
    auto const id = facts_.registry.GetText(kServiceKey, u"ModemImageID");
    bool const plain =
        !id || (!id->empty() && std::ranges::all_of(*id, [](char16_t c) { return c > 0x20 && c < 0x7F; }));
    if (!plain) {
      AddValue("image-id", kServiceKey, u"ModemImageID",
               fmt::format("is \"{}\", and only IDs of ASCII letters find their entry", tablet::ToUtf8(*id)),
               "write the ID as the map has it");
    }
  }

  void CheckSessions() {
    std::u16string const sessions = std::u16string(kLogon) + u"\\SessionData";
    for (const std::u16string& session : facts_.registry.SubKeyNames(sessions)) {
      std::u16string const key = sessions + u'\\' + session;
      CheckValue({key, u"LoggedOnUserSID", 259, "user-sid", "this session's user is not notified of a crash"});
    }
  }

  void CheckMap(std::u16string_view map) {
    for (const std::u16string& name : facts_.registry.ValueNames(map)) {
      auto const value = *facts_.registry.Get(map, name);
      std::u16string const text = tablet::TextOf(value);
      constexpr std::size_t kMostUsed = 9;
      if (auto const trouble = TextTrouble(value, SIZE_MAX / 4, "")) {
        AddValue("map-type", map, name, *trouble, "write the archive's name as a text");
      } else if (text.empty()) {
        AddValue("map-empty", map, name, "names no archive: the service goes for the archives' folder itself",
                 "write the archive's name");
      } else if (text.size() > kMostUsed) {
        AddValue("map-cut", map, name,
                 fmt::format("has \"{}\", of which the service uses \"{}\": names have 9 characters at most",
                             tablet::ToUtf8(text), tablet::ToUtf8(text.substr(0, kMostUsed))),
                 "give the archive a shorter name, here and on the drive");
      }
    }
  }

  void CheckDriver() {
    std::size_t with_path = 0;
    for (const std::u16string& name : facts_.registry.SubKeyNames(kModemClass)) {
      std::u16string const key = std::u16string(kModemClass) + u'\\' + name;
      with_path += facts_.registry.Get(key, u"AmssFwImagePath") ? 1U : 0U;
      for (auto const* value : {u"AmssFwImagePath", u"AmssSwImagePath"}) {
        CheckValue({key, value, 259, "driver-path", "the instance is passed over"});
      }
    }
    if (facts_.description.modem_present && !FindDriverInstance(facts_.registry)) {
      Add("driver-instance", facts_.places.OfValue(kModemClass, u""),
          "no instance of the modem's driver has an \"AmssFwImagePath\": no start deploys anything, and nothing is "
          "pointed at the firmware",
          "add the driver's instance key, with the path that its INF file writes");
    }
    if (with_path > 1) {
      auto const first = FindDriverInstance(facts_.registry);
      Add("driver-instances", facts_.places.OfValue(first ? first->key : kModemClass, u"AmssFwImagePath"),
          fmt::format("{} instances have an \"AmssFwImagePath\", and the service looks at this one only", with_path),
          "remove what is left of other drivers");
    }
  }

  /// Keys that tablet.json guards, and that hold or lie above one of the service's.
  void CheckAccess() {
    auto const check = [&](const std::vector<std::u16string>& guarded, std::string_view setting,
                           std::string_view what) {
      for (const std::u16string& key : guarded) {
        std::u16string const above = tablet::FoldCase(key) + u'\\';
        bool const holds = std::ranges::any_of(std::array{std::u16string_view(kServiceKey), kModemClass},
                                               [&](std::u16string_view ours) {
                                                 std::u16string const own = tablet::FoldCase(ours) + u'\\';
                                                 return own.starts_with(above) || above.starts_with(own);
                                               });
        if (!holds) continue;
        Add("key-access", facts_.places.OfSetting(setting),
            fmt::format("the service's account may not {} {}", what, tablet::ToUtf8(key)), "give it the right to");
      }
    };
    check(facts_.description.denied_keys, "registry.denied", "open");
    check(facts_.description.read_only_keys, "registry.read_only", "write");
  }

  void CheckVariable(std::u16string_view name, std::string_view vendor, std::size_t most, std::string_view id) {
    std::string const shown = tablet::ToUtf8(name);
    for (auto const& [key, variable] : facts_.firmware.variables()) {
      if (!tablet::EqualIgnoringCase(key.name, name)) continue;
      if (key.vendor != *tablet::Guid::Parse(vendor) || key.name != name) {
        Add("firmware-vendor", facts_.places.OfVariable(shown, key.vendor),
            fmt::format("the service asks for {}-{}, and never for this variable", shown, vendor), "rename the file");
        continue;
      }
      std::size_t length = variable.data.size();
      while (length > 0 && variable.data[length - 1] == 0) --length;
      bool const plain = std::all_of(variable.data.begin(), variable.data.begin() + static_cast<std::ptrdiff_t>(length),
                                     [](std::uint8_t byte) { return byte > 0x20 && byte < 0x7F; });
      bool const wrong_length = variable.data.size() > most || (id == "sales-code" && length != 3);
      if (!wrong_length && plain && length != 0) continue;
      Add(id, facts_.places.OfVariable(shown, key.vendor),
          fmt::format("{} is {}, {} bytes; the service takes {}", shown, ShowBytes(variable.data), variable.data.size(),
                      id == "sales-code" ? "3 characters of ASCII" : "at most 10 characters of ASCII"),
          "write the variable anew, without a byte order mark or a line feed");
    }
  }

  void CheckFirmware() {
    CheckVariable(u"SALES_CODE", service_facts::kSalesCodeVendor, 4, "sales-code");
    CheckVariable(u"ModemImageID", service_facts::kImageIdVendor, 10, "firmware-image-id");
    bool const asked = facts_.description.modem_present;
    if (asked && !facts_.description.firmware_driver_present) {
      Add("firmware-driver", facts_.places.OfSetting("firmware_driver.present"),
          "the driver for firmware variables is missing: no sales code can be read", "install the driver");
    } else if (asked && facts_.description.firmware_trouble.status != 0 &&
               facts_.description.firmware_trouble.count == tablet::FirmwareTrouble::kEvery) {
      Add("firmware-driver", facts_.places.OfSetting("firmware_driver.status"),
          "every request for a firmware variable fails: no sales code can be read", "correct the driver or its status");
    }
  }

  void CheckService() {
    auto const start = facts_.registry.Get(kServiceKey, u"Start");
    if (!start) {
      Add("service", facts_.places.OfValue(kServiceKey, u"Start"), "the service is not registered: it has no \"Start\"",
          "add the keys that its INF file writes");
    } else if (facts_.registry.GetDword(kServiceKey, u"Start") != kAutomaticStart) {
      AddValue("service", kServiceKey, u"Start",
               fmt::format("is {}: Windows does not start the service by itself", ShowValue(*start)),
               "write dword:00000002");
    }
    auto program = facts_.registry.GetText(kServiceKey, u"ImagePath");
    if (!program) return;
    std::u16string path = *program;
    std::erase(path, u'"');
    static constexpr std::array<std::pair<std::u16string_view, std::u16string_view>, 3> kPrefixes{
        {{u"%SystemRoot%\\", u"C:\\Windows\\"},
         {u"\\SystemRoot\\", u"C:\\Windows\\"},
         {u"System32\\", u"C:\\Windows\\System32\\"}}};
    for (auto const& [prefix, folder] : kPrefixes) {
      if (!tablet::EqualIgnoringCase(std::u16string_view(path).substr(0, prefix.size()), prefix)) continue;
      path = std::u16string(folder) + path.substr(prefix.size());
    }
    if (facts_.drive.Exists(path)) return;
    AddValue("service", kServiceKey, u"ImagePath",
             fmt::format("is \"{}\", and drive C: has no such file", tablet::ToUtf8(*program)),
             "put the service's program there");
  }

  void CheckPrograms() {
    bool const collects = facts_.registry.GetDword(kCrashControl, u"CrashDumpEnabled").value_or(0) != 0;
    if (!facts_.description.modem_present || !collects || facts_.drive.Exists(kToastProgram)) return;
    AddValue(
        "toast-program", kCrashControl, u"CrashDumpEnabled",
        fmt::format("lets dumps be collected, and {} is missing: nobody is notified", tablet::ToUtf8(kToastProgram)),
        "put the program there");
  }

  const TabletFacts& facts_;
  std::vector<CheckFinding> findings_;
};

}  // namespace

std::vector<CheckFinding> FindingsOfValues(const TabletFacts& facts) { return Values(facts).Take(); }

}  // namespace cli
