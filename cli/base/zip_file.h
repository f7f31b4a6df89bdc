// Zip files of the host, read by libarchive.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

struct archive;

namespace cli {

struct ZipReaderCloser {
  void operator()(archive* reader) const;
};
using ZipReader = std::unique_ptr<archive, ZipReaderCloser>;

/// A reader before its first entry; null for what is not a zip file.
ZipReader OpenZip(const std::filesystem::path& file);

/// The path of an entry's name below `folder`; nothing for a name that leads out of it.
std::optional<std::filesystem::path> PathBelow(const std::filesystem::path& folder, const std::string& name);

/// Unpacks into an existing empty folder. For messages: `what` the file must be, "a bundle", and `next`, what to do if
/// it is not. Throws InputError, also for names that lead out of the folder.
void UnpackZip(const std::filesystem::path& file, const std::filesystem::path& folder, const std::string& what,
               const std::string& next);

}  // namespace cli
