// Registry text against a tool that is not ours: hivexregedit, which merges it into the hive files of Windows and
// exports it from them.

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/testing/empty_hive.h"
#include "tests/testing/tablet_fixture.h"

namespace {

namespace fs = std::filesystem;
using tablet::Registry;
using Bytes = std::vector<std::uint8_t>;

class RegInteropTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v hivexregedit > /dev/null") != 0) {
      GTEST_SKIP() << "hivexregedit is missing (package libwin-hivex-perl)";
    }
    Write("hive", testing_support::EmptyHive());
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
