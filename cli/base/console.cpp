#include "cli/base/console.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/base/escape.h"
#include "cli/base/exit_code.h"
#include "cli/base/unfinished.h"

namespace cli {

namespace {

constexpr std::int64_t kRedrawAfter = 80;  // milliseconds
constexpr int kBarWidth = 28;

int TerminalWidth() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// Private characters in place of colours until a line is escaped; the first ends a colour.
constexpr std::array<std::string_view, 6> kMarks{"\xEF\xB7\x90", "\xEF\xB7\x91", "\xEF\xB7\x92",
                                                 "\xEF\xB7\x93", "\xEF\xB7\x94", "\xEF\xB7\x95"};
constexpr std::array<std::string_view, 6> kCodes{"\x1b[0m", "\x1b[2m", "\x1b[1m", "\x1b[32m", "\x1b[31m", "\x1b[36m"};

bool IsSet(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool IsDumb() {
  const char* const kind = std::getenv("TERM");
  return kind == nullptr || std::string_view(kind) == "dumb";
}

/// On whatever thread wrote: an exception could end in the service.
[[noreturn]] void Fail(int error) {
  if (error == EPIPE) EndForClosedPipe();
  std::fprintf(stderr, "vantord-tablet: standard output: %s\n", std::strerror(error));
  EndNow(kOperationFailed);
}

}  // namespace

Console::Console() : terminal_(::isatty(STDOUT_FILENO) != 0 && !IsDumb()) { Use(Colours::kAuto); }

void Console::Use(Colours colours) {
  bool const wanted = terminal_ || (IsSet("FORCE_COLOR") && std::string_view(std::getenv("FORCE_COLOR")) != "0");
  colours_ = colours == Colours::kAlways || (colours == Colours::kAuto && wanted && !IsSet("NO_COLOR"));
}

void Console::LeaveStandardOutput() {
  out_ = stderr;
  terminal_ = false;
}

std::string Console::Styled(Style style, std::string_view text) const {
  if (!colours_ || style == Style::kPlain) return std::string(text);
  return fmt::format("{}{}{}", kMarks[static_cast<std::size_t>(style)], text, kMarks[0]);
}

void Console::Line(std::string_view text) {
  if (quiet_) return;
  std::string line = Escaped(text) + '\n';
  for (std::size_t style = 0; colours_ && style < kMarks.size(); ++style) {
    for (std::size_t at = 0; (at = line.find(kMarks[style], at)) != std::string::npos;) {
      line.replace(at, kMarks[style].size(), kCodes[style]);
    }
  }
  Put(line);
}

void Console::Document(std::string_view text) { Put(text); }

void Console::Warn(std::string_view text) {
  std::lock_guard const lock(mutex_);
  Clear();
  std::fflush(stdout);
  std::fprintf(stderr, "vantord-tablet: %s\n", Escaped(text).c_str());
}

void Console::Put(std::string_view text) {
  std::lock_guard const lock(mutex_);
  Clear();
  errno = 0;
  bool const written = std::fwrite(text.data(), 1, text.size(), out_) == text.size();
  if (!written || (terminal_ && std::fflush(out_) != 0)) Fail(errno);
}

void Console::Finish() {
  std::lock_guard const lock(mutex_);
  Clear();
  errno = 0;
  if (std::fflush(stdout) != 0) Fail(errno);
}

void Console::Progress(std::string_view label, std::uint64_t done, std::uint64_t whole) {
  if (!terminal_ || whole == 0) return;
  auto const now =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
  if (drawn_ && now.count() - drawn_at_ < kRedrawAfter) return;
  drawn_at_ = now.count();
  done = std::min(done, whole);
  int const filled = static_cast<int>(done * kBarWidth / whole);
  std::string const bar = std::string(static_cast<std::size_t>(filled), '#') +
                          std::string(static_cast<std::size_t>(kBarWidth - filled), '.');
  std::string line = fmt::format("{:>13}[{}] {:3d} %  {}", "", bar, done * 100 / whole, Escaped(label));
  auto const width = static_cast<std::size_t>(TerminalWidth());
  if (line.size() >= width) line.resize(width - 1);
  std::lock_guard const lock(mutex_);
  std::fprintf(stdout, "\r\x1b[K%s", line.c_str());
  std::fflush(stdout);
  drawn_ = true;
}

void Console::EndProgress() {
  std::lock_guard const lock(mutex_);
  Clear();
  std::fflush(stdout);
}

void Console::Clear() {
  if (!drawn_) return;
  std::fputs("\r\x1b[K", stdout);
  drawn_ = false;
}

std::string HumanBytes(std::uint64_t bytes) {
  if (bytes < 10'000) return Counted(bytes, "byte");
  if (bytes < 1'000'000) return fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
}

std::string TimeLeft(std::chrono::nanoseconds used, std::uint64_t done, std::uint64_t whole) {
  constexpr std::int64_t kMinute = 60;
  double const left =
      std::chrono::duration<double>(used).count() * static_cast<double>(whole - done) / static_cast<double>(done);
  auto const seconds = static_cast<std::int64_t>(left) + 1;
  return seconds < 2 * kMinute ? fmt::format("{} s", seconds)
                               : fmt::format("{} min", (seconds + kMinute - 1) / kMinute);
}

std::string Counted(std::uint64_t count, std::string_view singular) {
  return fmt::format("{} {}{}", count, singular, count == 1 ? "" : "s");
}

}  // namespace cli
