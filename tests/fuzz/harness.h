// What the harnesses share. Each is one source with LLVMFuzzerTestOneInput: libFuzzer calls it in the build `fuzz`,
// replay.cpp with the checked-in corpora in every other build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/tablet/machine/tablet.h"
#include "tests/testing/scratch_folder.h"

/// One execution. Returns 0; a finding ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

using Bytes = std::vector<std::uint8_t>;

/// Reports a finding unless `holds`: prints the broken promise and aborts, so that libFuzzer keeps the input.
void Check(bool holds, const char* promise);

/// A tablet with an empty drive C: in a temporary folder. Its clock never moves; more than `call_limit` calls of the
/// Windows API are a finding.
class FuzzTablet {
 public:
  explicit FuzzTablet(std::uint64_t call_limit);
  tablet::Tablet& machine() { return machine_; }

 private:
  testing_support::ScratchFolder folder_;
  tablet::Tablet machine_;
};

/// One tablet for the whole process, for code that needs it for its log lines only.
void NeedTablet();

}  // namespace fuzzing
