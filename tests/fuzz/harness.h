// What the harnesses share. Each is one source with LLVMFuzzerTestOneInput: libFuzzer drives it in the build `fuzz`,
// replay.cpp with the checked-in corpora in every other one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "sim/tablet/machine/tablet.h"

/// One execution over `size` bytes. Answers 0; a finding ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

using Bytes = std::vector<std::uint8_t>;

/// A finding: prints the promise that does not hold and aborts, so that the input is kept.
void Check(bool holds, const char* promise);

/// A tablet with an empty drive C:, in a folder of its own that goes with it. Its clock never moves: `call_limit` is
/// the number of calls of the Windows API that an execution may make, and making more of them is a finding.
class FuzzTablet {
 public:
  explicit FuzzTablet(std::uint64_t call_limit);
  ~FuzzTablet();
  FuzzTablet(const FuzzTablet&) = delete;
  FuzzTablet& operator=(const FuzzTablet&) = delete;
  tablet::Tablet& machine() { return *machine_; }

 private:
  std::filesystem::path folder_;
  std::unique_ptr<tablet::Tablet> machine_;
};

/// For code that needs a tablet for its log lines only: one for the whole process, without a folder.
void NeedTablet();

}  // namespace fuzzing
