// For messages about unknown words: the known word that was probably meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tablet {

/// The candidate that is fewest edits (insertions, deletions, replacements, swaps of neighbours) away from `word`,
/// without regard to case; the first of several. A candidate that holds the whole word counts as one edit away. Empty
/// without candidates.
std::string_view NearestOf(std::string_view word, std::span<const std::string_view> candidates);

/// "did you mean \"stop\"?"; empty where no candidate is within a third of the word's length.
std::string DidYouMean(std::string_view word, std::span<const std::string_view> candidates);

/// "did you mean \"stop\"? Known are: preshutdown, stop", or only what is known.
std::string SuggestOneOf(std::string_view word, std::span<const std::string_view> candidates);

}  // namespace tablet
