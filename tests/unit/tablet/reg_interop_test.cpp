// Registry text against a tool that is not ours: hivexregedit, which merges it into the hive files of Windows and
// exports it from them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/testing/tablet_fixture.h"

namespace {

namespace fs = std::filesystem;
using tablet::Registry;
using Bytes = std::vector<std::uint8_t>;

void PutNumber(std::string& out, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) out[at + i] = static_cast<char>(number >> (8 * i));
}

/// An empty hive file: a header, and one bin with the root key, its security descriptor and free space.
std::string EmptyHive() {
  constexpr std::size_t kPage = 4096;
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  std::string hive(2 * kPage, '\0');
  hive.replace(0, 4, "regf");
  PutNumber(hive, 4, 1);  // both sequence numbers: nothing is pending
  PutNumber(hive, 8, 1);
  PutNumber(hive, 0x14, 1);  // version 1.3
  PutNumber(hive, 0x18, 3);
  PutNumber(hive, 0x20, 1);
  PutNumber(hive, 0x24, 0x20);  // the root key
  PutNumber(hive, 0x28, kPage);
  PutNumber(hive, 0x2C, 1);

  std::size_t const bin = kPage;
  hive.replace(bin, 4, "hbin");
  PutNumber(hive, bin + 8, kPage);

  // Offsets within the bin; sizes of cells in use are negative.
  constexpr std::size_t kRoot = 0x20, kRootSize = 0x60, kSecurity = kRoot + kRootSize, kSecuritySize = 0x30;
  std::size_t at = bin + kRoot;
  PutNumber(hive, at, static_cast<std::uint32_t>(-static_cast<std::int32_t>(kRootSize)));
  hive.replace(at + 4, 2, "nk");
  hive[at + 6] = 0x2C;  // the root, its name in single bytes
  PutNumber(hive, at + 0x14, kNone);
  PutNumber(hive, at + 0x20, kNone);
  PutNumber(hive, at + 0x24, kNone);
  PutNumber(hive, at + 0x2C, kNone);
  PutNumber(hive, at + 0x30, kSecurity);
  PutNumber(hive, at + 0x34, kNone);
  hive[at + 0x4C] = 4;
  hive.replace(at + 0x50, 4, "ROOT");

  at = bin + kSecurity;
  PutNumber(hive, at, static_cast<std::uint32_t>(-static_cast<std::int32_t>(kSecuritySize)));
  hive.replace(at + 4, 2, "sk");
  PutNumber(hive, at + 8, kSecurity);
  PutNumber(hive, at + 12, kSecurity);
  PutNumber(hive, at + 16, 1);
  PutNumber(hive, at + 20, 20);
  hive[at + 24] = 1;

  constexpr std::size_t kFree = kSecurity + kSecuritySize;
  PutNumber(hive, bin + kFree, static_cast<std::uint32_t>(kPage - kFree));

  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < 0x1FC; i += 4) {
    std::uint32_t word = 0;
    for (std::size_t k = 4; k-- > 0;) word = word << 8 | static_cast<std::uint8_t>(hive[i + k]);
    sum ^= word;
  }
  PutNumber(hive, 0x1FC, sum);
  return hive;
}

class RegInteropTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v hivexregedit > /dev/null") != 0) {
      GTEST_SKIP() << "hivexregedit is missing (package libwin-hivex-perl)";
    }
    Write("hive", EmptyHive());
  }

  std::string In(const std::string& name) const { return (folder_.path() / name).string(); }
  void Write(const std::string& name, const std::string& text) const {
    fs::create_directories((folder_.path() / name).parent_path());
    std::ofstream(In(name), std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream in(In(name), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  /// Puts text into the hive, which is SYSTEM.
  void Merge(const std::string& text) {
    Write("in.reg", text);
    std::string const command = "PERL5OPT=-CSD hivexregedit --merge --prefix 'HKEY_LOCAL_MACHINE\\SYSTEM' '" +
                                In("hive") + "' '" + In("in.reg") + "' 2> '" + In("errors") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << Read("errors");
  }
  /// What the tool writes of the whole hive.
  std::string Export() {
    std::string const command = "hivexregedit --export --prefix 'HKEY_LOCAL_MACHINE\\SYSTEM' '" + In("hive") +
                                "' '\\' > '" + In("out.reg") + "' 2> '" + In("errors") + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << Read("errors");
    return Read("out.reg");
  }

  testing_support::ScratchFolder folder_;
};

TEST_F(RegInteropTest, WhatWeWriteComesBackFromAHiveByteForByte) {
  Registry registry;
  std::u16string const key = u"SYSTEM\\ControlSet001\\Services\\Vantord";
  registry.PutText(key, u"Text", u"C:\\with \"quotes\", \u00E9 and \uAC00");
  registry.PutText(key, u"Empty", u"");
  registry.PutText(key, u"", u"the default value");
  registry.PutDword(key, u"Number", 0x8000'0001);
  registry.Put(key, u"Bytes", {tablet::kTypeBinary, Bytes(200, 0xA5)});
  registry.Put(key, u"NoBytes", {tablet::kTypeBinary, {}});
  registry.Put(key, u"Several", {7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}});
  registry.Put(key, u"Expands", {tablet::kTypeExpandText, {'%', 0, 'a', 0, '%', 0, 0, 0}});
  registry.Put(key, u"Long", {11, {1, 2, 3, 4, 5, 6, 7, 8}});
  registry.Put(key, u"Unterminated", {tablet::kTypeText, {'x', 0}});
  registry.Put(key, u"OfNoType", {0, {1}});
  registry.MakeKey(key + u"\\Empty sub-key");

  Merge(tablet::WriteRegText(registry));
  std::string const exported = Export();
  Registry back;
  tablet::ReadRegText(exported, "out.reg", back);
  EXPECT_THAT(tablet::WriteRegText(back), testing::Eq(tablet::WriteRegText(registry))) << exported;
}

TEST_F(RegInteropTest, ChangesThatWeWriteRemoveWhatTheyNameFromAHive) {
  Registry before;
  before.PutDword(u"SYSTEM\\a", u"stays", 1);
  before.PutDword(u"SYSTEM\\a", u"goes", 2);
  before.PutDword(u"SYSTEM\\b\\c", u"goes", 3);
  Merge(tablet::WriteRegText(before));
  Registry after;
  after.PutDword(u"SYSTEM\\a", u"stays", 4);
  Merge(tablet::WriteRegChanges(Registry::Compare(before, after)));
  Registry back;
  tablet::ReadRegText(Export(), "out.reg", back);
  EXPECT_EQ(tablet::WriteRegText(back), tablet::WriteRegText(after));
}

TEST_F(RegInteropTest, TheExportOfAnOfflineHiveIsATabletsRegistry) {
  Registry hive;
  hive.PutDword(u"SYSTEM\\Select", u"Current", 2);
  hive.PutDword(u"SYSTEM\\Select", u"Default", 1);
  hive.PutText(u"SYSTEM\\ControlSet001\\Services\\Vantord", u"Version", u"older");
  hive.PutText(u"SYSTEM\\ControlSet002\\Services\\Vantord", u"Version", u"1.0.25.0");
  Merge(tablet::WriteRegText(hive));
  Write("tablet/registry/10-system.reg", Export());
  Registry registry;
  tablet::ReadRegistryFolder(folder_.path() / "tablet", registry);
  EXPECT_EQ(registry.GetText(u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"Version"), u"1.0.25.0");
}

}  // namespace
