#include "tests/fuzz/harness.h"

#include <cstdio>
#include <cstdlib>

namespace fuzzing {

namespace {

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
    : machine_(PlainDescription(), folder_.path(), tablet::Scheduler::Options{.call_limit = call_limit}) {}

void NeedTablet() {
  // The folder is removed at once: the drive is not used, and libFuzzer does not always end by returning.
  static tablet::Tablet machine(PlainDescription(), testing_support::ScratchFolder().path(),
                                tablet::Scheduler::Options{.call_limit = UINT64_MAX});
}

}  // namespace fuzzing
