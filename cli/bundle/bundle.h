// A bundle: a run that someone else can repeat, as one zip file.
//
//   manifest.json   schema, who made it, how the run was started and ended, times of the drive's files
//   tablet/         the tablet as it was before the run, a folder as docs/tablet.md describes it
//   events.jsonl    every event of the run, calls included
//   summary.json    what `run --json` printed
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace cli {

inline constexpr const char* kManifestFile = "manifest.json";
inline constexpr const char* kEventsFile = "events.jsonl";
inline constexpr const char* kSummaryFile = "summary.json";
inline constexpr const char* kTabletFolder = "tablet";

/// Copies what makes a tablet, and nothing else of its folder, to `to`, which must not exist. Attributes and creation
/// times are all in attributes.txt then, whatever the host's file systems can keep. Throws InputError.
void StageTablet(const std::filesystem::path& from, const std::filesystem::path& to);

/// The times of writing of the drive's files and folders: [["C/Windows", nanoseconds since 1970], ...].
nlohmann::ordered_json DriveTimes(const std::filesystem::path& tablet);
/// Gives the drive's files these times. Throws InputError for what is not of that form.
void SetDriveTimes(const std::filesystem::path& tablet, const nlohmann::json& times);

/// Packs a folder. The same content gives the same bytes: names in order, no times, no rights. Throws InputError.
void PackBundle(const std::filesystem::path& folder, const std::filesystem::path& bundle);
/// Unpacks a bundle into `folder`, an existing empty one. Throws InputError for what is not a bundle and for names that
/// lead out of the folder.
void UnpackBundle(const std::filesystem::path& bundle, const std::filesystem::path& folder);

/// Reads a whole file. Throws InputError.
std::string ReadTextFile(const std::filesystem::path& file);
/// A text's lines, without their ends.
std::vector<std::string> Lines(const std::string& text);

}  // namespace cli
