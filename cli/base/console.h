// The terminal: colours where they are wanted, and a progress line that goes away.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace cli {

class Console {
 public:
  enum class Style { kPlain, kDim, kStrong, kGood, kBad, kAccent };

  /// Writes to standard output. Colours only on a terminal and without NO_COLOR; progress only on a terminal.
  Console();

  bool is_terminal() const { return terminal_; }
  std::string Styled(Style style, std::string_view text) const;

  void Line(std::string_view text);
  /// A line that the next one replaces: what is done, in thousandths, and a label. Redrawn a few times a second.
  void Progress(std::string_view label, std::uint64_t done, std::uint64_t whole);
  /// Takes the progress line away; also before the program ends by a signal.
  void EndProgress();

 private:
  void Clear();

  bool terminal_;
  bool colours_;
  bool drawn_ = false;
  std::int64_t drawn_at_ = 0;  ///< milliseconds of the host's steady clock
  std::mutex mutex_;           ///< the signal thread clears the line too
};

/// "64.3 MB", "812 bytes": decimal units.
std::string HumanBytes(std::uint64_t bytes);
/// "1 file", "3 files".
std::string Counted(std::uint64_t count, std::string_view singular);

}  // namespace cli
