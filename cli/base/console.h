// Standard output and standard error: colours where they are wanted, a progress line that goes away, and no error that
// is ignored.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace cli {

class Console {
 public:
  enum class Style { kPlain, kDim, kStrong, kGood, kBad, kAccent };
  enum class Colours { kAuto, kAlways, kNever };

  /// Writes to standard output. Progress only on a terminal. Colours on a terminal without NO_COLOR, or with
  /// FORCE_COLOR.
  Console();

  void Use(Colours colours);
  /// Lines are not printed from now on; documents and warnings are.
  void BeQuiet() { quiet_ = true; }
  /// From now on everything goes to standard error: standard output carries a file named "-".
  void LeaveStandardOutput();

  bool is_terminal() const { return terminal_; }
  std::string Styled(Style style, std::string_view text) const;

  /// One line; control characters of `text` are escaped. Like everything here, ends the program when standard output
  /// fails: with a message and kOperationFailed, or as SIGPIPE does.
  void Line(std::string_view text);
  /// Lines as they are, the last one's end included: a document.
  void Document(std::string_view text);
  /// To standard error, after the program's name; control characters are escaped.
  void Warn(std::string_view text);
  /// A line that the next one replaces: what is done, in thousandths, and a label. Redrawn a few times a second.
  void Progress(std::string_view label, std::uint64_t done, std::uint64_t whole);
  /// Removes the progress line; also before the program ends by a signal.
  void EndProgress();
  /// Writes what is left. Call before every end of the program.
  void Finish();

 private:
  void Put(std::string_view text);
  void Clear();

  std::FILE* out_ = stdout;
  bool terminal_;
  bool colours_;
  bool quiet_ = false;
  bool drawn_ = false;
  std::int64_t drawn_at_ = 0;  ///< milliseconds of the host's steady clock
  std::mutex mutex_;           ///< the signal thread clears the line too
};

/// "64.3 MB", "812 bytes": decimal units.
std::string HumanBytes(std::uint64_t bytes);
/// "8 s", "2 min": what is left of `whole` at the pace so far, when `done`, which is not 0, took `used`.
std::string TimeLeft(std::chrono::nanoseconds used, std::uint64_t done, std::uint64_t whole);
/// "1 file", "3 files".
std::string Counted(std::uint64_t count, std::string_view singular);

}  // namespace cli
