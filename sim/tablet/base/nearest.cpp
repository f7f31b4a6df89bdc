#include "sim/tablet/base/nearest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <vector>

namespace tablet {

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool Contains(std::string_view whole, std::string_view part) {
  return std::search(whole.begin(), whole.end(), part.begin(), part.end(),
                     [](char a, char b) { return Lower(a) == Lower(b); }) != whole.end();
}

std::size_t Distance(std::string_view from, std::string_view to) {
  // Half a word is meant for the whole one, however much is missing.
  constexpr std::size_t kHalfAWord = 3;
  if (from.size() >= kHalfAWord && from.size() < to.size() && Contains(to, from)) return 1;
  // cost[i][j]: edits that turn the first i characters of `from` into the first j of `to`.
  std::vector<std::vector<std::size_t>> cost(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      if (i == 0 || j == 0) {
        cost[i][j] = i + j;
        continue;
      }
      bool const same = Lower(from[i - 1]) == Lower(to[j - 1]);
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (same ? 0 : 1)});
      bool const swapped =
          i > 1 && j > 1 && Lower(from[i - 1]) == Lower(to[j - 2]) && Lower(from[i - 2]) == Lower(to[j - 1]);
      if (swapped) cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
    }
  }
  return cost[from.size()][to.size()];
}

}  // namespace

std::string_view NearestOf(std::string_view word, std::span<const std::string_view> candidates) {
  auto const nearest =
      std::min_element(candidates.begin(), candidates.end(),
                       [&](std::string_view a, std::string_view b) { return Distance(word, a) < Distance(word, b); });
  return nearest == candidates.end() ? std::string_view{} : *nearest;
}

std::string DidYouMean(std::string_view word, std::span<const std::string_view> candidates) {
  std::string_view const nearest = NearestOf(word, candidates);
  bool const near = !nearest.empty() && Distance(word, nearest) * 3 <= word.size();
  return near ? fmt::format("did you mean \"{}\"?", nearest) : std::string();
}

std::string SuggestOneOf(std::string_view word, std::span<const std::string_view> candidates) {
  std::string const meant = DidYouMean(word, candidates);
  return fmt::format("{}nown are: {}", meant.empty() ? "k" : meant + " K", fmt::join(candidates, ", "));
}

}  // namespace tablet
