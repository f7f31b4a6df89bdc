// The reader of tablet.json: any input is read, or refused with a message that names the place.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/description/description.h"
#include "tests/fuzz/harness.h"

using namespace fuzzing;

namespace {

/// An anonymous file in memory.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor_(::memfd_create("tablet.json", MFD_CLOEXEC)) {
    Check(descriptor_ >= 0 && ::write(descriptor_, data, size) == static_cast<ssize_t>(size), "the host has memory");
  }
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

void CheckDescription(const tablet::Description& description) {
  Check(description.power_on >= tablet::kUnixEpoch, "the clock starts after 1970");
  Check(!description.modem_present || !description.modem_links.empty(), "a present modem has a link");
  tablet::Millis last{0};
  for (const tablet::TimelineEvent& event : description.timeline) {
    Check(event.at >= last, "the timeline is in order of time");
    last = event.at;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  MemoryFile const file(data, size);
  try {
    CheckDescription(tablet::ReadDescription(file.path()));
  } catch (const tablet::InputError& error) {
    Check(std::string_view(error.what()).starts_with(file.path()), "a refusal names the file");
    Check(!error.next().empty(), "a refusal names the next step");
  }
  return 0;
}
