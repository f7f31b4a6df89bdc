// Exports of offline hives: numbered control sets, of which Select\Current names the one that is served.

#include <fstream>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::Registry;

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\n\n";
constexpr std::string_view kOffline =
    "[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\n\"Current\"=dword:00000001\n"
    "[HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services\\Vantord]\n\"Version\"=\"offline\"\n";

class ControlSetTest : public ::testing::Test {
 protected:
  void Write(const std::string& name, std::string_view text) {
    std::filesystem::create_directories(folder_.path() / "registry");
    std::ofstream(folder_.path() / "registry" / name) << kHeader << text;
  }
  void Load(bool with_saved = true) { tablet::ReadRegistryFolder(folder_.path(), registry_, with_saved); }
  std::optional<std::u16string> Version() {
    return registry_.GetText(u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"Version");
  }

  testing_support::ScratchFolder folder_;
  Registry registry_;
};

TEST_F(ControlSetTest, TheSelectedControlSetIsServedAsTheCurrentOne) {
  Write("10.reg", kOffline);
  Load();
  EXPECT_EQ(Version(), u"offline");
  EXPECT_TRUE(registry_.HasKey(u"system\\currentcontrolset\\services"));
  std::shared_ptr<tablet::OpenKey> key;
  ASSERT_EQ(registry_.Open(nullptr, u"SYSTEM\\CurrentControlSet\\Services\\Vantord", 0x20019, key), tablet::kSuccess);
  EXPECT_EQ(key->path(), u"SYSTEM\\ControlSet001\\Services\\Vantord");
}

TEST_F(ControlSetTest, LinesOfTheCurrentOneGoToTheSelectedOneInTheOrderOfTheFiles) {
  Write(
      "05.reg",
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord]\n\"Version\"=\"earlier\"\n\"Own\"=\"kept\"\n");
  Write("10.reg", kOffline);
  Load();
  EXPECT_EQ(Version(), u"offline");
  EXPECT_EQ(registry_.GetText(u"SYSTEM\\ControlSet001\\Services\\Vantord", u"Own"), u"kept");
  Write("20.reg", "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord]\n\"Version\"=\"later\"\n");
  Registry again;
  tablet::ReadRegistryFolder(folder_.path(), again);
  EXPECT_EQ(again.GetText(u"SYSTEM\\ControlSet001\\Services\\Vantord", u"Version"), u"later");
}

TEST_F(ControlSetTest, WhatIsWrittenThroughTheLinkIsWrittenOnce) {
  Write("10.reg", kOffline);
  Load();
  auto const before = registry_.Snapshot();
  EXPECT_EQ(before->GetText(u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"Version"), u"offline");
  registry_.PutText(u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"Version", u"new");
  auto const changes = Registry::Compare(*before, registry_);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].key, u"SYSTEM\\ControlSet001\\Services\\Vantord");
  EXPECT_THAT(tablet::WriteRegText(registry_), testing::Not(HasSubstr("CurrentControlSet")));
}

TEST_F(ControlSetTest, TheServiceSeesTheLinkAmongTheKeysOfSystem) {
  Write("10.reg", kOffline);
  Load();
  std::shared_ptr<tablet::OpenKey> key;
  ASSERT_EQ(registry_.Open(nullptr, u"SYSTEM", 0x20019, key), tablet::kSuccess);
  std::vector<std::u16string> names;
  ASSERT_EQ(registry_.SubKeys(*key, names), tablet::kSuccess);
  EXPECT_THAT(names, ElementsAre(u"ControlSet001", u"CurrentControlSet", u"Select"));
}

TEST_F(ControlSetTest, AGuardHoldsUnderBothNames) {
  Write("10.reg", kOffline);
  registry_.Guard(u"SYSTEM\\CurrentControlSet\\Services", tablet::KeyGuard::kDenied);
  Load();
  std::shared_ptr<tablet::OpenKey> key;
  for (const char16_t* const path :
       {u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"SYSTEM\\ControlSet001\\Services\\Vantord"}) {
    EXPECT_EQ(registry_.Open(nullptr, path, 0x20019, key), tablet::kAccessDenied);
  }
}

TEST_F(ControlSetTest, RemovingTheLinkLeavesWhatItStandsFor) {
  Write("10.reg", kOffline);
  Load();
  registry_.RemoveKey(u"SYSTEM\\CurrentControlSet\\Services\\Vantord");
  EXPECT_FALSE(registry_.HasKey(u"SYSTEM\\ControlSet001\\Services\\Vantord"));
  registry_.RemoveKey(u"SYSTEM\\CurrentControlSet");
  EXPECT_FALSE(registry_.HasKey(u"SYSTEM\\CurrentControlSet"));
  EXPECT_TRUE(registry_.HasKey(u"SYSTEM\\ControlSet001\\Services"));
}

TEST_F(ControlSetTest, ASelectedControlSetThatIsMissingIsRefused) {
  Write("10.reg", "[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\n\"Current\"=dword:00000003\n");
  try {
    Load();
    FAIL() << "no complaint";
  } catch (const tablet::InputError& error) {
    EXPECT_THAT(error.what(), HasSubstr("SYSTEM\\Select says that ControlSet003 is current, but it does not exist"));
  }
}

TEST_F(ControlSetTest, WithoutASelectionTheNamesAreWhatTheyAre) {
  Write("10.reg",
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\x]\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\y]\n");
  Load();
  EXPECT_FALSE(registry_.HasKey(u"SYSTEM\\CurrentControlSet\\x"));
  EXPECT_TRUE(registry_.HasKey(u"SYSTEM\\CurrentControlSet\\y"));
}

}  // namespace
