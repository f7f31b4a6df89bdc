#include "cli/base/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "cli/base/exit_code.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlock = 1 << 16;

bool IsStream(const fs::path& file) { return file == kStandardStream; }

/// A device or a pipe: there is nothing in it to lose.
bool IsSpecial(const fs::path& file) {
  std::error_code ignored;
  fs::file_status const status = fs::status(file, ignored);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

/// A relative name that does not exist stays relative by itself.
fs::path Canonical(const fs::path& path) { return fs::weakly_canonical(fs::absolute(path)); }

bool AreTheSame(const fs::path& a, const fs::path& b) {
  std::error_code ignored;
  if (fs::equivalent(a, b, ignored)) return true;
  return Canonical(a) == Canonical(b);
}

void CheckAgainst(const Output& output, const fs::path& input) {
  if (IsStream(input)) return;
  std::string const place = output.file.string();
  if (fs::is_directory(input) && LiesWithin(output.file, input)) {
    throw tablet::InputError(place, fmt::format("{} would write into {}, which is read", output.option, input.string()),
                             "name a file elsewhere");
  }
  if (AreTheSame(output.file, input)) {
    throw tablet::InputError(place, output.option + " would overwrite what is read", "name another file");
  }
}

void CheckTarget(const Output& output, bool force) {
  if (fs::is_directory(output.file)) {
    throw tablet::InputError(output.file.string(), "is a folder", fmt::format("name a file for {}", output.option));
  }
  std::error_code ignored;
  bool const empty = !fs::exists(output.file, ignored) || fs::file_size(output.file, ignored) == 0;
  if (!empty && !force) {
    throw tablet::InputError(output.file.string(), "exists already", "name another file or add --force");
  }
}

}  // namespace

bool LiesWithin(const fs::path& path, const fs::path& folder) {
  fs::path whole = Canonical(folder);
  if (!whole.has_filename()) whole = whole.parent_path();
  fs::path const inner = Canonical(path);
  return std::mismatch(whole.begin(), whole.end(), inner.begin(), inner.end()).first == whole.end();
}

void CheckOutputs(const std::vector<Output>& outputs, const std::vector<fs::path>& inputs, bool force) {
  for (const Output& output : outputs) {
    for (const Output& other : outputs) {
      if (&other == &output) break;
      bool const same = IsStream(output.file) || IsStream(other.file) ? output.file == other.file
                                                                      : AreTheSame(output.file, other.file);
      if (same && !(IsSpecial(output.file) && !IsStream(output.file))) {
        throw UsageError(
            fmt::format("{} and {} both name {}; name two files", other.option, output.option, output.file.string()));
      }
    }
    if (IsStream(output.file) || IsSpecial(output.file)) continue;
    for (const fs::path& input : inputs) CheckAgainst(output, input);
    CheckTarget(output, force);
  }
}

OutputFile::OutputFile(const fs::path& file) : shown_(file) {
  if (IsStream(file)) {
    descriptor_ = STDOUT_FILENO;
  } else if (IsSpecial(file)) {
    descriptor_ = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw tablet::InputError(file.string(), std::strerror(errno), "name another file");
  } else {
    target_ = Canonical(file);
    try {
      made_.emplace(Unfinished::Kind::kFile,
                    target_.parent_path() / fmt::format(".{}.new-", target_.filename().string()));
    } catch (const tablet::InputError& error) {
      std::string const& problem = error.problem();
      throw tablet::InputError(file.string(), "cannot be written" + problem.substr(problem.find(':')), error.next());
    }
    descriptor_ = made_->descriptor();
    struct stat old = {};
    if (::stat(target_.c_str(), &old) == 0) ::fchmod(descriptor_, old.st_mode & 07777);
  }
}

OutputFile::~OutputFile() {
  if (descriptor_ > STDERR_FILENO && !made_) ::close(descriptor_);
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : shown_(std::move(other.shown_)),
      target_(std::move(other.target_)),
      made_(std::move(other.made_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)),
      error_(other.error_) {
  other.made_.reset();
}

void OutputFile::Write(std::string_view text) {
  buffer_ += text;
  if (buffer_.size() >= kBlock) Flush();
}

void OutputFile::Flush() {
  std::string_view left = buffer_;
  while (!left.empty() && error_ == 0) {
    ssize_t const count = ::write(descriptor_, left.data(), left.size());
    if (count > 0) {
      left.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
  buffer_.clear();
  if (error_ == EPIPE && IsStream(shown_)) EndForClosedPipe();
}

void OutputFile::Keep() {
  Flush();
  if (made_ && error_ == 0 && ::fsync(descriptor_) != 0) error_ = errno;
  if (error_ != 0 && IsStream(shown_)) {
    throw std::runtime_error(fmt::format("standard output: {}", std::strerror(error_)));
  }
  if (error_ != 0) {
    throw tablet::InputError(
        shown_.string(), fmt::format("could not be written: {}", std::strerror(error_)),
        made_ ? "make room or name another file; what was there before is unchanged" : "name another file");
  }
  if (made_) made_->KeepAs(target_);
}

void WriteOutput(const fs::path& file, std::string_view text) {
  OutputFile out(file);
  out.Write(text);
  out.Keep();
}

}  // namespace cli
