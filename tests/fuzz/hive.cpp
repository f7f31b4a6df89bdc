// The walk through a hive. The input is the cells, the first of them the root key: header and bin are made around it,
// so that every input gets past their checks.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "cli/import/hive_file.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/fuzz/harness.h"
#include "tests/testing/empty_hive.h"

using namespace fuzzing;

namespace {

constexpr std::size_t kPage = testing_support::kHiveHead, kBinHead = 32;

/// One bin with the cells and, behind them, one free cell.
std::string HiveOf(const std::uint8_t* data, std::size_t size) {
  std::size_t const cells = (size + 7) & ~std::size_t{7};
  std::size_t const bin = (kBinHead + cells + 8 + kPage - 1) / kPage * kPage;
  std::string hive = testing_support::EmptyHive().substr(0, kPage + kBinHead);
  hive.append(reinterpret_cast<const char*>(data), size);
  hive.resize(kPage + bin);
  testing_support::PutHiveNumber(hive, 0x28, static_cast<std::uint32_t>(bin));
  testing_support::PutHiveNumber(hive, kPage + 8, static_cast<std::uint32_t>(bin));
  testing_support::PutHiveNumber(hive, kPage + kBinHead + cells, static_cast<std::uint32_t>(bin - kBinHead - cells));
  testing_support::SealHive(hive);
  return hive;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static int const file = ::memfd_create("input", MFD_CLOEXEC);
  std::string const hive = HiveOf(data, size);
  Check(::ftruncate(file, 0) == 0 && ::pwrite(file, hive.data(), hive.size(), 0) == static_cast<ssize_t>(hive.size()),
        "the input can be written");
  tablet::Registry registry;
  try {
    cli::HiveFile const read("/proc/self/fd/" + std::to_string(file), {"fuzz", {}, false});
    static_cast<void>(read.SubKeys(u"a"));
    static_cast<void>(read.Dword(u"a\\b", u"c"));
    read.Copy(u"", u"SYSTEM", registry);
  } catch (const tablet::InputError& error) {
    Check(error.place().starts_with("fuzz"), "a refusal names the file");
    Check(!error.next().empty(), "a refusal names the next step");
    return 0;
  }
  std::string const text = tablet::WriteRegText(registry);
  tablet::Registry again;
  tablet::ReadRegText(text, "text", again);
  Check(tablet::WriteRegText(again) == text, "what was read can be written and read again");
  return 0;
}
