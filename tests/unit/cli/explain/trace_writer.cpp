#include "tests/unit/cli/explain/trace_writer.h"

#include <fmt/format.h>

#include <chrono>
#include <functional>
#include <map>

#include "cli/explain/explain_output.h"
#include "cli/explain/start_splitter.h"
#include "sim/tablet/base/guid.h"
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

namespace {

void Put(std::string& bytes, std::size_t at, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
}

void Append(std::string& bytes, std::uint64_t value, std::size_t size) {
  bytes.resize(bytes.size() + size);
  Put(bytes, bytes.size() - size, value, size);
}

std::string LogMessage(const LogStyle& style, const json& event, std::uint32_t number) {
  auto const guid = *tablet::Guid::Parse(event["guid"].get<std::string>());
  std::string bytes(8, '\0');
  Append(bytes, number, 4);
  bytes.append(reinterpret_cast<const char*>(guid.bytes.data()), guid.bytes.size());
  std::int64_t const milliseconds = style.power_on + event["time_ms"].get<std::int64_t>();
  Append(bytes, static_cast<std::uint64_t>(milliseconds * 10'000 + 116'444'736'000'000'000), 8);
  Append(bytes, 0x1000 + std::hash<std::string>{}(event["thread"]) % 0x800, 4);
  Append(bytes, style.process, 4);
  for (char16_t const unit : tablet::ToUtf16(event["text"].get<std::string>())) Append(bytes, unit, 2);
  Append(bytes, 0, 2);
  Put(bytes, 0, bytes.size(), 2);
  bytes[3] = static_cast<char>(0x90);
  Put(bytes, 4, style.message_number, 2);
  Put(bytes, 6, style.message_flags, 2);
  return bytes;
}

/// The buffers of one processor.
struct LogBuffers {
  const LogStyle& style;
  std::vector<std::string> buffers{};

  void Begin(std::uint16_t type) {
    std::string buffer(0x48, '\0');
    Put(buffer, 0, style.buffer_size, 4);
    buffer[0x29] = 8;
    Put(buffer, 0x34, buffers.empty() && type == 4 ? 0 : style.buffer_flags, 2);
    Put(buffer, 0x36, type, 2);
    buffers.push_back(std::move(buffer));
  }
  void Add(std::string event) {
    event.resize((event.size() + 7) & ~std::size_t{7});
    if (buffers.empty() || buffers.back().size() + event.size() > style.buffer_size) Begin(0);
    buffers.back() += event;
  }
  std::string Bytes() {
    std::string all;
    for (std::string& buffer : buffers) {
      Put(buffer, 4, buffer.size(), 4);
      Put(buffer, 0x30, buffer.size(), 4);
      buffer.resize(style.buffer_size, '\xFF');
      all += buffer;
    }
    return all;
  }
};

/// The header of the log as its first event.
std::string LogHeader(const LogStyle& style) {
  std::string bytes(0x20 + 0x118, '\0');
  Put(bytes, 0, 2, 2);
  bytes[2] = static_cast<char>(style.header_type);
  bytes[3] = static_cast<char>(0xC0);
  Put(bytes, 0x20, style.buffer_size, 4);
  Put(bytes, 0x20 + 0x2C, style.header_type == 2 ? 8 : 4, 4);
  Put(bytes, 0x20 + 0x30, style.lost, 4);
  Put(bytes, 0x20 + 0x110, style.clock, 4);
  for (const char* const name : {"Vantord", "C:\\trace\\vantord.etl"}) {
    for (char const c : std::string(name)) Append(bytes, static_cast<unsigned char>(c), 2);
    Append(bytes, 0, 2);
  }
  Put(bytes, 4, bytes.size(), 2);
  return bytes;
}

}  // namespace

std::string LogBytes(const std::vector<json>& events, const LogStyle& style) {
  LogBuffers first{style};
  LogBuffers second{style};
  first.Begin(4);
  first.Add(LogHeader(style));
  LogStyle others;
  others.message_number = 77;
  json other = events.front();
  other["kind"] = "trace";
  other["guid"] = "{00000000-1111-2222-3333-444444444444}";
  std::uint32_t number = 0;
  for (const json& event : events) {
    if (event["kind"] != "trace") continue;
    other["text"] = event["text"];
    other["time_ms"] = event["time_ms"];
    ++number;
    (number % 3 == 0 ? second : first).Add(LogMessage(style, event, number));
    if (number % 10 != 0) continue;
    ++number;
    second.Add(LogMessage(others, other, number));
  }
  return first.Bytes() + second.Bytes();
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
    if (record.is_own) starts.Take(record);
  }
  reader.CheckThatMessagesCame();
  starts.Finish();
  read.facts = reader.facts();
  read.gaps = reader.gaps();
  read.notes = cli::NotesOf(reader);
  return read;
}

}  // namespace testing_support
