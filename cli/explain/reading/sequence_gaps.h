// Lost messages of a trace, by the sequence numbers of those that are there.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// Numbers that are missing, with the record before them.
struct SequenceGap {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t after_line = 0;  ///< of the file
  std::string stamp;             ///< of the record before it; may be empty

  std::uint64_t count() const { return last - first + 1; }
};

class SequenceGaps {
 public:
  /// Gaps that are kept; those after them are counted.
  static constexpr std::size_t kMost = 1000;

  /// The number of each record in the order of the file. Records may be out of order; a number of 0 is none, and a
  /// session that begins anew begins with 1.
  void Take(std::uint64_t number, std::uint64_t line, const std::string& stamp);

  /// Session by session, by their first number.
  std::vector<SequenceGap> All() const;
  /// Of all gaps, also of those that were not kept.
  std::uint64_t lost() const { return lost_; }

 private:
  void Fill(std::uint64_t number);

  std::vector<SequenceGap> earlier_;           ///< of sessions before this one
  std::map<std::uint64_t, SequenceGap> gaps_;  ///< by their first number
  std::optional<std::uint64_t> highest_;
  std::uint64_t line_ = 0;
  std::string stamp_;
  std::uint64_t lost_ = 0;
};

}  // namespace cli
