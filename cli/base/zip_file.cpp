#include "cli/base/zip_file.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <fstream>

#include "sim/tablet/base/input_error.h"

namespace cli {

namespace fs = std::filesystem;

void ZipReaderCloser::operator()(archive* reader) const { archive_read_free(reader); }

ZipReader OpenZip(const fs::path& file) {
  constexpr std::size_t kBlock = 1 << 16;
  ZipReader reader(archive_read_new());
  archive_read_support_format_zip(reader.get());
  if (archive_read_open_filename(reader.get(), file.c_str(), kBlock) != ARCHIVE_OK) reader.reset();
  return reader;
}

std::optional<fs::path> PathBelow(const fs::path& folder, const std::string& name) {
  fs::path const relative = fs::path(name).lexically_normal();
  bool const inside = !relative.empty() && relative.is_relative() && *relative.begin() != "..";
  return inside ? std::optional(folder / relative) : std::nullopt;
}

void UnpackZip(const fs::path& file, const fs::path& folder, const std::string& what, const std::string& next) {
  auto const refusal = [&](const std::string& why) { return tablet::InputError(file.string(), why, next); };
  ZipReader const reader = OpenZip(file);
  if (!reader) throw refusal("is not " + what);
  archive_entry* entry = nullptr;
  for (;;) {
    int const code = archive_read_next_header(reader.get(), &entry);
    if (code == ARCHIVE_EOF) return;
    if (code != ARCHIVE_OK) throw refusal("is not " + what + ", or is damaged");
    const char* const raw = archive_entry_pathname(entry);
    std::string name = raw == nullptr ? "" : raw;
    std::replace(name.begin(), name.end(), '\\', '/');  // PowerShell 5 writes these
    std::optional<fs::path> const path = PathBelow(folder, name);
    if (!path) throw refusal("holds \"" + name + "\", which leads out of it");
    if (archive_entry_filetype(entry) == AE_IFDIR || name.ends_with('/')) {
      fs::create_directories(*path);
      continue;
    }
    if (archive_entry_filetype(entry) != AE_IFREG) {
      throw refusal("holds \"" + name + "\", which is neither a file nor a folder");
    }
    fs::create_directories(path->parent_path());
    std::ofstream out(*path, std::ios::binary | std::ios::trunc);
    const void* block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    int data = ARCHIVE_OK;
    while ((data = archive_read_data_block(reader.get(), &block, &size, &offset)) == ARCHIVE_OK) {
      out.seekp(offset);
      out.write(static_cast<const char*>(block), static_cast<std::streamsize>(size));
    }
    if (data != ARCHIVE_EOF) throw refusal(std::string("is damaged: ") + archive_error_string(reader.get()));
    out.close();
    if (!out) throw tablet::InputError(path->string(), "cannot be written", "check the folder's space");
  }
}

}  // namespace cli
