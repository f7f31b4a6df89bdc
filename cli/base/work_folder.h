// A folder to work in, removed at the end: also when a signal ends the program.
#pragma once

#include <filesystem>
#include <string>

#include "cli/base/unfinished.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

/// The same error in words of the user's folder, whose copy `work` is.
inline tablet::InputError InWordsOf(const std::filesystem::path& folder, const std::filesystem::path& work,
                                    const tablet::InputError& error) {
  std::string const copy = work.string();
  bool const of_copy = error.place().starts_with(copy);
  return {of_copy ? folder.string() + error.place().substr(copy.size()) : error.place(), error.problem(), error.next()};
}

class WorkFolder {
 public:
  /// A new folder `stem` + six letters; throws InputError.
  explicit WorkFolder(const std::filesystem::path& stem) : folder_(Unfinished::Kind::kFolder, stem) {}
  /// In the host's folder for temporary files.
  static WorkFolder Temporary() { return WorkFolder(std::filesystem::temp_directory_path() / "vantord-tablet."); }
  /// Where something is made that is to be renamed to `target`.
  static WorkFolder Beside(const std::filesystem::path& target) {
    std::filesystem::path plain = std::filesystem::absolute(target).lexically_normal();
    if (!plain.has_filename()) plain = plain.parent_path();
    try {
      return WorkFolder(plain.string() + ".making-");
    } catch (const tablet::InputError& error) {
      throw tablet::InputError(target.string(), error.problem(), error.next());
    }
  }

  const std::filesystem::path& path() const { return folder_.path(); }
  /// Renames the folder to `target`, which must not exist or be empty; it is then no longer removed.
  void KeepAs(const std::filesystem::path& target) { folder_.KeepAs(target); }
  /// The same in place of whatever folder `target` is, which is removed.
  void Replace(const std::filesystem::path& target) { folder_.Replace(target); }

 private:
  Unfinished folder_;
};

}  // namespace cli
