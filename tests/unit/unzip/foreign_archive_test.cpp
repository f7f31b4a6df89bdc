// Archives that other programs wrote: Info-ZIP's zip and libarchive's bsdtar, with whatever flags, extra fields and
// data descriptors they choose.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "sim/tablet/base/text.h"
#include "tests/unit/unzip/extraction_fixture.h"

namespace unzip_tests {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kWritten = 1'534'422'337;  // an odd second, which a DOS time cannot hold
constexpr std::int64_t kRead = 1'500'000'001;

class ForeignArchiveTest : public ExtractionTest {
 protected:
  ForeignArchiveTest() {
    AddFile("empty-not.bin", ToBytes("x"));
    AddFile("text.txt", ToBytes("modem image\r\n"));
    AddFile("one-buffer.bin", Incompressible(16384));
    AddFile("one-more.bin", Incompressible(16385));
    AddFile("sub/large.bin", Compressible(700'000));
    AddFile("sub/deep/mixed.bin", Incompressible(100'000));
    AddFile("sub/deep/T\xC3\xB6n.bin", Compressible(3));
  }

  fs::path Source() const { return scratch_.path() / "source"; }
  std::string Archive() const { return (scratch_.path() / "out.zip").string(); }

  void AddFile(const std::string& name, Bytes content) {
    fs::path const path = Source() / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    timespec const times[2] = {{kRead, 0}, {kWritten, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    files_[name] = std::move(content);
  }

  /// Runs a command in the folder of the files and opens the archive it wrote.
  void Make(const std::string& command) {
    std::string const line = "cd '" + Source().string() + "' && " + command + " >/dev/null 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0) << command << " (Debian packages zip and libarchive-tools)";
    ASSERT_NE(OpenBytes(ReadArchive()), nullptr);
  }
  Bytes ReadArchive() const {
    std::ifstream file(Archive(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  /// Extracts every entry, as the deployment does, and compares with the files byte by byte.
  void ExpectEverythingExtracts() {
    std::map<std::string, Bytes> extracted;
    INT const count = Get(-1).index;
    for (INT i = 0; i < count; ++i) {
      std::u16string const name = NameOf(i);
      std::u16string const target = u"c:\\target\\" + name;
      ASSERT_EQ(Unzip(i, target.c_str()), UNZIP_OK) << tablet::ToUtf8(name);
      if ((Get(i).attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        EXPECT_TRUE(drive().Exists(target));
      } else {
        extracted[tablet::ToUtf8(name)] = drive().Contents(target);
      }
    }
    EXPECT_TRUE(extracted == files_) << extracted.size() << " files of " << files_.size();
  }

  ScratchFolder scratch_;
  std::map<std::string, Bytes> files_;
};

TEST_F(ForeignArchiveTest, InfoZipsOrdinaryArchive) {
  Make("zip -r " + Archive() + " .");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, InfoZipsTimestampsAreUsed) {
  Make("zip " + Archive() + " text.txt");
  ZipEntry const entry = Get(0);
  EXPECT_EQ(Ticks(entry.writeTime), TicksOfUnix(kWritten));
  // The writer may read the file before or after it asks for the time of access: it is one of the two.
  EXPECT_NE(Ticks(entry.accessTime), Ticks(entry.writeTime));
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Facts(u"c:\\a").times.write, TicksOfUnix(kWritten));
}

TEST_F(ForeignArchiveTest, InfoZipWithoutExtraFieldsHasDosTimesOnly) {
  // The writer's local time becomes the tablet's, which is an hour ahead of UTC.
  Make("TZ=UTC0 zip -X " + Archive() + " text.txt");
  EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(kWritten + 1 - 3600));
}

TEST_F(ForeignArchiveTest, InfoZipStored) {
  Make("zip -0 -r " + Archive() + " .");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, InfoZipWithoutFolderEntriesAtTheBestLevel) {
  Make("zip -9 -D -r " + Archive() + " .");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, InfoZipWithDataDescriptors) {
  Make("zip -fd -r " + Archive() + " .");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, InfoZipWithBytesInFront) {
  Make("zip -r " + Archive() + " .");
  Bytes archive = Incompressible(4321);
  Bytes const rest = ReadArchive();
  archive.insert(archive.end(), rest.begin(), rest.end());
  ASSERT_NE(OpenBytes(archive), nullptr);
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, InfoZipReadOnlyFilesAreExtractedReadOnly) {
  fs::permissions(Source() / "text.txt", fs::perms::owner_read);
  Make("zip " + Archive() + " text.txt one-more.bin");
  EXPECT_EQ(Get(0).attributes, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(Get(1).attributes, FILE_ATTRIBUTE_ARCHIVE);
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Facts(u"c:\\a").attributes & FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_FILE_FAILED) << "a second time";
}

TEST_F(ForeignArchiveTest, InfoZipsEncryptedEntries) {
  for (const char* options : {"-P 'T\xC3\xB6n 1'", "-0 -P 'T\xC3\xB6n 1'"}) {
    // Info-ZIP draws an encryption header at random, and one byte of it tells a wrong password from the right one: of
    // 256 headers one lets any password pass. Three in a row do not.
    bool refused = false;
    for (int attempt = 0; attempt < 3 && !refused; ++attempt) {
      fs::remove(Archive());
      Make(std::string("zip -r ") + options + " " + Archive() + " one-more.bin");
      refused = Unzip(0, u"c:\\a") == UNZIP_BAD_PASSWORD;
    }
    EXPECT_TRUE(refused);

    MemoryArchive const archive(ReadArchive());
    ASSERT_EQ(OpenCurrentEntry(archive.reader.get(), "T\xC3\xB6n 1"), ZIP_OK);
    Delivery const delivery = ReadToEnd(archive.reader.get());
    EXPECT_TRUE(delivery.end);
    EXPECT_TRUE(delivery.bytes == files_["one-more.bin"]);
    EXPECT_EQ(CloseCurrentEntry(archive.reader.get()), ZIP_OK);
  }
}

TEST_F(ForeignArchiveTest, InfoZipsEmptyFileFails) {
  AddFile("nothing.bin", {});
  Make("zip " + Archive() + " nothing.bin");
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
}

TEST_F(ForeignArchiveTest, LibarchivesOrdinaryArchive) {
  Make("bsdtar -a -cf " + Archive() + " *");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, LibarchivesStored) {
  Make("bsdtar --format zip --options zip:compression=store -cf " + Archive() + " *");
  ExpectEverythingExtracts();
}

TEST_F(ForeignArchiveTest, LibarchivesTimestampsAreUsed) {
  Make("bsdtar -a -cf " + Archive() + " text.txt");
  EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(kWritten));
}

}  // namespace
}  // namespace unzip_tests
