// The search for extended timestamps in a local extra field.
#include <windows.h>

#include <string_view>

#include "tests/fuzz/harness.h"
#include "vantord/unzip/entry_facts.h"

using namespace fuzzing;

namespace {

constexpr std::size_t kLongest = 65535;

bool Same(const FILETIME& left, const FILETIME& right) {
  return left.dwLowDateTime == right.dwLowDateTime && left.dwHighDateTime == right.dwHighDateTime;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  FILETIME const before[3] = {{1, 0}, {2, 0}, {3, 0}};
  FILETIME write = before[0];
  FILETIME access = before[1];
  FILETIME creation = before[2];
  ReadExtendedTimestamps(data, static_cast<std::uint32_t>(size), write, access, creation);

  bool const any = !Same(write, before[0]) || !Same(access, before[1]) || !Same(creation, before[2]);
  std::string_view const text(reinterpret_cast<const char*>(data), size);
  // Tag, size, flags and one value at least.
  Check(!any || (size >= 9 && text.find("UT") <= size - 9), "times come from a block that holds one");
  // 1901 to 2038, the range of signed 32-bit seconds.
  for (FILETIME const& time : {write, access, creation}) {
    Check(time.dwHighDateTime == 0 || (time.dwHighDateTime >= 0x0151669E && time.dwHighDateTime <= 0x01E9FD1E),
          "times are in the range of 32-bit seconds");
  }
  return 0;
}
