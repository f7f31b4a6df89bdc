// The service's messages of an event trace log (.etl), as far as its layout is certain: uncompressed, written by 64-bit
// Windows with times of the system clock. Anything else is refused by name: tracefmt reads it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/explain/reading/trace_record.h"

namespace cli {

class EtlReader {
 public:
  /// Messages of the service that are read; a log of more is refused.
  static constexpr std::size_t kMost = 2'000'000;

  /// Whether a file that begins so is an event trace log; at least kEnough bytes, or the whole file.
  static bool Recognises(std::string_view beginning);
  static constexpr std::size_t kEnough = 0x68;

  /// Walks through the whole file. Throws InputError.
  explicit EtlReader(const std::filesystem::path& file);

  /// The service's messages by time and, where that is the same, by sequence number; false after the last one. Throws
  /// InputError.
  bool Next(TraceRecord& record);

  /// Events that are not the service's messages.
  std::uint64_t others() const { return others_; }
  /// Messages that the session could not record, as the log counts them.
  std::uint64_t lost_events() const { return lost_events_; }
  /// Of all messages that have one, in ascending order.
  const std::vector<std::uint32_t>& sequences() const { return sequences_; }
  /// Whether the file ends within a buffer.
  bool ends_early() const { return ends_early_; }

 private:
  /// A message of the service in the file.
  struct Place {
    std::int64_t time = 0;  ///< 100 ns since 1601
    std::uint32_t sequence = 0;
    std::uint16_t size = 0;
    std::uint64_t offset = 0;
  };

  void ReadHeader(std::string_view buffer);
  void Scan(std::string_view buffer, std::uint64_t offset);
  std::size_t SizeOfEvent(std::string_view buffer, std::size_t at, std::size_t valid, std::uint64_t offset) const;
  void TakeMessage(std::string_view event, std::uint64_t offset);
  [[noreturn]] void Refuse(std::uint64_t offset, const std::string& problem) const;

  std::string shown_;
  std::ifstream in_;
  std::uint64_t buffer_size_ = 0;
  std::vector<Place> places_;
  std::vector<std::uint32_t> sequences_;
  std::size_t next_ = 0;
  std::uint64_t others_ = 0;
  std::uint64_t lost_events_ = 0;
  bool ends_early_ = false;
};

}  // namespace cli
