#include "cli/explain/reading/etl_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <tuple>

#include "cli/base/service_facts.h"
#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/system/message_origin.h"

namespace cli {

namespace {

constexpr std::size_t kBufferHeader = 0x48;
constexpr std::size_t kSmallestBuffer = 0x400;
constexpr std::size_t kLargestBuffer = 0x1000000;
constexpr std::uint16_t kHeaderBuffer = 4;
constexpr std::uint16_t kCompressed = 0x40;

// The first event, and the log's header in it.
constexpr std::size_t kEventHeader = 0x20;
constexpr std::size_t kLogHeader = kBufferHeader + kEventHeader;
constexpr std::size_t kEndOfLogHeader = kLogHeader + 0x118;
constexpr std::uint8_t kLogOf32Bit = 1;
constexpr std::uint8_t kLogOf64Bit = 2;
constexpr std::uint8_t kSystemEvent = 0xC0;
constexpr std::uint32_t kSystemTime = 2;

// An event of TraceMessage with a sequence number, a GUID, a time, a thread and a process.
constexpr std::uint8_t kMessageEvent = 0x90;
constexpr std::uint16_t kOwnFlags = 0x2B;
constexpr std::uint16_t kOwnNumber = 10;
constexpr std::size_t kMessageHeader = 8;
constexpr std::size_t kOwnItems = kMessageHeader + 4 + 16 + 8 + 8;
constexpr std::uint16_t kSequenceFlag = 1;
constexpr std::uint16_t kGuidFlag = 2;

// In units of 100 ns since 1601.
constexpr std::int64_t kYear1970 = 116'444'736'000'000'000;
constexpr std::int64_t kYear2200 = 189'026'784'000'000'000;

/// Sequence numbers that are kept for finding gaps.
constexpr std::size_t kMostNumbers = 8'000'000;

constexpr const char* kTextInstead = "give the text of \"tracefmt trace.etl -p FOLDER\"";

template <typename Number>
Number At(std::string_view bytes, std::size_t offset) {
  Number value{};
  if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

bool IsOwn(std::string_view guid) {
  static const std::array<tablet::Guid, 2> kOwn{*tablet::Guid::Parse(service_facts::kServiceMessages),
                                                *tablet::Guid::Parse(service_facts::kHelperMessages)};
  return std::ranges::any_of(kOwn, [&](const tablet::Guid& own) {
    return guid.size() == own.bytes.size() && std::memcmp(guid.data(), own.bytes.data(), guid.size()) == 0;
  });
}

/// Milliseconds since 1970 of a time in units of 100 ns since 1601.
std::int64_t Milliseconds(std::int64_t time) { return (time - kYear1970) / 10'000; }

/// As tracefmt writes it with -gmt.
std::string StampOf(std::int64_t milliseconds) {
  using namespace std::chrono;
  sys_time<std::chrono::milliseconds> const time{std::chrono::milliseconds(milliseconds)};
  auto const day = floor<days>(time);
  year_month_day const date(day);
  hh_mm_ss const clock(time - day);
  return fmt::format("{:02}/{:02}/{:04}-{:02}:{:02}:{:02}.{:03}", static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()), static_cast<int>(date.year()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

}  // namespace

bool EtlReader::Recognises(std::string_view beginning) {
  auto const buffer = At<std::uint32_t>(beginning, 0);
  auto const type = At<std::uint8_t>(beginning, kBufferHeader + 2);
  bool const log = type == kLogOf32Bit || type == kLogOf64Bit;
  return beginning.size() >= kEnough && buffer >= kSmallestBuffer && buffer <= kLargestBuffer &&
         At<std::uint16_t>(beginning, 0x36) == kHeaderBuffer && log &&
         At<std::uint8_t>(beginning, kBufferHeader + 3) == kSystemEvent;
}

EtlReader::EtlReader(const std::filesystem::path& file) : shown_(file.string()), in_(file, std::ios::binary) {
  std::string buffer(kEndOfLogHeader, '\0');
  in_.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  buffer.resize(static_cast<std::size_t>(in_.gcount()));
  ReadHeader(buffer);
  buffer.assign(buffer_size_, '\0');
  std::uint64_t const size = std::filesystem::file_size(file);
  for (std::uint64_t offset = 0; offset < size; offset += buffer_size_) {
    if (size - offset < buffer_size_) {
      ends_early_ = true;
      break;
    }
    in_.clear();
    in_.seekg(static_cast<std::streamoff>(offset));
    in_.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (in_.gcount() != static_cast<std::streamsize>(buffer.size())) Refuse(offset, "the buffer there cannot be read");
    Scan(buffer, offset);
  }
  // Each processor has buffers of its own.
  std::ranges::sort(places_, [](const Place& a, const Place& b) {
    return std::tie(a.time, a.sequence, a.offset) < std::tie(b.time, b.sequence, b.offset);
  });
  std::ranges::sort(sequences_);
}

void EtlReader::Refuse(std::uint64_t offset, const std::string& problem) const {
  throw tablet::InputError(fmt::format("{}: offset {:#x}", shown_, offset), problem, kTextInstead);
}

void EtlReader::ReadHeader(std::string_view buffer) {
  if (buffer.size() < kEndOfLogHeader) Refuse(buffer.size(), "the log ends within its header");
  buffer_size_ = At<std::uint32_t>(buffer, 0);
  if (At<std::uint8_t>(buffer, kBufferHeader + 2) == kLogOf32Bit || At<std::uint32_t>(buffer, kLogHeader + 0x2C) != 8) {
    Refuse(kLogHeader + 0x2C, "the log was written by 32-bit Windows, whose layout is not read");
  }
  if (At<std::uint32_t>(buffer, kLogHeader) != buffer_size_)
    Refuse(kLogHeader, "the log names two sizes of its buffers");
  auto const clock = At<std::uint32_t>(buffer, kLogHeader + 0x110);
  if (clock != kSystemTime) {
    std::string const name = clock == 1   ? "the performance counter"
                             : clock == 3 ? "the processor's cycles"
                                          : fmt::format("number {}", clock);
    throw tablet::InputError(shown_, fmt::format("its clock is {}, whose times are not read", name),
                             fmt::format("{}, or trace with the system's time (logman -ct system)", kTextInstead));
  }
  lost_events_ = At<std::uint32_t>(buffer, kLogHeader + 0x30);
}

void EtlReader::Scan(std::string_view buffer, std::uint64_t offset) {
  if (At<std::uint32_t>(buffer, 0) != buffer_size_) Refuse(offset, "a buffer of another size begins there");
  if ((At<std::uint16_t>(buffer, 0x34) & kCompressed) != 0) Refuse(offset + 0x34, "the buffer there is compressed");
  auto const valid = At<std::uint32_t>(buffer, 4);
  if (valid < kBufferHeader || valid > buffer.size()) Refuse(offset + 4, "the buffer there is filled beyond its end");
  for (std::size_t at = kBufferHeader; at < valid;) {
    std::size_t const size = SizeOfEvent(buffer, at, valid, offset);
    std::string_view const event = buffer.substr(at, size);
    if (At<std::uint8_t>(event, 3) == kMessageEvent) {
      TakeMessage(event, offset + at);
    } else if (at != kBufferHeader || offset != 0) {
      ++others_;
    }
    at += (size + 7) & ~std::size_t{7};
  }
}

std::size_t EtlReader::SizeOfEvent(std::string_view buffer, std::size_t at, std::size_t valid,
                                   std::uint64_t offset) const {
  auto const type = At<std::uint8_t>(buffer, at + 2);
  auto const marker = At<std::uint8_t>(buffer, at + 3);
  // Events of the system have a version where others have their size.
  bool const system = marker == kSystemEvent && ((type >= 1 && type <= 4) || type == 0x10 || type == 0x11);
  std::size_t const size = At<std::uint16_t>(buffer, at + (system ? 4 : 0));
  if (size < kMessageHeader || size > valid - at) Refuse(offset + at, "no event of a known layout is there");
  return size;
}

void EtlReader::TakeMessage(std::string_view event, std::uint64_t offset) {
  auto const flags = At<std::uint16_t>(event, 6);
  bool const numbered = (flags & kSequenceFlag) != 0;
  if (numbered && sequences_.size() < kMostNumbers) sequences_.push_back(At<std::uint32_t>(event, kMessageHeader));
  std::size_t const guid = kMessageHeader + (numbered ? 4 : 0);
  bool const own = (flags & kGuidFlag) != 0 && event.size() >= guid + 16 && IsOwn(event.substr(guid, 16));
  if (!own) {
    ++others_;
    return;
  }
  if (flags != kOwnFlags || At<std::uint16_t>(event, 4) != kOwnNumber) {
    Refuse(offset,
           fmt::format("a message of the service has number {} and flags {:#x}, not {} and {:#x}: it is not known",
                       At<std::uint16_t>(event, 4), flags, kOwnNumber, kOwnFlags));
  }
  if (event.size() < kOwnItems + 2 || event.size() % 2 != 0 || At<std::uint16_t>(event, event.size() - 2) != 0) {
    Refuse(offset, "a message of the service does not end with its text");
  }
  if (places_.size() == kMost) Refuse(offset, fmt::format("the log has more than {} messages of the service", kMost));
  auto const time = At<std::int64_t>(event, kMessageHeader + 20);
  if (time < kYear1970 || time > kYear2200) Refuse(offset, "a message of the service has an impossible time");
  places_.push_back({time, At<std::uint32_t>(event, kMessageHeader), static_cast<std::uint16_t>(event.size()), offset});
}

bool EtlReader::Next(TraceRecord& record) {
  if (next_ == places_.size()) return false;
  const Place& place = places_[next_++];
  std::string event(place.size, '\0');
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(place.offset));
  in_.read(event.data(), static_cast<std::streamsize>(event.size()));
  if (in_.gcount() != static_cast<std::streamsize>(event.size())) Refuse(place.offset, "has changed while it was read");
  record = {};
  record.line = next_;
  record.at = Milliseconds(place.time);
  record.stamp = StampOf(*record.at);
  record.thread = fmt::format("{:04X}", At<std::uint32_t>(event, kOwnItems - 8));
  record.process = At<std::uint32_t>(event, kOwnItems - 4);
  std::u16string text((event.size() - kOwnItems) / 2 - 1, u'\0');
  std::memcpy(text.data(), event.data() + kOwnItems, text.size() * 2);
  tablet::TraceEvent message;
  message.text = tablet::ToUtf8(text.substr(0, text.find(u'\0')));
  tablet::ReadOrigin(message);
  record.is_own = true;
  record.what = std::move(message);
  return true;
}

}  // namespace cli
