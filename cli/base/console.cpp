#include "cli/base/console.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace cli {

namespace {

constexpr std::int64_t kRedrawAfter = 80;  // milliseconds
constexpr int kBarWidth = 28;

int TerminalWidth() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

Console::Console() : terminal_(::isatty(STDOUT_FILENO) != 0) {
  const char* const no_color = std::getenv("NO_COLOR");
  const char* const kind = std::getenv("TERM");
  bool const dumb = kind == nullptr || std::string_view(kind) == "dumb";
  colours_ = terminal_ && !dumb && (no_color == nullptr || *no_color == '\0');
  terminal_ = terminal_ && !dumb;
}

std::string Console::Styled(Style style, std::string_view text) const {
  static constexpr std::array<const char*, 6> kCodes{"", "\x1b[2m", "\x1b[1m", "\x1b[32m", "\x1b[31m", "\x1b[36m"};
  if (!colours_ || style == Style::kPlain) return std::string(text);
  return fmt::format("{}{}\x1b[0m", kCodes[static_cast<std::size_t>(style)], text);
}

void Console::Line(std::string_view text) {
  std::lock_guard const lock(mutex_);
  Clear();
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  if (terminal_) std::fflush(stdout);
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
  std::string line = fmt::format("{:>13}[{}] {:3d} %  {}", "", bar, done * 100 / whole, label);
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

std::string Counted(std::uint64_t count, std::string_view singular) {
  return fmt::format("{} {}{}", count, singular, count == 1 ? "" : "s");
}

}  // namespace cli
