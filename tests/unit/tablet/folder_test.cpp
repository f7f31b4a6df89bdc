#include "sim/tablet/folder/folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <fstream>
#include <sstream>

#include "sim/tablet/base/input_error.h"
#include "tests/testing/tablet_fixture.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kHeader = "Windows Registry Editor Version 5.00\n\n";

class FolderTest : public ::testing::Test {
 protected:
  FolderTest() {
    fs::create_directories(folder() / "C");
    fs::create_directories(folder() / "registry");
    Write("tablet.json", "{\"schema\": 1}");
    Write("registry/10.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\A]\n\"x\"=\"given\"\n\"y\"=\"given\"\n");
  }
  fs::path folder() const { return scratch_.path() / "tablet"; }
  fs::path work() const { return scratch_.path() / "work"; }
  void Write(const std::string& name, const std::string& text) const { std::ofstream(folder() / name) << text; }
  static std::string Read(const fs::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  /// A powered-on tablet over a copy of the drive.
  std::unique_ptr<tablet::Tablet> PowerOn() const {
    fs::create_directory(work());
    tablet::CopyDrive(folder(), work());
    auto machine = std::make_unique<tablet::Tablet>(tablet::ReadTabletFolder(folder()), work());
    tablet::LoadState(folder(), *machine);
    return machine;
  }

 private:
  testing_support::ScratchFolder scratch_;
};

TEST_F(FolderTest, LaterRegistryFilesWinAndTheSavedOneComesLast) {
  Write("registry/20.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\A]\n\"x\"=\"later\"\n");
  Write("registry/zzz.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\A]\n\"y\"=\"zzz\"\n\"x\"=\"zzz\"\n");
  Write("registry/zz-saved.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\A]\n\"x\"=\"saved\"\n");
  tablet::Registry with;
  tablet::ReadRegistryFolder(folder(), with);
  EXPECT_EQ(with.GetText(u"A", u"x"), u"saved");
  EXPECT_EQ(with.GetText(u"A", u"y"), u"zzz");
  tablet::Registry without;
  tablet::ReadRegistryFolder(folder(), without, false);
  EXPECT_EQ(without.GetText(u"A", u"x"), u"zzz");
}

TEST_F(FolderTest, ASavedTabletGivesTheStateItWasSavedIn) {
  auto machine = PowerOn();
  machine->registry().PutText(u"A", u"x", u"changed");
  machine->registry().RemoveValue(u"A", u"y");
  machine->registry().PutDword(u"B\\New", u"n", 3);
  machine->firmware().Put({u"V", *tablet::Guid::Parse("9806d87d-b4fb-4d02-97d2-8597337abc83")}, {'a'});
  machine->drive().Put(u"C:\\Folder\\File.txt", std::vector<std::uint8_t>{'x'}, tablet::kAttributeHidden);
  tablet::ReplaceState(folder(), *machine, work());
  EXPECT_THAT(Read(folder() / "registry/10.reg"), HasSubstr("given"));

  tablet::Tablet again(tablet::ReadTabletFolder(folder()), folder());
  tablet::LoadState(folder(), again);
  EXPECT_EQ(again.registry().GetText(u"A", u"x"), u"changed");
  EXPECT_FALSE(again.registry().Get(u"A", u"y"));
  EXPECT_EQ(again.registry().GetDword(u"B\\New", u"n"), 3U);
  EXPECT_EQ(again.firmware().variables().size(), 1U);
  EXPECT_EQ(again.drive().Facts(u"C:\\Folder\\File.txt").attributes & tablet::kAttributeHidden,
            tablet::kAttributeHidden);
}

TEST_F(FolderTest, AStateThatEqualsTheGivenFilesNeedsNoSavedOne) {
  Write("registry/zz-saved.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\A]\n\"x\"=\"saved\"\n");
  auto machine = PowerOn();
  EXPECT_EQ(machine->registry().GetText(u"A", u"x"), u"saved");
  machine->registry().PutText(u"A", u"x", u"given");
  tablet::ReplaceState(folder(), *machine, work());
  EXPECT_FALSE(fs::exists(folder() / "registry/zz-saved.reg"));
}

TEST_F(FolderTest, ACompletedFolderIsATabletOfItsOwn) {
  Write("notes.txt", "kept");
  auto machine = PowerOn();
  machine->registry().PutText(u"A", u"x", u"changed");
  tablet::CompleteFolder(folder(), *machine, work());
  EXPECT_EQ(Read(work() / "notes.txt"), "kept");
  tablet::Registry registry;
  tablet::ReadRegistryFolder(work(), registry);
  EXPECT_EQ(registry.GetText(u"A", u"x"), u"changed");
  EXPECT_FALSE(fs::exists(folder() / "registry/zz-saved.reg"));
}

TEST_F(FolderTest, CopiesKeepDataTimesAndAttributes) {
  fs::path const file = folder() / "C" / "File.bin";
  Write("C/File.bin", std::string(3'000'000, 'x'));
  ASSERT_EQ(::setxattr(file.c_str(), "user.DOSATTRIB", "0x23", 4, 0), 0);
  timespec const times[2] = {{.tv_sec = 1'000'000, .tv_nsec = 5}, {.tv_sec = 2'000'000, .tv_nsec = 700}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  fs::path const copy = work();
  tablet::CopyTree(folder() / "C", copy);
  char value[8] = {};
  EXPECT_EQ(::getxattr((copy / "File.bin").c_str(), "user.DOSATTRIB", value, sizeof value), 4);
  EXPECT_STREQ(value, "0x23");
  struct stat facts {};
  ASSERT_EQ(::stat((copy / "File.bin").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mtim.tv_sec, 2'000'000);
  EXPECT_EQ(facts.st_mtim.tv_nsec, 700);
  EXPECT_EQ(Read(copy / "File.bin"), std::string(3'000'000, 'x'));
  // A copy is one: what is written to it does not reach the original.
  std::ofstream(copy / "File.bin") << "y";
  EXPECT_EQ(fs::file_size(file), 3'000'000U);
}

TEST_F(FolderTest, WhatIsNoFileIsRefused) {
  ASSERT_EQ(::mkfifo((folder() / "C" / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(tablet::CopyTree(folder() / "C", work()), tablet::InputError);
}

}  // namespace
