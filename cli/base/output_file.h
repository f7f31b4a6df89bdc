// Files that the program writes for people. Nothing is lost: outputs are compared with every input first, and a file
// takes its place only when it is whole.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/unfinished.h"

namespace cli {

/// As the name of an output: standard output. As the name of an input: standard input.
inline constexpr std::string_view kStandardStream = "-";

struct Output {
  std::string option;  ///< "--report", for messages
  std::filesystem::path file;
};

/// Whether `path`, which need not exist, is `folder` or something in it.
bool LiesWithin(const std::filesystem::path& path, const std::filesystem::path& folder);

/// Call before anything is opened for writing. `inputs` are the files and folders that the command reads; without
/// `force` a file that exists and is not empty is refused. Throws UsageError for outputs that name the same file and
/// InputError for one that is an input, lies in one, or would be overwritten.
void CheckOutputs(const std::vector<Output>& outputs, const std::vector<std::filesystem::path>& inputs, bool force);

/// A file that is written beside its place. Devices and pipes are written as they are.
class OutputFile {
 public:
  /// Throws InputError for a place that cannot be written.
  explicit OutputFile(const std::filesystem::path& file);
  ~OutputFile();
  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&&) = delete;

  /// Never throws for a failure, since the service may be on the stack: Keep does.
  void Write(std::string_view text);
  /// Writes what is left, lets it reach the disk and puts the file in its place. Throws InputError; what was there
  /// before is whole then.
  void Keep();

 private:
  void Flush();

  std::filesystem::path shown_;   ///< as the user named it
  std::filesystem::path target_;  ///< links followed
  std::optional<Unfinished> made_;
  int descriptor_ = -1;
  std::string buffer_;
  int error_ = 0;  ///< the first failure's errno
};

/// One text as a whole file.
void WriteOutput(const std::filesystem::path& file, std::string_view text);

}  // namespace cli
