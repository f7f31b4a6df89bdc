// The larger parts of tablet.json, each read by a function of its own into the description. They throw InputError.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sim/tablet/base/json_section.h"
#include "sim/tablet/description/description.h"

namespace tablet {

inline constexpr std::int64_t kMostWord = UINT32_MAX;

/// A number of 32 bits; `without` where the key is missing.
inline std::uint32_t Word(const Section& section, std::string_view key, std::uint32_t without) {
  return static_cast<std::uint32_t>(section.Number(key, 0, kMostWord, without));
}

/// "partner", "radio" and "services".
void ReadServices(const Section& root, const std::string& file, Description& out);
/// "amss", "processes", "sessions", "setup" and "toast"; call after "modem" was read.
void ReadCrash(const Section& root, const std::string& file, Description& out);
/// "drive" and "privileges".
void ReadSurroundings(const Section& root, const std::string& file, Description& out);
/// "timeline", ordered by time.
void ReadTimeline(const Section& root, const std::string& file, Description& out);

}  // namespace tablet
