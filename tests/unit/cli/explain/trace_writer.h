// Writes the events of a run as traces of a real tablet look, and reads traces back within the test's process.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/explain/reading/sequence_gaps.h"
#include "cli/explain/reading/trace_reader.h"

namespace testing_support {

/// How tracefmt was called.
struct TraceStyle {
  bool numbered = false;  ///< -seq
  bool hires = false;     ///< -hires
  bool bare = false;      ///< -noprefix
  bool own = false;       ///< with a prefix of one's own: OwnPrefix
  std::uint32_t process = 0x338;
  std::uint64_t first_number = 1;
  std::int64_t power_on = 1'749'565'543'968;  ///< 06/10/2025-14:25:43.968, in milliseconds since 1970
  std::string provider = "Vantord";
};

/// The value of TRACE_FORMAT_PREFIX that `own` stands for.
std::string OwnPrefix();

/// The messages among the events of a run, with Windows' ends of lines.
std::string TraceText(const std::vector<nlohmann::json>& events, const TraceStyle& style);
/// One line of such a text.
std::string TraceLine(const TraceStyle& style, std::int64_t milliseconds, std::uint32_t thread, std::uint64_t number,
                      const std::string& text);
/// How a trace log is written; what is not as usual is for refusals.
struct LogStyle {
  std::uint32_t process = 0x338;
  std::int64_t power_on = 1'749'565'543'968;
  std::uint32_t buffer_size = 4096;
  std::uint32_t clock = 2;
  std::uint32_t lost = 0;
  std::uint8_t header_type = 2;    ///< 1: of 32-bit Windows
  std::uint16_t buffer_flags = 0;  ///< of every buffer but the first
  std::uint16_t message_number = 10;
  std::uint16_t message_flags = 0x2B;
};
/// The messages among the events of a run as an event trace log of two processors, with events of others between them.
std::string LogBytes(const std::vector<nlohmann::json>& events, const LogStyle& style);

/// UTF-16LE with its mark.
std::string AsUtf16(const std::string& text);

/// A trace as it was read: the starts as --json has them.
struct ReadTrace {
  std::vector<nlohmann::json> starts;
  cli::TraceFacts facts;
  cli::SequenceGaps gaps;
  std::vector<std::string> notes;
  std::uint64_t events = 0;
};
/// Throws what the reader throws.
ReadTrace ReadBack(const std::filesystem::path& file, const std::optional<std::string>& prefix = std::nullopt);

}  // namespace testing_support
