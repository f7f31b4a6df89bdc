#include "cli/explain/reading/prefix_format.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>

#include "cli/base/exit_code.h"

namespace cli {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Exactly `digits` decimal digits at `at`, which moves past them.
std::optional<int> Digits(std::string_view text, std::size_t& at, std::size_t digits) {
  if (text.size() < at + digits) return std::nullopt;
  int value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    if (!IsDigit(text[at + i])) return std::nullopt;
    value = value * 10 + (text[at + i] - '0');
  }
  at += digits;
  return value;
}

bool Skip(std::string_view text, std::size_t& at, char wanted) {
  if (at >= text.size() || text[at] != wanted) return false;
  ++at;
  return true;
}

}  // namespace

std::optional<std::int64_t> ReadStamp(std::string_view text, std::size_t& length) {
  std::size_t at = 0;
  auto const month = Digits(text, at, 2);
  if (!month || !Skip(text, at, '/')) return std::nullopt;
  auto const day = Digits(text, at, 2);
  if (!day || !Skip(text, at, '/')) return std::nullopt;
  auto const year = Digits(text, at, 4);
  if (!year || !Skip(text, at, '-')) return std::nullopt;
  auto const hour = Digits(text, at, 2);
  if (!hour || !Skip(text, at, ':')) return std::nullopt;
  auto const minute = Digits(text, at, 2);
  if (!minute || !Skip(text, at, ':')) return std::nullopt;
  auto const second = Digits(text, at, 2);
  if (!second || !Skip(text, at, '.')) return std::nullopt;
  auto const milli = Digits(text, at, 3);
  if (!milli || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  while (at < text.size() && IsDigit(text[at])) ++at;  // -hires: parts of a millisecond
  using std::chrono::year_month_day;
  year_month_day const date{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                            std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  length = at;
  std::int64_t const days = std::chrono::sys_days(date).time_since_epoch().count();
  return (((days * 24 + *hour) * 60 + *minute) * 60 + *second) * 1000 + *milli;
}

PrefixFormat::PrefixFormat(std::string_view format) {
  std::size_t at = 0;
  while (at < format.size()) {
    if (format[at] != '%') {
      AddLiteral(format[at++]);
      continue;
    }
    char const next = at + 1 < format.size() ? format[at + 1] : '\0';
    if (next == '0') break;  // as in FormatMessage: the end, without a line break
    if (next >= '1' && next <= '9') {
      at = AddVariable(format, at);
    } else if (next == '!' && format.find('!', at + 2) != std::string_view::npos) {
      at = AddNamed(format, at);
    } else if (next == '%' || next == '!' || next == '.' || next == 'b' || next == 't') {
      AddLiteral(next == 'b' ? ' ' : next == 't' ? '\t' : next);
      at += 2;
    } else {
      throw UsageError(
          fmt::format("--prefix: \"{}\" is not understood; give the value of TRACE_FORMAT_PREFIX, as in \"{}\"",
                      format.substr(at, 2), kUsual));
    }
  }
  if (pieces_.empty()) throw UsageError(fmt::format("--prefix: it is empty; give the value of TRACE_FORMAT_PREFIX"));
}

void PrefixFormat::AddLiteral(char c) {
  if (pieces_.empty() || pieces_.back().kind != Kind::kLiteral) pieces_.push_back({});
  pieces_.back().literal += c;
}

/// "%8!04X!": the variable's number and how it is shown. Returns where the format goes on.
std::size_t PrefixFormat::AddVariable(std::string_view format, std::size_t at) {
  static constexpr Kind kKinds[] = {Kind::kProvider, Kind::kText,     Kind::kThread,  Kind::kTime,  Kind::kText,
                                    Kind::kText,     Kind::kSequence, Kind::kProcess, Kind::kNumber};
  char const number = format[at + 1];
  std::size_t end = at + 2;
  if (end < format.size() && IsDigit(format[end])) {
    throw UsageError(
        fmt::format("--prefix: there is no variable \"{}\"; the variables are %1 to %9", format.substr(at, 3)));
  }
  std::string_view how = "s";
  if (end < format.size() && format[end] == '!') {
    std::size_t const close = format.find('!', end + 1);
    if (close == std::string_view::npos || close == end + 1) {
      throw UsageError(fmt::format("--prefix: \"{}\" has no end; a variable is written as %8!04X!", format.substr(at)));
    }
    how = format.substr(end + 1, close - end - 1);
    end = close + 1;
  }
  char const conversion = how.back();
  if (std::string_view("sSdiuxX").find(conversion) == std::string_view::npos) {
    throw UsageError(fmt::format("--prefix: \"!{}!\" shows neither a number nor a text; use d, u, x, X or s", how));
  }
  pieces_.push_back({kKinds[number - '1'], {}, conversion == 'x' || conversion == 'X'});
  return end;
}

/// "%!FUNC!", "%!LEVEL!" and the others: a text that nothing is taken from.
std::size_t PrefixFormat::AddNamed(std::string_view format, std::size_t at) {
  pieces_.push_back({Kind::kText, {}, false});
  return format.find('!', at + 2) + 1;
}

/// A text goes on to the next fixed text, or to a blank.
std::size_t PrefixFormat::EndOfText(std::string_view line, std::size_t at, std::size_t piece) const {
  bool const bounded = piece + 1 < pieces_.size() && pieces_[piece + 1].kind == Kind::kLiteral;
  std::size_t const end = bounded ? line.find(pieces_[piece + 1].literal, at) : line.find(' ', at);
  return end == std::string_view::npos && !bounded ? line.size() : end;
}

bool PrefixFormat::TakePiece(std::string_view line, std::size_t index, std::size_t& at, Prefix& prefix) const {
  const Piece& piece = pieces_[index];
  switch (piece.kind) {
    case Kind::kLiteral:
      if (!line.substr(at).starts_with(piece.literal)) return false;
      at += piece.literal.size();
      return true;
    case Kind::kText:
    case Kind::kProvider: {
      std::size_t const end = EndOfText(line, at, index);
      if (end == std::string_view::npos) return false;
      if (piece.kind == Kind::kProvider) prefix.provider = line.substr(at, end - at);
      at = end;
      return true;
    }
    case Kind::kTime: {
      std::size_t length = 0;
      prefix.milliseconds = ReadStamp(line.substr(at), length);
      prefix.stamp = line.substr(at, length);
      at += length;
      return prefix.milliseconds.has_value();
    }
    default:
      break;
  }
  while (at < line.size() && line[at] == ' ') ++at;  // a width without zeros
  std::uint64_t value = 0;
  auto const [end, error] =
      std::from_chars(line.data() + at, line.data() + line.size(), value, piece.hexadecimal ? 16 : 10);
  if (error != std::errc()) return false;
  at = static_cast<std::size_t>(end - line.data());
  if (piece.kind == Kind::kProcess) prefix.process = static_cast<std::uint32_t>(value);
  if (piece.kind == Kind::kThread) prefix.thread = static_cast<std::uint32_t>(value);
  if (piece.kind == Kind::kSequence) prefix.sequence = value;
  return true;
}

std::optional<Prefix> PrefixFormat::Match(std::string_view line) const {
  Prefix prefix;
  std::size_t at = 0;
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    if (!TakePiece(line, i, at, prefix)) return std::nullopt;
  }
  prefix.text = line.substr(at);
  return prefix;
}

}  // namespace cli
