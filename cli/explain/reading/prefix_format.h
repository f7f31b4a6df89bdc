// What precedes each message of a trace as text: the prefix that the environment variable TRACE_FORMAT_PREFIX of
// tracefmt describes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// What the prefix of a line says, as far as it has it.
struct Prefix {
  std::optional<std::int64_t> milliseconds;  ///< since 1970, in the time zone of the trace
  std::string_view stamp;                    ///< the same as written
  std::optional<std::uint32_t> process;
  std::optional<std::uint32_t> thread;
  std::optional<std::uint64_t> sequence;
  std::optional<std::string_view> provider;  ///< the friendly name of the message's GUID
  std::string_view text;                     ///< what follows the prefix
};

class PrefixFormat {
 public:
  /// What tracefmt writes by itself.
  static constexpr std::string_view kUsual = "[%9!d!]%8!04X!.%3!04X!::%4!s! [%1!s!]";
  /// With -seq.
  static constexpr std::string_view kNumbered = "[%9!d!]%8!04X!.%3!04X!::%4!s! %7!08x! [%1!s!]";

  /// Throws UsageError that names the first part that is not understood, and for a format without a fixed text or
  /// variable.
  explicit PrefixFormat(std::string_view format);

  /// Nothing where the line does not begin with such a prefix. The views point into `line`.
  std::optional<Prefix> Match(std::string_view line) const;

 private:
  enum class Kind { kLiteral, kText, kProvider, kThread, kTime, kSequence, kProcess, kNumber };
  struct Piece {
    Kind kind = Kind::kLiteral;
    std::string literal;
    bool hexadecimal = false;
  };

  std::size_t AddVariable(std::string_view format, std::size_t at);
  std::size_t AddNamed(std::string_view format, std::size_t at);
  void AddLiteral(char c);
  std::size_t EndOfText(std::string_view line, std::size_t at, std::size_t piece) const;
  bool TakePiece(std::string_view line, std::size_t piece, std::size_t& at, Prefix& prefix) const;

  std::vector<Piece> pieces_;
};

/// "06/10/2025-14:25:43.968", with any number of digits after the point, at the start of `text`; sets its length.
/// Nothing for what is not a date and a time.
std::optional<std::int64_t> ReadStamp(std::string_view text, std::size_t& length);

}  // namespace cli
