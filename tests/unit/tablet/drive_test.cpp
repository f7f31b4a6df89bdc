#include "sim/tablet/drive/drive.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <fstream>
#include <optional>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "tests/testing/tablet_fixture.h"

namespace {

constexpr tablet::FileTicks kPowerOn = tablet::kUnixEpoch + 1'772'438'400ULL * tablet::kTicksPerSecond;
constexpr std::uint32_t kReadAndWrite = 0xC0000000;

/// A drive over a folder of the host that the test fills by the host's own means.
class DriveOfAFolder : public ::testing::Test {
 protected:
  tablet::Drive& drive() {
    if (!drive_) drive_.emplace(root(), folder_.path() / "attributes.txt", clock_);
    return *drive_;
  }
  void PowerOff() { drive_.reset(); }
  std::filesystem::path root() const { return folder_.path() / "C"; }
  std::filesystem::path side_file() const { return folder_.path() / "attributes.txt"; }
  void HostFile(const std::filesystem::path& relative, std::string_view text = "") {
    std::filesystem::create_directories((root() / relative).parent_path());
    std::ofstream(root() / relative, std::ios::binary) << text;
  }
  void SideFile(std::string_view text) { std::ofstream(side_file(), std::ios::binary) << text; }
  void SetXattr(const std::filesystem::path& relative, const char* name, std::string_view value) {
    ASSERT_EQ(::setxattr((root() / relative).c_str(), name, value.data(), value.size(), 0), 0);
  }
  std::string Xattr(const std::filesystem::path& relative, const char* name) {
    char buffer[100];
    ssize_t const size = ::getxattr((root() / relative).c_str(), name, buffer, sizeof(buffer));
    return size < 0 ? "none" : std::string(buffer, static_cast<std::size_t>(size));
  }
  std::string LoadError() {
    try {
      drive();
    } catch (const tablet::InputError& error) {
      return error.what();
    }
    return "none";
  }
  std::shared_ptr<tablet::OpenFile> Open(std::u16string_view path, std::uint32_t disposition = 3,
                                         std::uint32_t access = kReadAndWrite) {
    std::shared_ptr<tablet::OpenFile> file;
    bool existed = false;
    EXPECT_EQ(drive().Open(path, {access, 7, disposition, 0}, file, existed), tablet::kSuccess);
    return file;
  }
  static void Write(tablet::OpenFile& file, std::string_view text) {
    std::uint32_t written = 0;
    EXPECT_EQ(file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, written), 0u);
  }

  testing_support::ScratchFolder folder_;
  tablet::Scheduler scheduler_{{}};
  tablet::Clock clock_{scheduler_, kPowerOn, 0};
  std::optional<tablet::Drive> drive_;
};

TEST_F(DriveOfAFolder, AMissingFolderIsMade) {
  EXPECT_TRUE(drive().Exists(u"c:\\"));
  EXPECT_TRUE(std::filesystem::is_directory(root()));
}

TEST_F(DriveOfAFolder, WhatTheHostHasIsThereWithItsOwnNames) {
  HostFile("Windows/Ümlaut.TXT", "text");
  EXPECT_EQ(drive().Facts(u"c:\\WINDOWS\\ümlaut.txt").name, u"Ümlaut.TXT");
  EXPECT_EQ(drive().Facts(u"c:\\windows\\ÜMLAUT.txt").attributes, tablet::kAttributeArchive);
  EXPECT_EQ(drive().Facts(u"c:\\windows").attributes, tablet::kAttributeDirectory);
  EXPECT_EQ(drive().Facts(u"c:\\windows\\ümlaut.txt").size, 4u);
}

TEST_F(DriveOfAFolder, NamesThatDifferInCaseOnlyAreAnErrorThatNamesBoth) {
  HostFile("dir/Name");
  HostFile("dir/name");
  EXPECT_THAT(LoadError(), HasSubstr("dir/name: differs from \"Name\" in case only; rename one of them"));
}

TEST_F(DriveOfAFolder, WhatWindowsCannotHaveIsAnErrorAtLoad) {
  HostFile("what?");
  EXPECT_THAT(LoadError(), HasSubstr("what?: Windows has no such names"));
  std::filesystem::remove(root() / "what?");
  std::filesystem::create_symlink("/", root() / "link");
  EXPECT_THAT(LoadError(), HasSubstr("link: is neither a file nor a folder"));
}

TEST_F(DriveOfAFolder, AttributesLiveInExtendedAttributesNotInModeBits) {
  HostFile("a");
  SetXattr("a", "user.DOSATTRIB", "0x3");
  ::chmod((root() / "a").c_str(), 0644);
  EXPECT_EQ(drive().Facts(u"c:\\a").attributes, 3u);
  EXPECT_EQ(drive().SetAttributes(u"c:\\a", tablet::kAttributeReadOnly | tablet::kAttributeSystem), 0u);
  EXPECT_EQ(Xattr("a", "user.DOSATTRIB"), "0x5");
  EXPECT_EQ(std::filesystem::status(root() / "a").permissions(), std::filesystem::perms(0644));
}

TEST_F(DriveOfAFolder, AttributesAndTimesOutliveThePower) {
  {
    auto const file = Open(u"c:\\new", 1);
    Write(*file, "text");
    ASSERT_EQ(file->SetTimes({kPowerOn - 30'000'000'001, kPowerOn - 20'000'000'002, kPowerOn - 10'000'000'003}), 0u);
  }
  drive().SetAttributes(u"c:\\new", tablet::kAttributeHidden);
  drive().MakeDirectory(u"c:\\folder");
  drive().SetAttributes(u"c:\\folder", tablet::kAttributeSystem);
  auto const before = drive().Facts(u"c:\\new");
  auto const folder_before = drive().Facts(u"c:\\folder");
  PowerOff();
  auto const after = drive().Facts(u"c:\\new");
  EXPECT_EQ(after.attributes, tablet::kAttributeHidden);
  EXPECT_EQ(after.times, before.times);
  EXPECT_EQ(after.times.creation, kPowerOn - 30'000'000'001);
  EXPECT_EQ(after.times.access, kPowerOn - 20'000'000'002);
  EXPECT_EQ(after.times.write, kPowerOn - 10'000'000'003);
  EXPECT_EQ(drive().Facts(u"c:\\folder").attributes, tablet::kAttributeSystem | tablet::kAttributeDirectory);
  EXPECT_EQ(drive().Facts(u"c:\\folder").times, folder_before.times);
}

TEST_F(DriveOfAFolder, DataReachTheHostAtOnceAndTheTabletsTimesWhenTheFileIsClosed) {
  auto file = Open(u"c:\\new", 1);
  Write(*file, "text");
  struct stat status;
  ASSERT_EQ(::stat((root() / "new").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 4);
  file.reset();
  ASSERT_EQ(::stat((root() / "new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1'772'438'400);
  EXPECT_EQ(status.st_mtim.tv_nsec, 0);
}

TEST_F(DriveOfAFolder, WhoAsksForAPlaceOnTheHostFindsTheTabletsTimesThere) {
  auto const file = Open(u"c:\\new", 1);
  Write(*file, "text");
  for (const char16_t* path : {u"c:\\new", u"c:\\"}) {
    struct stat status;
    ASSERT_EQ(::stat(drive().HostPath(path).c_str(), &status), 0);
    EXPECT_EQ(status.st_mtim.tv_sec, 1'772'438'400) << drive().HostPath(path);
    EXPECT_EQ(status.st_mtim.tv_nsec, 0);
  }
}

TEST_F(DriveOfAFolder, AFileThatNeedsNoDescriptionHasNone) {
  Write(*Open(u"c:\\new", 1), "text");
  EXPECT_EQ(Xattr("new", "user.DOSATTRIB"), "none");
  EXPECT_EQ(Xattr("new", "user.vantord.creation"), "none");
  drive().SetAttributes(u"c:\\new", tablet::kAttributeHidden);
  EXPECT_EQ(Xattr("new", "user.DOSATTRIB"), "0x2");
  drive().SetAttributes(u"c:\\new", tablet::kAttributeArchive);
  EXPECT_EQ(Xattr("new", "user.DOSATTRIB"), "0x20") << "what was said before must be taken back";
}

TEST_F(DriveOfAFolder, AFileKeepsItsTimeOfCreationWhenALaterPowerOnWritesToIt) {
  constexpr tablet::FileTicks kBefore = kPowerOn - 10'000'000'000;
  Open(u"c:\\new", 1)->SetTimes({kBefore, kBefore, kBefore});
  PowerOff();
  Write(*Open(u"c:\\new"), "text");
  PowerOff();
  EXPECT_EQ(drive().Facts(u"c:\\new").times.creation, kBefore);
  EXPECT_EQ(drive().Facts(u"c:\\new").times.write, kPowerOn);
}

TEST_F(DriveOfAFolder, AnOpenFileOutlivesTheDrive) {
  auto const file = Open(u"c:\\new", 1);
  PowerOff();
  EXPECT_EQ(file->path(), u"C:\\new");
}

TEST_F(DriveOfAFolder, ReadingLeavesTheTimeOfAccessAlone) {
  HostFile("a", "text");
  auto const before = drive().Facts(u"c:\\a").times;
  {
    auto const file = Open(u"c:\\a", 3, 0x80000000);
    std::uint8_t byte;
    std::uint32_t read;
    file->Read({&byte, 1}, read);
  }
  drive().Contents(u"c:\\a");
  PowerOff();
  EXPECT_EQ(drive().Facts(u"c:\\a").times, before);
}

TEST_F(DriveOfAFolder, DamagedExtendedAttributesAreAnError) {
  HostFile("a");
  SetXattr("a", "user.DOSATTRIB", "hidden");
  EXPECT_THAT(LoadError(), HasSubstr("a: user.DOSATTRIB is \"hidden\"; set it to a number in the form 0x22"));
  SetXattr("a", "user.DOSATTRIB", "0x2");
  SetXattr("a", "user.vantord.creation", "-5");
  EXPECT_THAT(LoadError(), HasSubstr("user.vantord.creation is \"-5\""));
}

TEST_F(DriveOfAFolder, TheSideFileTellsWhatCopyingLost) {
  HostFile("dir/a");
  HostFile("dir/b");
  SetXattr("dir/b", "user.DOSATTRIB", "0x4");
  SideFile(
      "# a comment\n\n0x3\t126227808000000000\tC:\\Dir\\A\n0x2\t-\tc:\\dir\\b\n0x12\t-\tC:\\dir\r\n0x2\t-\tC:\\gone\n");
  EXPECT_EQ(drive().Facts(u"c:\\dir\\a").attributes, 3u);
  EXPECT_EQ(drive().Facts(u"c:\\dir\\a").times.creation, 126'227'808'000'000'000u);
  EXPECT_EQ(drive().Facts(u"c:\\dir\\b").attributes, 4u) << "an extended attribute wins";
  EXPECT_EQ(drive().Facts(u"c:\\dir").attributes, 0x12u);
}

TEST_F(DriveOfAFolder, ABadLineOfTheSideFileIsNamed) {
  auto const error_of = [&](std::string_view line) {
    SideFile("# first\n" + std::string(line) + "\n");
    return LoadError();
  };
  EXPECT_THAT(error_of("0x3 - C:\\a"), HasSubstr("attributes.txt:2: not three fields separated by tabs"));
  EXPECT_THAT(error_of("3\t-\tC:\\a"), HasSubstr("attributes.txt:2: the attributes are not a number"));
  EXPECT_THAT(error_of("0x3g\t-\tC:\\a"), HasSubstr("attributes.txt:2: the attributes are not a number"));
  EXPECT_THAT(error_of("0x3\tnow\tC:\\a"), HasSubstr("attributes.txt:2: the creation time is neither"));
  EXPECT_THAT(error_of("0x3\t-\ta"), HasSubstr("attributes.txt:2: the path does not begin with C:\\"));
  EXPECT_THAT(error_of("0x3\t-\tC:\\a\n0x3\t-\tc:\\A"), HasSubstr("attributes.txt:3: the path was named before"));
}

TEST_F(DriveOfAFolder, TheSideFileIsKeptUpWhereThereIsOne) {
  HostFile("plain");
  drive().Put(u"c:\\hidden", {}, tablet::kAttributeHidden);
  drive().SaveSideFile();
  EXPECT_FALSE(std::filesystem::exists(side_file())) << "this host keeps extended attributes and no test asked for one";

  SideFile("");
  drive().SaveSideFile();
  for (const char* name : {"user.DOSATTRIB", "user.vantord.creation"}) {
    ::removexattr((root() / "hidden").c_str(), name);
  }
  auto const before = drive().Facts(u"c:\\hidden");
  PowerOff();
  EXPECT_EQ(drive().Facts(u"c:\\hidden").attributes, tablet::kAttributeHidden);
  EXPECT_EQ(drive().Facts(u"c:\\hidden").times, before.times);
  EXPECT_EQ(tablet::ReadSideFile(side_file()).size(), 1u) << "what is as everything is needs no line";
}

TEST_F(DriveOfAFolder, ChangesTellWhatARunDidAndNotWhatWasPutThere) {
  HostFile("old");
  HostFile("dir/rewritten", "some text");
  HostFile("dir/hidden");
  drive().Put(u"c:\\put", {});
  EXPECT_TRUE(drive().Changes().empty());

  Write(*Open(u"c:\\dir new", 1), "12345");
  Open(u"c:\\dir\\REWRITTEN", 2);
  drive().SetAttributes(u"c:\\dir\\hidden", tablet::kAttributeHidden);
  drive().MakeDirectory(u"c:\\folder");
  Open(u"c:\\old", 3, 0x80000000);

  auto const changes = drive().Changes();
  ASSERT_EQ(changes.size(), 4u);
  EXPECT_EQ(changes[0].path, u"C:\\dir new");
  EXPECT_TRUE(changes[0].created && changes[0].written && !changes[0].attributes && !changes[0].folder);
  EXPECT_EQ(changes[0].bytes, 5u);
  EXPECT_EQ(changes[1].path, u"C:\\dir\\hidden");
  EXPECT_TRUE(changes[1].attributes && !changes[1].created && !changes[1].written);
  EXPECT_EQ(changes[1].attributes_before, tablet::kAttributeArchive);
  EXPECT_EQ(changes[1].attributes_now, tablet::kAttributeHidden);
  EXPECT_EQ(changes[2].path, u"C:\\dir\\rewritten");
  EXPECT_TRUE(changes[2].written && !changes[2].created);
  EXPECT_EQ(changes[2].bytes, 0u);
  EXPECT_EQ(changes[3].path, u"C:\\folder");
  EXPECT_TRUE(changes[3].created && changes[3].folder);
}

TEST_F(DriveOfAFolder, ListenersHearOfOpensAndReads) {
  HostFile("a", "0123456789");
  std::vector<std::u16string> opened;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> reads;
  drive().on_open = [&](const std::u16string& path) { opened.push_back(path); };
  drive().on_read = [&](const std::u16string&, std::uint64_t position, std::uint64_t size) {
    reads.emplace_back(position, size);
  };
  auto const file = Open(u"c:\\A", 3, 0x80000000);
  Open(u"c:\\a", 3, 0x40000000);  // for writing only
  Open(u"c:\\new", 1);
  std::uint8_t buffer[8];
  std::uint32_t read;
  for (int i = 0; i < 3; ++i) file->Read(buffer, read);
  EXPECT_THAT(opened, ElementsAre(u"C:\\a"));
  EXPECT_THAT(reads, ElementsAre(std::pair{0, 8}, std::pair{8, 2}, std::pair{10, 0}));
}

TEST_F(DriveOfAFolder, TheMachineReplacesRemovesAndLocatesFiles) {
  drive().Put(u"c:\\new\\dir\\a", std::vector<std::uint8_t>{1, 2, 3});
  EXPECT_THAT(drive().Contents(u"C:/NEW/dir/A"), ElementsAre(1, 2, 3));
  drive().Put(u"c:\\New\\dir\\A", std::vector<std::uint8_t>{4}, tablet::kAttributeReadOnly);
  EXPECT_THAT(drive().Contents(u"c:\\new\\dir\\a"), ElementsAre(4));
  EXPECT_EQ(drive().Facts(u"c:\\new\\dir\\a").attributes, 1u);
  EXPECT_EQ(drive().HostPath(u"c:\\NEW\\other\\File"), root() / "new" / "other" / "File");
  drive().Remove(u"c:\\NEW");
  EXPECT_FALSE(drive().Exists(u"c:\\new\\dir\\a"));
  EXPECT_FALSE(std::filesystem::exists(root() / "new"));
  EXPECT_THROW(drive().Facts(u"c:\\new"), std::out_of_range);
  EXPECT_THROW(drive().Contents(u"c:\\new"), std::out_of_range);
}

TEST_F(DriveOfAFolder, AWriteThatDoesNotFitLeavesTheLengthAlone) {
  HostFile("a", "text");
  auto const file = Open(u"c:\\a");
  std::uint64_t position = 0;
  // Beyond what the host's file system can hold in one file.
  ASSERT_EQ(file->Seek(INT64_MAX - 10, 0, position), 0u);
  std::uint32_t written = 99;
  std::uint8_t const byte = 1;
  EXPECT_NE(file->Write({&byte, 1}, written), 0u);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(file->size(), 4u);
  EXPECT_EQ(std::filesystem::file_size(root() / "a"), 4u);
}

}  // namespace
