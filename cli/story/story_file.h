// Stories: a preface, a tablet, verbs, and under each verb the indented record of what happened; or, in place of
// records, expectations among the verbs.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct StoryVerb {
  int line = 0;                       ///< in the file, from 1
  std::vector<std::string> lead;      ///< empty lines and comments in front of it
  std::string text;                   ///< as written
  std::string word;                   ///< its first word
  std::string rest;                   ///< what follows, without blanks around it
  std::vector<std::string> recorded;  ///< the record, without its indentation
};

/// A verb without a record, of a line as written.
StoryVerb VerbOf(int line, const std::string& text);

/// "LINE:COLUMN" of a part of a verb, or of its word where `part` is empty or none of it.
std::string PlaceOf(const StoryVerb& verb, std::string_view part);

struct Story {
  std::filesystem::path file;
  std::vector<std::string> preface;  ///< three lines that begin with "# "
  std::vector<StoryVerb> verbs;

  /// There are expectations: only they, and the records that are there, are compared.
  bool is_partial() const;
};

/// Throws InputError (file, line) for what is not a story: another preface, an unknown verb, a record without a verb, a
/// first verb that is neither "tablet" nor "bundle", kLongestStory lines or more.
Story ReadStory(const std::filesystem::path& file);

/// The story as text again; reading it gives the same story.
std::string ToText(const Story& story);

/// Throws InputError when the story has become too long or the file cannot be written.
void WriteStory(const Story& story);

inline constexpr std::size_t kLongestStory = 120;
inline constexpr std::string_view kExpect = "expect";
inline constexpr std::string_view kMatrix = "matrix";

}  // namespace cli
