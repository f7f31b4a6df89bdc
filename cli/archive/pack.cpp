#include "cli/archive/pack.h"

#include <archive.h>
#include <archive_entry.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/archive/lint.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/work_folder.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/drive/drive.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

struct WriterCloser {
  void operator()(archive* writer) const { archive_write_free(writer); }
};
struct EntryCloser {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

void Check(archive* writer, int code, const fs::path& file) {
  if (code == ARCHIVE_OK) return;
  throw tablet::InputError(file.string(), std::string("cannot be packed: ") + archive_error_string(writer),
                           "leave it out, or pack it by other means");
}

/// Everything below a folder, each folder before what is in it, in the order of names.
std::vector<fs::path> PathsBelow(const fs::path& folder) {
  if (!fs::is_directory(folder))
    throw tablet::InputError(folder.string(), "is not a folder", "name the folder to pack");
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) paths.push_back(entry.path());
  std::ranges::sort(paths);
  bool const any = std::ranges::any_of(paths, [](const fs::path& path) { return fs::is_regular_file(path); });
  if (!any) throw tablet::InputError(folder.string(), "has no files", "name a folder with firmware in it");
  return paths;
}

/// Read-only is the one attribute that the archive can carry: from the host's rights, or kept beside the file.
bool IsReadOnly(const fs::path& file) {
  std::uint32_t const attributes = tablet::ReadExtendedAttributes(file).attributes.value_or(0);
  bool const writable = (fs::status(file).permissions() & fs::perms::owner_write) != fs::perms::none;
  return !writable || (attributes & tablet::kAttributeReadOnly) != 0;
}

void AddData(archive* writer, const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::array<char, 65536> piece{};
  while (in.read(piece.data(), piece.size()) || in.gcount() > 0) {
    if (archive_write_data(writer, piece.data(), static_cast<std::size_t>(in.gcount())) < 0) {
      Check(writer, ARCHIVE_FATAL, file);
    }
  }
  if (!in.eof() || in.bad()) throw tablet::InputError(file.string(), "cannot be read", "check its rights");
}

void Add(archive* writer, const fs::path& path, const fs::path& folder) {
  bool const is_folder = fs::is_directory(path);
  if (fs::is_symlink(path) || (!is_folder && !fs::is_regular_file(path))) {
    throw tablet::InputError(path.string(), "is neither a file nor a folder",
                             "put a copy of what it leads to in its place");
  }
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0 || !(is_folder || std::ifstream(path))) {
    throw tablet::InputError(path.string(), "cannot be read", "check its rights");
  }
  std::unique_ptr<archive_entry, EntryCloser> const entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), (path.lexically_relative(folder).string() + (is_folder ? "/" : "")).c_str());
  archive_entry_set_filetype(entry.get(), is_folder ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry.get(), is_folder ? 0755 : IsReadOnly(path) ? 0444 : 0644);
  archive_entry_set_size(entry.get(), is_folder ? 0 : static_cast<la_int64_t>(status.st_size));
  archive_entry_set_mtime(entry.get(), status.st_mtim.tv_sec, 0);
  Check(writer, archive_write_header(writer, entry.get()), path);
  if (!is_folder) AddData(writer, path);
  Check(writer, archive_write_finish_entry(writer), path);
}

void Write(const std::vector<fs::path>& paths, const fs::path& folder, const fs::path& file) {
  // Names are UTF-8 and marked as that, and the time without a zone is UTC, wherever this runs.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  ::setenv("TZ", "UTC0", 1);
  ::tzset();
  std::unique_ptr<archive, WriterCloser> const writer(archive_write_new());
  Check(writer.get(), archive_write_set_format_zip(writer.get()), file);
  Check(writer.get(),
        archive_write_set_options(writer.get(), "zip:compression=deflate,zip:compression-level=9,zip:!zip64"), file);
  Check(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1), file);
  Check(writer.get(), archive_write_open_filename(writer.get(), file.c_str()), file);
  for (const fs::path& path : paths) Add(writer.get(), path, folder);
  Check(writer.get(), archive_write_close(writer.get()), file);
}

ordered_json LintMade(const fs::path& made, const fs::path& folder) {
  try {
    return Lint({.archive = made, .tablet = {}});
  } catch (const tablet::InputError& error) {
    throw tablet::InputError(folder.string(), error.problem(), error.next());
  }
}

/// Throws for the first file that the service would not make as it is.
void Refuse(const ordered_json& found, const fs::path& folder) {
  std::vector<std::pair<std::string, std::string>> refused;
  for (const ordered_json& entry : found["entries"]) {
    if (entry["verdict"] != "accepted") refused.emplace_back(entry["name"], entry["reason"]);
  }
  for (const ordered_json& warning : found["warnings"]) {
    if (warning["entry"].is_null()) continue;
    refused.emplace_back(found["entries"][warning["entry"].get<std::size_t>()]["name"], warning["text"]);
  }
  if (!refused.empty()) {
    auto const& [name, reason] = refused.front();
    std::string const more = refused.size() == 1 ? "" : fmt::format(" (and {} more)", refused.size() - 1);
    throw tablet::InputError((folder / name).string(), "the service would not extract it as it is: " + reason + more,
                             "change it, or leave it out");
  }
  if (found["verdict"] == "deploys") return;
  throw tablet::InputError(folder.string(), "the service would not deploy it: " + found["reason"].get<std::string>(),
                           "pack less");
}

void Copy(const fs::path& from, const fs::path& to) {
  OutputFile out(to);
  std::ifstream in(from, std::ios::binary);
  std::array<char, 65536> piece{};
  while (in.read(piece.data(), piece.size()) || in.gcount() > 0) {
    out.Write({piece.data(), static_cast<std::size_t>(in.gcount())});
  }
  out.Keep();
}

}  // namespace

int Pack(const PackOptions& options, Console& console) {
  CheckOutputs({{"OUT", options.archive}}, {options.folder}, options.force);
  if (options.archive == kStandardStream) {
    if (options.json) throw UsageError("with --json standard output is the document's; name a file in place of \"-\"");
    console.LeaveStandardOutput();
  }
  std::vector<fs::path> const paths = PathsBelow(options.folder);
  WorkFolder const work = WorkFolder::Temporary();
  fs::path const made = work.path() / "archive.bin";
  Write(paths, options.folder, made);
  ordered_json const found = LintMade(made, options.folder);
  Refuse(found, options.folder);
  Copy(made, options.archive);
  std::uint64_t const bytes = fs::file_size(made);
  ordered_json warnings = ordered_json::array();
  for (const ordered_json& warning : found["warnings"]) warnings.push_back(warning["text"]);
  if (options.json) {
    PrintJson(console, {{"schema", 1},
                        {"exit_code", kDone},
                        {"archive", options.archive.string()},
                        {"entries", found["entries"].size()},
                        {"bytes", bytes},
                        {"unpacked_bytes", found["unpacked_bytes"]},
                        {"warnings", std::move(warnings)}});
    return kDone;
  }
  for (const ordered_json& warning : warnings) {
    console.Line(fmt::format("{}  {}", console.Styled(Console::Style::kBad, "warning"), warning.get<std::string>()));
  }
  console.Line(fmt::format("{}: {} entries, {} unpacked, {}; the service extracts every one", options.archive.string(),
                           found["entries"].size(), HumanBytes(found["unpacked_bytes"].get<std::uint64_t>()),
                           HumanBytes(bytes)));
  return kDone;
}

}  // namespace cli
