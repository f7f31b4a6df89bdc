#include <windows.h>
// windows.h comes first, as everywhere.
#include "cli/select/decision.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <stdexcept>

#include "cli/base/service_facts.h"
#include "cli/base/work_folder.h"
#include "cli/boot/call_text.h"
#include "cli/boot/changes.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"
#include "vantord/modem/image_selector.h"

namespace cli {

namespace {

constexpr std::string_view kArchives = service_facts::kArchivePart;
constexpr std::string_view kCscMap = service_facts::kCscMap;
constexpr std::string_view kIdMap = service_facts::kImageIdMap;
constexpr std::string_view kService = "\\Services\\Vantord";
constexpr std::string_view kSalesCode = "SALES_CODE";
constexpr std::string_view kImageId = "ModemImageID";

/// One query of a registry value, or an opening of its key that failed.
struct Query {
  std::string key;
  std::optional<std::string> value;  ///< nullopt: the key was not opened
  std::uint32_t error = 0;
  std::optional<tablet::RegistryValue> data;
};

struct Variable {
  std::optional<std::vector<std::uint8_t>> data;  ///< nullopt: it is missing, or could not be read
  std::uint32_t error = 0;                        ///< the last one that the service logged
};

std::uint32_t NumberOf(std::string_view result) {
  std::uint32_t number = 0;
  std::from_chars(result.data(), result.data() + result.size(), number);
  return number;
}

bool TellsOfTheChoice(std::string_view message) {
  static constexpr std::array<std::string_view, 6> kFunctions{"CImageSelector::Determine", "CImageSelector::GetReg",
                                                              "CImageSelector::GetUEFI",   "GetUEFISalesCode",
                                                              "CKAVRILUEFIHandler",        "SGetRegistrySZ"};
  return std::any_of(kFunctions.begin(), kFunctions.end(),
                     [&](std::string_view function) { return message.starts_with(function); });
}

/// What the service did while it chose. Listens to the machine during its lifetime.
class Witness {
 public:
  explicit Witness(tablet::Tablet& machine) {
    machine.journal().WantCalls(true);
    machine.journal().Listen([this](const tablet::Event& event) {
      if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) OnCall(*call);
    });
    machine.registry().on_query = [this](std::u16string_view key, std::u16string_view value, tablet::WinError error,
                                         const tablet::RegistryValue& data) {
      Query query{tablet::ToUtf8(key), tablet::ToUtf8(value), error, std::nullopt};
      if (error == tablet::kSuccess) query.data = data;
      queries_.push_back(std::move(query));
    };
    machine.firmware().on_find = [this](const tablet::FirmwareKey& key, const tablet::FirmwareVariable* variable) {
      Variable& seen = variables_[tablet::ToUtf8(key.name)];
      if (variable != nullptr) seen.data = variable->data;
    };
  }

  const std::string& archive() const { return archive_; }
  const std::vector<std::string>& messages() const { return messages_; }
  /// The last query of a value of this key; null when the service did not come to it.
  const Query* Of(std::string_view key, std::string_view value = {}) const {
    auto const found = std::find_if(queries_.rbegin(), queries_.rend(), [&](const Query& query) {
      return EndsWithIgnoringCase(query.key, key) && (value.empty() || !query.value || *query.value == value);
    });
    return found == queries_.rend() ? nullptr : &*found;
  }
  const Variable* OfVariable(std::string_view variable) const {
    auto const found = variables_.find(variable);
    return found == variables_.end() ? nullptr : &found->second;
  }

 private:
  void OnCall(const tablet::CallEvent& call) {
    if (call.name == "_vsnwprintf") return OnMessage(call.args, call.last_error);
    if (call.name == "CreateFileW" && ContainsIgnoringCase(call.subject, kArchives)) archive_ = call.subject;
    std::uint32_t const result = NumberOf(call.result);
    if (call.name == "RegCreateKeyExW" || call.name == "RegOpenKeyExW") {
      if (result != 0) queries_.push_back({call.subject, std::nullopt, result, std::nullopt});
    }
    // What the registry gave may still be more than the service had room for.
    if (call.name == "RegQueryValueExW" && !queries_.empty()) queries_.back().error = result;
  }
  void OnMessage(const std::string& text, std::uint32_t last_error) {
    if (!TellsOfTheChoice(text)) return;
    messages_.push_back(text);
    for (std::string_view const name : {kSalesCode, kImageId}) {
      if (text.find(fmt::format("name[{}]", name)) == std::string::npos) continue;
      variables_[std::string(name)].error = last_error;
    }
  }

  std::vector<Query> queries_;
  std::map<std::string, Variable, std::less<>> variables_;
  std::string archive_;
  std::vector<std::string> messages_;
};

Source FirmwareSource(Origin origin, std::string_view name, const Witness& seen) {
  Source source;
  source.origin = origin;
  const Variable* const variable = seen.OfVariable(name);
  if (variable == nullptr) return source;
  source.asked = true;
  source.where = fmt::format("firmware variable {}", name);
  source.error = variable->error;
  if (variable->data) source.found = fmt::format("{}", ShowBytes(*variable->data));
  if (source.error == 0) return source;
  source.remark = fmt::format("not read: {}", ErrorText(source.error));
  if (variable->data) source.remark = fmt::format("{} bytes, {}", variable->data->size(), source.remark);
  return source;
}

Source RegistrySource(Origin origin, const Query* query) {
  Source source;
  source.origin = origin;
  if (query == nullptr) return source;
  source.asked = true;
  source.key = query->value.value_or("");
  std::string value;
  if (query->value) value = query->value->empty() ? ", the default value" : fmt::format(", value \"{}\"", source.key);
  source.where = fmt::format("registry {}{}", query->key, value);
  source.error = query->error;
  if (query->data) source.found = ShowValue(*query->data);
  if (source.error != 0) {
    source.remark =
        fmt::format("{}: {}", query->value ? "not read" : "its key cannot be opened", ErrorText(source.error));
  }
  return source;
}

/// Why a place was not asked, in terms of those before it.
void ExplainTheSilent(std::vector<Source>& sources) {
  auto const at = [&](Origin origin) -> Source& { return sources[static_cast<std::size_t>(origin)]; };
  bool const by_code = at(Origin::kCscMap).decided;
  for (Source& source : sources) {
    if (source.asked || source.decided) continue;
    if (source.origin == Origin::kDefault) {
      source.remark = "not needed";
    } else if (source.origin == Origin::kCscMap) {
      source.remark = "not asked: there is no sales code to look up";
    } else if (by_code) {
      source.remark = "not asked: the sales code decides";
    } else if (source.origin == Origin::kFirmwareId) {
      source.remark = "not asked: the registry has an ID";
    } else {
      source.remark = "not asked: there is no ID to look up";
    }
  }
}

/// Whether a map's entry names what the service went for.
bool Names(const Query* query, std::string_view name) {
  return query != nullptr && query->error == 0 && query->data &&
         std::string_view(tablet::ToUtf8(tablet::TextOf(*query->data))).starts_with(name);
}

void FindTheRule(Decision& decision, const Witness& seen) {
  auto const at = [&](Origin origin) -> Source& { return decision.sources[static_cast<std::size_t>(origin)]; };
  const Query* const csc = seen.Of(kCscMap);
  const Query* const id = seen.Of(kIdMap);
  if (decision.path.empty()) {
    decision.why = "the service went for no archive";
    return;
  }
  bool const by_code = Names(csc, decision.name);
  if (by_code || Names(id, decision.name)) {
    Source& source = at(by_code ? Origin::kCscMap : Origin::kIdMap);
    source.decided = true;
    decision.cut = tablet::TextOf(*(by_code ? csc : id)->data).size() > tablet::ToUtf16(decision.name).size();
    if (decision.cut) source.remark = fmt::format("cut to \"{}\": names have 9 characters at most", decision.name);
    decision.why = fmt::format("the map of {} has {} for \"{}\"", by_code ? "sales codes" : "image IDs",
                               source.found.value_or(""), source.key);
  } else if ((csc == nullptr || csc->error != 0) && (id == nullptr || id->error != 0)) {
    at(Origin::kDefault).decided = true;
    at(Origin::kDefault).asked = true;
    at(Origin::kDefault).where = "the service itself";
    at(Origin::kDefault).found = '"' + decision.name + '"';
    decision.why = "nothing that was looked up names an archive, so it is the service's default";
  } else {
    decision.why = fmt::format("nothing that was seen explains \"{}\"", decision.name);
  }
}

Decision Judge(const Witness& seen) {
  Decision decision;
  decision.path = seen.archive();
  std::size_t at = std::string::npos;
  for (std::size_t i = 0; i + kArchives.size() <= decision.path.size() && at == std::string::npos; ++i) {
    if (EndsWithIgnoringCase(std::string_view(decision.path).substr(0, i + kArchives.size()), kArchives)) at = i;
  }
  if (at != std::string::npos) decision.name = decision.path.substr(at + kArchives.size());
  decision.messages = seen.messages();
  decision.sources = {FirmwareSource(Origin::kSalesCode, kSalesCode, seen),
                      RegistrySource(Origin::kCscMap, seen.Of(kCscMap)),
                      RegistrySource(Origin::kRegistryId, seen.Of(kService, kImageId)),
                      FirmwareSource(Origin::kFirmwareId, kImageId, seen),
                      RegistrySource(Origin::kIdMap, seen.Of(kIdMap)),
                      Source{}};
  decision.sources.back().origin = Origin::kDefault;
  FindTheRule(decision, seen);
  ExplainTheSilent(decision.sources);
  return decision;
}

}  // namespace

std::string_view IdOf(Origin origin) {
  static constexpr std::array<std::string_view, 6> kIds{"sales_code",        "csc_map",      "registry_image_id",
                                                        "firmware_image_id", "image_id_map", "default"};
  return kIds[static_cast<std::size_t>(origin)];
}

std::string_view TitleOf(Origin origin) {
  static constexpr std::array<std::string_view, 6> kTitles{
      "Sales code",           "Map of sales codes", "Image ID in the registry",
      "Image ID in firmware", "Map of image IDs",   "Default"};
  return kTitles[static_cast<std::size_t>(origin)];
}

const Source* Decision::Decider() const {
  auto const found = std::find_if(sources.begin(), sources.end(), [](const Source& source) { return source.decided; });
  return found == sources.end() ? nullptr : &*found;
}

// The deployment as a whole, on a drive that holds nothing: its own order of questions is what is looked at, and the
// archive that it opens in the end is the result.
Decision Decide(const std::filesystem::path& folder, const std::function<void(tablet::Tablet&)>& change) {
  WorkFolder const work = WorkFolder::Temporary();
  tablet::Tablet machine(tablet::ReadTabletFolder(folder), work.path());
  tablet::LoadState(folder, machine);
  if (change) change(machine);
  Witness const seen(machine);
  bool done = false;
  machine.scheduler().Start(1, "select", [&done] {
    CImageSelector selector;
    selector.SelectAndDeployImage();
    done = true;
  });
  machine.scheduler().Wait(tablet::kForever, [&done] { return done; });
  if (const auto& halt = machine.scheduler().halted(); !done && halt) throw std::runtime_error(halt->message);
  return Judge(seen);
}

ArchiveFile FindArchive(const tablet::Drive& drive, std::string_view path) {
  std::u16string const wide = tablet::ToUtf16(path);
  if (path.empty() || !drive.Exists(wide)) return {};
  tablet::FileFacts const facts = drive.Facts(wide);
  bool const folder = (facts.attributes & tablet::kAttributeDirectory) != 0;
  return {!folder, folder, facts.size};
}

nlohmann::ordered_json ToJson(const Source& source) {
  nlohmann::ordered_json out{
      {"source", IdOf(source.origin)}, {"asked", source.asked},   {"where", nullptr},         {"found", nullptr},
      {"error", source.error},         {"remark", source.remark}, {"decided", source.decided}};
  if (!source.where.empty()) out["where"] = source.where;
  if (source.found) out["found"] = *source.found;
  return out;
}

}  // namespace cli
