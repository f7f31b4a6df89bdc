// Removes from texts what identifies a person or a machine.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kit {

class Redaction {
 public:
  /// From now on `secret`, in either letter case and as a whole word, becomes `replacement`. Texts of fewer than two
  /// characters are ignored. UTF-8.
  void Hide(std::string secret, std::string replacement);
  /// Also removes security identifiers of accounts, S-1-5-21-..., whoever they belong to.
  std::string Redacted(std::string_view text) const;

 private:
  std::vector<std::pair<std::string, std::string>> secrets_;  ///< longest first
};

}  // namespace kit
