// An image of Windows in a WIM or ESD file, read with wimlib-imagex.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/import/volume.h"

namespace cli {

/// Whether a file begins as WIM and ESD files do.
bool IsWimFile(const std::filesystem::path& file);

class WimImage : public Volume {
 public:
  /// `index` counts from 1; `work`, which must not exist, is where files are extracted to; a list of them goes beside
  /// it. Throws InputError for damaged files, for an image that does not exist and where wimlib-imagex is missing.
  WimImage(std::filesystem::path file, int index, std::filesystem::path work);

  void Fetch(const std::vector<std::u16string>& paths) override;

  /// The names of all images of the file, in order; empty texts for images without one.
  const std::vector<std::string>& images() const { return images_; }

 private:
  void ListImages();
  void ListFiles();
  void Take(std::string_view line);
  [[noreturn]] void Fail(int exit_code, const std::string& errors) const;

  std::filesystem::path file_;
  int index_;
  std::filesystem::path work_;
  std::vector<std::string> images_;
  std::map<std::u16string, std::string> paths_;  ///< "/Windows/a" by "WINDOWS\A", of those that may be of use
  std::u16string listed_;                        ///< the path whose facts are being listed
};

}  // namespace cli
