#include "tests/fuzz/harness.h"

#include <cstdio>
#include <cstdlib>

namespace fuzzing {

namespace {

std::filesystem::path MakeFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vantord-fuzz-XXXXXX").string();
  Check(::mkdtemp(pattern.data()) != nullptr, "the folder for temporary files can be written");
  return pattern;
}

tablet::Description PlainDescription() {
  tablet::Description description;
  description.power_on = tablet::kUnixEpoch + 1'772'438'400ULL * tablet::kTicksPerSecond;
  return description;
}

}  // namespace

void Check(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", promise);
  std::abort();
}

FuzzTablet::FuzzTablet(std::uint64_t call_limit)
    : folder_(MakeFolder()),
      machine_(std::make_unique<tablet::Tablet>(PlainDescription(), folder_,
                                                tablet::Scheduler::Options{.call_limit = call_limit})) {}

FuzzTablet::~FuzzTablet() {
  machine_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void NeedTablet() {
  // Nobody looks at its drive, and libFuzzer does not always end by returning: the folder goes at once.
  static std::unique_ptr<tablet::Tablet> const machine = [] {
    std::filesystem::path const folder = MakeFolder();
    auto made = std::make_unique<tablet::Tablet>(PlainDescription(), folder,
                                                 tablet::Scheduler::Options{.call_limit = UINT64_MAX});
    std::filesystem::remove_all(folder);
    return made;
  }();
}

}  // namespace fuzzing
