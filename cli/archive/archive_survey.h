// The contents of an archive, read with the service's own zip reader; and what its end record says.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace cli {

/// One entry that the reader came to.
struct SurveyedEntry {
  std::string raw_name;   ///< the bytes as stored
  bool header_ok = true;  ///< its central header parsed
  bool folder = false;
  std::string name;             ///< cleaned, UTF-8; empty where the entry cannot be described
  std::uint32_t described = 0;  ///< the code of describing it, 0 for success
  std::uint32_t method = 0;
  std::uint32_t attributes = 0;  ///< FILE_ATTRIBUTE_* bits
  std::uint64_t bytes = 0;       ///< unpacked, as declared
  std::uint64_t packed_bytes = 0;
  std::uint32_t crc = 0;  ///< as declared
  bool encrypted = false;
  bool has_utf8_flag = false;
  std::uint64_t delivered = 0;  ///< bytes that came out
  bool read_to_end = false;     ///< the reader reported the entry's end
  bool crc_differs = false;     ///< read completely, and its CRC-32 is not the declared one
};

struct Survey {
  bool opened = false;
  std::uint32_t claimed = 0;  ///< entries, as the end record has it
  std::vector<SurveyedEntry> entries;
  /// The service never comes past the last of these: its central header does not parse, and more entries are claimed.
  bool hangs = false;
};

/// Reads an archive of the current tablet. Call it on a simulated thread. Without data nothing is unpacked: what came
/// out of entries stays as it is in a new SurveyedEntry.
Survey ReadSurvey(const std::string& path, bool with_data = true);

/// The end record of an archive in a file of the host.
struct EndRecord {
  bool zip64 = false;         ///< there is a Zip64 end record too, or one of the marks that refer to it
  bool out_of_reach = false;  ///< it would begin at 2 GiB or more, where the service's signed offsets do not reach
  bool opens_empty = false;   ///< which the service does not notice: it opens the archive and finds no entries
  bool cut_off = false;       ///< bytes of it, or of its comment, are missing, which the service need not notice
  std::string trouble;        ///< why the service finds no archive if it finds none, half a sentence
};

EndRecord ReadEndRecord(const std::filesystem::path& file);

}  // namespace cli
