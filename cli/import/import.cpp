#include "cli/import/import.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <utility>

#include "cli/base/output_file.h"
#include "cli/base/work_folder.h"
#include "cli/export/baseline.h"
#include "cli/import/collection.h"
#include "cli/import/imported_description.h"
#include "cli/import/imported_drive.h"
#include "cli/import/imported_registry.h"
#include "cli/import/wim_image.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

enum class Kind { kNone, kTablet, kBundle, kWim, kVolume, kCollection, kCollectionZip };

bool IsZip(const fs::path& file) {
  std::array<char, 4> start{};
  std::ifstream(file, std::ios::binary).read(start.data(), start.size());
  return std::string_view(start.data(), start.size()) == "PK\3\4";
}

Kind KindOf(const fs::path& source) {
  if (fs::is_directory(source)) {
    if (fs::exists(source / "tablet.json")) return Kind::kTablet;
    if (fs::exists(source / kCollectionMark)) return Kind::kCollection;
    return Volume(source, source.string()).Find(u"Windows\\System32\\config") ? Kind::kVolume : Kind::kNone;
  }
  if (!fs::is_regular_file(source)) return Kind::kNone;
  if (IsWimFile(source)) return Kind::kWim;
  return IsZip(source) ? Kind::kCollectionZip : Kind::kNone;
}

[[noreturn]] void Refuse(const fs::path& source, Kind kind) {
  if (!fs::exists(source)) throw tablet::InputError(source.string(), "does not exist", "name an image or a folder");
  if (kind == Kind::kTablet) {
    throw tablet::InputError(source.string(), "is a tablet already",
                             fmt::format("\"vantord-tablet run {}\" boots it", source.string()));
  }
  throw tablet::InputError(source.string(), "is neither an image (WIM, ESD), nor a Windows volume, nor a collection",
                           "name install.wim, the folder that is drive C:, or what collect-tablet made");
}

/// The only folder of `folder`, if the marker is in there: some programs pack the folder itself.
fs::path Unwrapped(const fs::path& folder) {
  if (fs::exists(folder / kCollectionMark)) return folder;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (fs::exists(entry.path() / kCollectionMark)) return entry.path();
  }
  return folder;
}

/// Reads one source into one folder.
class Import {
 public:
  Import(const fs::path& source, const fs::path& folder, const fs::path& work, const ImportOptions& options)
      : source_(source), folder_(folder), work_(work), options_(options) {}

  ImportResult Run() {
    Open();
    tablet::Registry registry;
    if (collection_ != nullptr) {
      collection_->ReadRegistry(registry);
      firmware_.Load(collection_->firmware());
    } else {
      facts_.pending = ReadHives(*volume_, options_.dirty, registry);
    }
    facts_.registry = FactsOf(registry, source_.string());
    facts_.drive = ImportDrive(*volume_, folder_);
    facts_.left_out = volume_->LeftOut();
    PutVariables(options_, firmware_);
    firmware_.Save(folder_ / "efi");
    std::string const keys = tablet::WriteRegText(*TabletKeysOf(registry));
    fs::create_directory(folder_ / "registry");
    WriteOutput(folder_ / "registry" / "10-imported.reg", keys);
    std::vector<Assumption> assumed = AssumptionsOf(facts_, options_, firmware_);
    WriteOutput(folder_ / "tablet.json", DescriptionOf(facts_, options_, assumed));
    WriteBaseline(folder_, keys);
    tablet::Registry again;
    tablet::ReadRegistryFolder(folder_, again);
    return {std::move(assumed), facts_.name, facts_.drive.files, facts_.drive.bytes};
  }

 private:
  void Open() {
    Kind const kind = KindOf(source_);
    facts_.name = source_.filename().empty() ? source_.parent_path().filename().string() : source_.filename().string();
    if (kind == Kind::kWim) {
      auto image = std::make_unique<WimImage>(source_, options_.index, work_ / "image");
      facts_.images = image->images();
      std::string const& name = facts_.images[static_cast<std::size_t>(options_.index - 1)];
      facts_.name += fmt::format(", image {}{}", options_.index, name.empty() ? "" : ": " + name);
      volume_ = std::move(image);
    } else if (kind == Kind::kVolume) {
      volume_ = std::make_unique<Volume>(source_, source_.string());
    } else if (kind == Kind::kCollection || kind == Kind::kCollectionZip) {
      fs::path from = source_;
      if (kind == Kind::kCollectionZip) {
        UnpackCollection(source_, work_);
        from = Unwrapped(work_);
        RequireMark(from);
      }
      auto collection = std::make_unique<Collection>(from, source_.string());
      collection_ = collection.get();
      facts_.partner = collection->Said("partner");
      facts_.redacted = collection->Said("identifiers") == "left out";
      volume_ = std::move(collection);
    } else {
      Refuse(source_, kind);
    }
  }

  /// Other zip files are easily taken for a collection.
  void RequireMark(const fs::path& unpacked) const {
    if (fs::exists(unpacked / kCollectionMark)) return;
    std::string const source = source_.string();
    if (fs::exists(unpacked / "manifest.json")) {
      throw tablet::InputError(source, "is a bundle of \"vantord-tablet collect\"",
                               fmt::format("\"vantord-tablet replay {}\" repeats it", source));
    }
    throw tablet::InputError(source, fmt::format("has no {}", kCollectionMark), "name a zip file of collect-tablet");
  }

  const fs::path& source_;
  const fs::path& folder_;
  const fs::path& work_;
  const ImportOptions& options_;
  std::unique_ptr<Volume> volume_;
  const Collection* collection_ = nullptr;  ///< the volume, if it is one
  tablet::Firmware firmware_;
  ImportFacts facts_;
};

void CheckFolder(const fs::path& folder, bool force) {
  if (!fs::exists(folder) || (fs::is_directory(folder) && fs::is_empty(folder))) return;
  if (!force) throw tablet::InputError(folder.string(), "exists already", "name another folder or add --force");
  if (!fs::exists(folder / "tablet.json")) {
    throw tablet::InputError(folder.string(), "is not a tablet", "--force replaces tablets only: name another folder");
  }
}

}  // namespace

bool IsImportable(const fs::path& source) {
  Kind const kind = KindOf(source);
  return kind != Kind::kNone && kind != Kind::kTablet;
}

ImportResult ImportTablet(const fs::path& source, const fs::path& wanted, const ImportOptions& options) {
  fs::path folder = fs::absolute(wanted).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  CheckFolder(folder, options.force);
  if (fs::is_directory(source) && LiesWithin(folder, source)) {
    throw tablet::InputError(wanted.string(), "is in " + source.string() + ", which is read",
                             "name a folder elsewhere");
  }
  fs::create_directories(folder.parent_path());
  WorkFolder making = WorkFolder::Beside(folder);
  WorkFolder const work = WorkFolder::Beside(folder);
  ImportResult result;
  try {
    result = Import(source, making.path(), work.path(), options).Run();
  } catch (const tablet::InputError& error) {
    throw InWordsOf(source, work.path(), InWordsOf(wanted, making.path(), error));
  }
  SignalsWait const whole;
  if (fs::exists(folder) && !fs::is_empty(folder)) fs::rename(folder, work.path() / "replaced");
  making.KeepAs(folder);
  return result;
}

}  // namespace cli
