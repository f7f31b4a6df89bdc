#include "tests/unit/cli/trace_writer.h"

#include <fmt/format.h>

#include <chrono>
#include <map>
#include <sstream>

#include "cli/explain/explain_output.h"
#include "cli/explain/start_splitter.h"
#include "sim/tablet/base/text.h"

namespace testing_support {

using nlohmann::json;

namespace {

std::string Stamp(std::int64_t milliseconds, bool hires) {
  std::chrono::sys_time<std::chrono::milliseconds> const time{std::chrono::milliseconds(milliseconds)};
  auto const day = std::chrono::floor<std::chrono::days>(time);
  std::chrono::year_month_day const date(day);
  std::chrono::hh_mm_ss const clock(time - day);
  std::string const digits = hires ? "1234" : "";
  return fmt::format("{:02}/{:02}/{:04}-{:02}:{:02}:{:02}.{:03}{}", static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()), static_cast<int>(date.year()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count(), digits);
}

}  // namespace

std::string OwnPrefix() { return "%2!s!: %!FUNC!: %8!04x!: %3!5d!: %4!s!: %%"; }

std::string TraceLine(const TraceStyle& style, std::int64_t milliseconds, std::uint32_t thread, std::uint64_t number,
                      const std::string& text) {
  if (style.bare) return text + "\r\n";
  std::string const stamp = Stamp(style.power_on + milliseconds, style.hires);
  if (style.own) {
    return fmt::format("diagnostic_log_cpp10: Send: {:04x}: {:5}: {}: %{}\r\n", style.process, thread, stamp, text);
  }
  std::string const sequence = style.numbered ? fmt::format("{:08x} ", number) : "";
  return fmt::format("[{}]{:04X}.{:04X}::{} {}[{}]{}\r\n", number % 8, style.process, thread, stamp, sequence,
                     style.provider, text);
}

std::vector<json> JsonLines(const std::string& text) {
  std::vector<json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(json::parse(line));
  return lines;
}

std::string TraceText(const std::vector<json>& events, const TraceStyle& style) {
  std::map<std::string, std::uint32_t> threads;
  std::string text = style.bare ? "" : "EventTrace\r\n";
  std::uint64_t number = style.first_number;
  for (const json& event : events) {
    if (event["kind"] != "trace") continue;
    auto const thread = threads.try_emplace(event["thread"], 0x1000 + 4 * static_cast<std::uint32_t>(threads.size()));
    text += TraceLine(style, event["time_ms"], thread.first->second, number++, event["text"]);
  }
  return text;
}

std::string AsUtf16(const std::string& text) {
  std::string bytes = "\xFF\xFE";
  for (char16_t const unit : tablet::ToUtf16(text)) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

ReadTrace ReadBack(const std::filesystem::path& file, const std::optional<std::string>& prefix) {
  std::optional<cli::PrefixFormat> format;
  if (prefix) format.emplace(*prefix);
  cli::TraceReader reader(file, std::move(format));
  cli::StartSplitter starts;
  ReadTrace read;
  starts.on_event = [&](const cli::TraceStart&, const tablet::Event&) { ++read.events; };
  starts.on_end = [&](const cli::TraceStart& start) { read.starts.push_back(cli::ToJson(start)); };
  for (cli::TraceRecord record; reader.Next(record);) {
    if (record.sequence) read.gaps.Take(*record.sequence, record.line, record.stamp);
    if (record.is_own) starts.Take(record);
  }
  reader.CheckThatMessagesCame();
  starts.Finish();
  read.facts = reader.facts();
  read.notes = cli::NotesOf(reader, read.gaps);
  return read;
}

}  // namespace testing_support
