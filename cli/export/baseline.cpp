#include "cli/export/baseline.h"

#include <fmt/format.h>

#include <charconv>
#include <fstream>
#include <vector>

#include "cli/base/digest.h"
#include "cli/base/own_drive.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRegistryFile = "registry.reg";
constexpr const char* kFilesFile = "files.txt";
constexpr std::string_view kLetters = "RHSA";
constexpr std::uint32_t kOfLetters[] = {tablet::kAttributeReadOnly, tablet::kAttributeHidden, tablet::kAttributeSystem,
                                        tablet::kAttributeArchive};

void List(const tablet::Drive& drive, const std::u16string& folder, FileStates& states) {
  std::vector<tablet::FileFacts> found;
  if (drive.Find(folder + u"\\*", found) != tablet::kSuccess) return;
  for (const tablet::FileFacts& facts : found) {
    if (facts.name == u"." || facts.name == u"..") continue;
    FileState state{
        folder + u'\\' + facts.name, (facts.attributes & tablet::kAttributeDirectory) != 0, 0, facts.size, {}};
    for (std::uint32_t const attribute : kOfLetters) state.attributes |= facts.attributes & attribute;
    if (state.folder) {
      List(drive, state.path, states);
    } else {
      state.digest = Sha256Of(drive.HostPath(state.path));
    }
    states.emplace(tablet::FoldCase(state.path), state);
  }
}

/// "RA", a tab, "120" or "folder", a tab, the digest or "-", a tab, the path.
FileState ParseLine(const std::string& line, const std::string& place) {
  std::vector<std::string> fields(1);
  for (char const c : line) {
    if (c == '\t' && fields.size() < 4) {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  FileState state;
  auto const refuse = [&] {
    throw tablet::InputError(place, "is not as an import writes it", "import the tablet again");
  };
  if (fields.size() != 4 || !fields[3].starts_with("C:\\")) refuse();
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    if (fields[0].find(kLetters[i]) != std::string::npos) state.attributes |= kOfLetters[i];
  }
  state.folder = fields[1] == "folder";
  std::string const& number = fields[1];
  auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), state.bytes);
  if (!state.folder && (error != std::errc() || end != number.data() + number.size())) refuse();
  if (!state.folder) state.digest = fields[2];
  state.path = tablet::ToUtf16(fields[3]);
  return state;
}

}  // namespace

FileStates FilesOf(const fs::path& tablet) {
  OwnDrive const drive(tablet, tablet::ReadTabletFolder(tablet));
  FileStates states;
  List(drive.get(), u"C:", states);
  return states;
}

std::string LettersOf(std::uint32_t attributes) {
  std::string letters;
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    if ((attributes & kOfLetters[i]) != 0) letters += kLetters[i];
  }
  return letters.empty() ? "-" : letters;
}

void WriteBaseline(const fs::path& tablet, const std::string& registry_text) {
  fs::path const folder = tablet / kBaselineFolder;
  fs::create_directory(folder);
  std::ofstream registry(folder / kRegistryFile, std::ios::binary);
  registry << registry_text;
  std::ofstream files(folder / kFilesFile, std::ios::binary);
  for (auto const& [folded, state] : FilesOf(tablet)) {
    files << fmt::format("{}\t{}\t{}\t{}\n", LettersOf(state.attributes),
                         state.folder ? "folder" : fmt::format("{}", state.bytes), state.folder ? "-" : state.digest,
                         tablet::ToUtf8(state.path));
  }
  registry.close();
  files.close();
  if (!registry || !files) throw tablet::InputError(folder.string(), "cannot be written", "check the folder's space");
}

void ReadBaselineRegistry(const fs::path& tablet, tablet::Registry& registry) {
  fs::path const file = tablet / kBaselineFolder / kRegistryFile;
  if (!fs::exists(file)) {
    throw tablet::InputError(tablet.string(), "was not imported: nothing says what it was before",
                             "name the tablet to compare with: --since TABLET");
  }
  tablet::ReadRegFile(file, registry);
}

FileStates ReadBaselineFiles(const fs::path& tablet) {
  fs::path const file = tablet / kBaselineFolder / kFilesFile;
  std::ifstream in(file, std::ios::binary);
  if (!in) throw tablet::InputError(file.string(), "cannot be read", "import the tablet again");
  FileStates states;
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    FileState state = ParseLine(line, fmt::format("{}:{}", file.string(), ++number));
    states.emplace(tablet::FoldCase(state.path), std::move(state));
  }
  return states;
}

}  // namespace cli
