// What a start of the service found and did to its firmware, by its messages alone.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/boot/findings.h"
#include "sim/tablet/kernel/journal.h"

namespace cli {

class MessageFindings {
 public:
  /// Each message of the start in order.
  void Take(const tablet::TraceEvent& message);

  const Findings& findings() const { return findings_; }

 private:
  void TakeLookUp(std::string_view function, int number, std::string_view text);
  void TakeChoice(std::string_view function, int number, std::string_view text);
  void TakeFirmware(std::string_view text);
  void TakeArchive(std::string_view function, int number, std::string_view text);
  void TakeEntry(std::string_view status);
  void EndOfExtraction();
  void NoteRegistry(std::string key, std::string_view name, std::optional<std::string> found);
  void NoteDriver(std::optional<std::string> found);
  void Settle();

  Findings findings_;
  bool in_worker_ = false;            ///< the start-up work began in this trace
  bool asked_for_request_ = false;    ///< whether the value Distribute is missing has been seen
  std::vector<std::string> drivers_;  ///< subkeys of the modem's class, in the order of the service
  std::size_t next_driver_ = 0;
  bool drivers_done_ = false;
  std::string missing_;          ///< the text of the registry that was missing last
  std::size_t extractions_ = 0;  ///< that have begun
  bool named_ = false;           ///< the archive of the extraction that is on has been named
  bool file_open_ = false;       ///< its file could be opened
  std::string entry_path_;
};

/// The text between two parts of a message; nullopt unless both are there. An empty `end` is the end of the text.
std::optional<std::string> Between(std::string_view text, std::string_view start, std::string_view end);

}  // namespace cli
