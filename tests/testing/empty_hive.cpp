#include "tests/testing/empty_hive.h"

namespace testing_support {

void PutHiveNumber(std::string& hive, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) hive[at + i] = static_cast<char>(number >> (8 * i));
}

void SealHive(std::string& hive) {
  constexpr std::size_t kChecksum = 0x1FC;
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < kChecksum; i += 4) {
    std::uint32_t word = 0;
    for (std::size_t k = 4; k-- > 0;) word = word << 8 | static_cast<std::uint8_t>(hive[i + k]);
    sum ^= word;
  }
  PutHiveNumber(hive, kChecksum, sum);
}

std::string EmptyHive() {
  constexpr std::size_t kPage = kHiveHead;
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  std::string hive(2 * kPage, '\0');
  hive.replace(0, 4, "regf");
  PutHiveNumber(hive, 4, 1);  // both sequence numbers: nothing is pending
  PutHiveNumber(hive, 8, 1);
  PutHiveNumber(hive, 0x14, 1);  // version 1.3
  PutHiveNumber(hive, 0x18, 3);
  PutHiveNumber(hive, 0x20, 1);
  PutHiveNumber(hive, 0x24, 0x20);  // the root key
  PutHiveNumber(hive, 0x28, kPage);
  PutHiveNumber(hive, 0x2C, 1);

  std::size_t const bin = kPage;
  hive.replace(bin, 4, "hbin");
  PutHiveNumber(hive, bin + 8, kPage);

  // Offsets within the bin; sizes of cells in use are negative.
  constexpr std::size_t kRoot = 0x20, kRootSize = 0x60, kSecurity = kRoot + kRootSize, kSecuritySize = 0x30;
  std::size_t at = bin + kRoot;
  PutHiveNumber(hive, at, static_cast<std::uint32_t>(-static_cast<std::int32_t>(kRootSize)));
  hive.replace(at + 4, 2, "nk");
  hive[at + 6] = 0x2C;  // the root, its name in single bytes
  PutHiveNumber(hive, at + 0x14, kNone);
  PutHiveNumber(hive, at + 0x20, kNone);
  PutHiveNumber(hive, at + 0x24, kNone);
  PutHiveNumber(hive, at + 0x2C, kNone);
  PutHiveNumber(hive, at + 0x30, kSecurity);
  PutHiveNumber(hive, at + 0x34, kNone);
  hive[at + 0x4C] = 4;
  hive.replace(at + 0x50, 4, "ROOT");

  at = bin + kSecurity;
  PutHiveNumber(hive, at, static_cast<std::uint32_t>(-static_cast<std::int32_t>(kSecuritySize)));
  hive.replace(at + 4, 2, "sk");
  PutHiveNumber(hive, at + 8, kSecurity);
  PutHiveNumber(hive, at + 12, kSecurity);
  PutHiveNumber(hive, at + 16, 1);
  PutHiveNumber(hive, at + 20, 20);
  hive[at + 24] = 1;

  constexpr std::size_t kFree = kSecurity + kSecuritySize;
  PutHiveNumber(hive, bin + kFree, static_cast<std::uint32_t>(kPage - kFree));

  SealHive(hive);
  return hive;
}

}  // namespace testing_support
