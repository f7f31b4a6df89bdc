#include "cli/bundle/bundle.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

#include "cli/base/output_file.h"
#include "cli/base/zip_file.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

struct WriterCloser {
  void operator()(archive* writer) const { archive_write_free(writer); }
};
struct EntryCloser {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

void Check(archive* archive, int code, const fs::path& file) {
  if (code == ARCHIVE_OK) return;
  const char* const why = archive_error_string(archive);
  throw tablet::InputError(file.string(), std::string("cannot be written: ") + (why == nullptr ? "" : why),
                           "choose a file in a folder that can be written");
}

la_ssize_t WriteTo(archive* /*writer*/, void* out, const void* data, std::size_t size) {
  static_cast<OutputFile*>(out)->Write({static_cast<const char*>(data), size});
  return static_cast<la_ssize_t>(size);
}

std::vector<fs::path> EntriesBelow(const fs::path& folder) {
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

void AddEntry(archive* writer, const fs::path& path, const std::string& name, const fs::path& bundle) {
  bool const folder = fs::is_directory(path);
  std::string const bytes = folder ? std::string{} : ReadTextFile(path);
  std::unique_ptr<archive_entry, EntryCloser> const entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), (name + (folder ? "/" : "")).c_str());
  archive_entry_set_filetype(entry.get(), folder ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry.get(), folder ? 0755 : 0644);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
  Check(writer, archive_write_header(writer, entry.get()), bundle);
  if (!bytes.empty() && archive_write_data(writer, bytes.data(), bytes.size()) < 0)
    Check(writer, ARCHIVE_FATAL, bundle);
}

constexpr const char* kNameABundle = "name a file that \"vantord-tablet collect\" has made";

std::int64_t WrittenAt(const fs::path& path) {
  struct stat facts {};
  if (::stat(path.c_str(), &facts) != 0) return 0;
  return std::int64_t{facts.st_mtim.tv_sec} * 1'000'000'000 + facts.st_mtim.tv_nsec;
}

}  // namespace

nlohmann::ordered_json DriveTimes(const fs::path& tablet) {
  nlohmann::ordered_json times = nlohmann::ordered_json::array();
  times.push_back({"C", WrittenAt(tablet / "C")});
  for (const fs::path& path : EntriesBelow(tablet / "C"))
    times.push_back({fs::relative(path, tablet).string(), WrittenAt(path)});
  return times;
}

void SetDriveTimes(const fs::path& tablet, const nlohmann::json& times) {
  // Backwards, so that a folder has its time after what is in it.
  for (auto one = times.rbegin(); one != times.rend(); ++one) {
    bool const formed = one->is_array() && one->size() == 2 && (*one)[0].is_string() && (*one)[1].is_number_integer();
    if (!formed)
      throw tablet::InputError(kManifestFile, "times: a time is not [path, nanoseconds]", "collect it again");
    std::string const name = (*one)[0];
    std::optional<fs::path> const path = PathBelow(tablet, name);
    if (!path) throw tablet::InputError(kManifestFile, "holds \"" + name + "\", which leads out of it", kNameABundle);
    std::int64_t const time = (*one)[1];
    std::int64_t const second = time >= 0 ? time / 1'000'000'000 : -((999'999'999 - time) / 1'000'000'000);
    timespec const moment{second, time - second * 1'000'000'000};
    timespec const both[2] = {moment, moment};
    ::utimensat(AT_FDCWD, path->c_str(), both, AT_SYMLINK_NOFOLLOW);
  }
}

void PackBundle(const fs::path& folder, const fs::path& bundle) {
  OutputFile out(bundle);
  std::unique_ptr<archive, WriterCloser> const writer(archive_write_new());
  Check(writer.get(), archive_write_set_format_zip(writer.get()), bundle);
  Check(writer.get(), archive_write_set_options(writer.get(), "zip:compression=deflate,zip:compression-level=6"),
        bundle);
  Check(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1), bundle);
  Check(writer.get(), archive_write_open(writer.get(), &out, nullptr, WriteTo, nullptr), bundle);
  for (const fs::path& path : EntriesBelow(folder))
    AddEntry(writer.get(), path, fs::relative(path, folder).string(), bundle);
  Check(writer.get(), archive_write_close(writer.get()), bundle);
  out.Keep();
}

void UnpackBundle(const fs::path& bundle, const fs::path& folder) {
  if (!fs::exists(bundle)) throw tablet::InputError(bundle.string(), "there is no such file", kNameABundle);
  UnpackZip(bundle, folder, "a bundle", kNameABundle);
  for (const char* const needed : {kManifestFile, kEventsFile, kSummaryFile, kTabletFolder}) {
    if (fs::exists(folder / needed)) continue;
    throw tablet::InputError(bundle.string(), std::string("is not a bundle: it has no ") + needed, kNameABundle);
  }
}

std::string ReadTextFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) throw tablet::InputError(file.string(), "cannot be read", "check its rights");
  return text.str();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(std::move(line));
  return lines;
}

}  // namespace cli
