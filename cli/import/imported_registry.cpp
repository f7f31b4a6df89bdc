#include "cli/import/imported_registry.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "cli/import/hive_file.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using tablet::Registry;

constexpr const char16_t* kSelect = u"SYSTEM\\Select";
constexpr const char16_t* kModemClass = u"Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";
constexpr const char16_t* kModemInterfaces = u"Control\\DeviceClasses\\{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}";
constexpr const char16_t* kFirmwareInterfaces = u"Control\\DeviceClasses\\{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}";
constexpr const char16_t* kPartner = u"Services\\Pelt";
constexpr const char16_t* kModemDriver = u"Services\\QCCDI";

/// Below the control set.
constexpr std::array<const char16_t*, 3> kTabletKeys{u"Services\\Vantord", kModemClass, u"Control\\CrashControl"};
/// What tells which drivers there are.
constexpr std::array<const char16_t*, 4> kSigns{kModemInterfaces, kFirmwareInterfaces, kPartner, kModemDriver};
constexpr std::array<const char16_t*, 2> kSoftwareKeys{
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State",
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI"};

std::u16string ControlSet(std::uint32_t number) { return tablet::ToUtf16(fmt::format("ControlSet{:03}", number)); }

std::u16string SystemKey(const std::u16string& control_set, std::u16string_view below) {
  return u"SYSTEM\\" + control_set + u'\\' + std::u16string(below);
}

struct Hive {
  std::unique_ptr<HiveFile> file;
  std::string shown;
};

Hive Open(const Volume& volume, const std::u16string& name, bool dirty) {
  std::u16string const path = u"Windows\\System32\\config\\" + name;
  auto const names = volume.Find(path);
  if (!names) {
    throw tablet::InputError(volume.Shown({}), "has no " + tablet::ToUtf8(path),
                             "name the folder that is drive C: of a Windows, or an image of one");
  }
  HiveFile::Options options{volume.Shown(*names), {}, dirty};
  for (const char16_t* const ending : {u".LOG1", u".LOG2", u".LOG"}) {
    if (auto const log = volume.Find(path + ending)) options.logs.push_back(volume.HostPath(*log));
  }
  std::string shown = options.shown;
  return {std::make_unique<HiveFile>(volume.HostPath(*names), std::move(options)), std::move(shown)};
}

/// The links of an interface class; where Windows runs, of the interfaces that are there now.
std::vector<std::u16string> LinksOf(const Registry& registry, const std::u16string& key) {
  std::vector<std::u16string> all;
  std::vector<std::u16string> present;
  for (const std::u16string& name : registry.SubKeyNames(key)) {
    constexpr std::u16string_view kStart = u"##?#";
    if (!name.starts_with(kStart)) continue;
    std::u16string const link = u"\\\\?\\" + name.substr(kStart.size());
    std::u16string const device = key + u'\\' + name;
    all.push_back(link);
    bool linked = registry.GetDword(device + u"\\Control", u"Linked") == 1;
    for (const std::u16string& reference : registry.SubKeyNames(device))
      linked = linked || registry.GetDword(device + u'\\' + reference + u"\\Control", u"Linked") == 1;
    if (linked) present.push_back(link);
  }
  return present.empty() ? all : present;
}

std::vector<LoggedOn> UsersOf(const Registry& registry) {
  std::vector<LoggedOn> users;
  std::u16string const sessions = std::u16string(kSoftwareKeys[1]) + u"\\SessionData";
  for (const std::u16string& name : registry.SubKeyNames(sessions)) {
    std::string const number = tablet::ToUtf8(name);
    std::u16string const key = sessions + u'\\' + name;
    std::uint32_t session = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), session);
    auto const identifier = registry.GetText(key, u"LoggedOnUserSID");
    bool const good = error == std::errc() && end == number.data() + number.size() && session != 0;
    if (!good || !identifier || identifier->empty()) continue;
    users.push_back({session, tablet::ToUtf8(registry.GetText(key, u"LoggedOnUser").value_or(*identifier))});
  }
  return users;
}

}  // namespace

std::vector<std::string> ReadHives(Volume& volume, bool dirty, Registry& registry) {
  std::vector<std::u16string> files;
  for (const char16_t* const hive : {u"SYSTEM", u"SOFTWARE"}) {
    for (const char16_t* const ending : {u"", u".LOG1", u".LOG2", u".LOG"})
      files.push_back(std::u16string(u"Windows\\System32\\config\\") + hive + ending);
  }
  volume.Fetch(files);
  std::vector<std::string> pending;
  {
    Hive const system = Open(volume, u"SYSTEM", dirty);
    if (!system.file->pending().empty()) pending.push_back("SYSTEM: " + system.file->pending());
    system.file->Copy(u"Select", kSelect, registry);
    if (auto const number = registry.GetDword(kSelect, u"Current")) {
      std::u16string const control_set = ControlSet(*number);
      auto const copy = [&](const char16_t* key) {
        system.file->Copy(control_set + u'\\' + key, SystemKey(control_set, key), registry);
      };
      std::ranges::for_each(kTabletKeys, copy);
      std::ranges::for_each(kSigns, copy);
      if (system.file->Has(control_set)) registry.MakeKey(u"SYSTEM\\" + control_set);
    }
  }
  Hive const software = Open(volume, u"SOFTWARE", dirty);
  if (!software.file->pending().empty()) pending.push_back("SOFTWARE: " + software.file->pending());
  for (std::u16string_view const key : kSoftwareKeys)
    software.file->Copy(key.substr(std::u16string_view(u"SOFTWARE\\").size()), key, registry);
  return pending;
}

RegistryFacts FactsOf(const Registry& registry, const std::string& shown) {
  auto const number = registry.GetDword(kSelect, u"Current");
  std::u16string const control_set = number ? ControlSet(*number) : u"";
  if (!number || !registry.HasKey(u"SYSTEM\\" + control_set)) {
    throw tablet::InputError(
        shown,
        number
            ? fmt::format("SYSTEM\\Select says that {} is current, but it does not exist", tablet::ToUtf8(control_set))
            : "its SYSTEM hive does not say which control set is the current one (Select\\Current)",
        "import from a Windows that has started, or from its image");
  }
  RegistryFacts facts;
  facts.has_service = registry.HasKey(SystemKey(control_set, kTabletKeys[0]));
  facts.has_partner = registry.HasKey(SystemKey(control_set, kPartner));
  facts.has_modem_driver = registry.HasKey(SystemKey(control_set, kModemDriver));
  std::u16string const instances = SystemKey(control_set, kModemClass);
  for (const std::u16string& instance : registry.SubKeyNames(instances)) {
    if (registry.Get(instances + u'\\' + instance, u"AmssFwImagePath")) facts.has_modem_driver = true;
  }
  facts.modem_links = LinksOf(registry, SystemKey(control_set, kModemInterfaces));
  facts.firmware_links = LinksOf(registry, SystemKey(control_set, kFirmwareInterfaces));
  facts.users = UsersOf(registry);
  return facts;
}

std::unique_ptr<Registry> TabletKeysOf(const Registry& registry) {
  auto keys = std::make_unique<Registry>();
  CopyKeys(registry, kSelect, kSelect, *keys);
  std::u16string const control_set = ControlSet(registry.GetDword(kSelect, u"Current").value_or(0));
  keys->MakeKey(u"SYSTEM\\" + control_set);
  for (const char16_t* const key : kTabletKeys)
    CopyKeys(registry, SystemKey(control_set, key), SystemKey(control_set, key), *keys);
  for (const char16_t* const key : kSoftwareKeys) CopyKeys(registry, key, key, *keys);
  return keys;
}

void CopyKeys(const Registry& from, const std::u16string& path, const std::u16string& to, Registry& registry) {
  if (!from.HasKey(path)) return;
  registry.MakeKey(to);
  for (const std::u16string& value : from.ValueNames(path)) registry.Put(to, value, *from.Get(path, value));
  for (const std::u16string& name : from.SubKeyNames(path))
    CopyKeys(from, path + u'\\' + name, to + u'\\' + name, registry);
}

}  // namespace cli
