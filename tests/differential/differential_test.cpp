// Valid archives of several writers, read by the service and by other readers: names, bytes and times must be equal.
// Trees of files are random, from a seed.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <random>

#include "sim/tablet/base/text.h"
#include "tests/differential/facts.h"
#include "tests/testing/tablet_fixture.h"
#include "vantord/unzip/unzip.h"

namespace differential {
namespace {

namespace fs = std::filesystem;

constexpr const WCHAR* kArchive = u"c:\\archive.zip";
constexpr std::int64_t kSecondsTo1970 = 11'644'473'600;
/// Files of a tree, and the largest: larger than every buffer, and still fast.
constexpr int kFiles = 14;
constexpr std::size_t kLargest = 90'000;

std::int64_t UnixSeconds(tablet::FileTicks ticks) {
  return static_cast<std::int64_t>(ticks / 10'000'000) - kSecondsTo1970;
}
std::int64_t UnixSeconds(const FILETIME& time) {
  return UnixSeconds(static_cast<tablet::FileTicks>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

class Differential : public testing_support::TabletTest, public testing::WithParamInterface<unsigned> {
 protected:
  Differential() : random_(GetParam()) {
    // DOS times are local: writers and other readers use the tablet's time zone, an hour ahead of UTC.
    ::setenv("TZ", "Etc/GMT-1", 1);
    ::tzset();
    std::setlocale(LC_CTYPE, "C.UTF-8");
    machine().journal().WantCalls(false);
    MakeTree();
  }

  /// True if a writer is not installed; ./dev installs them.
  static bool Lacks(const std::string& writer) {
    return std::system(("command -v " + writer + " >/dev/null").c_str()) != 0;
  }

  fs::path Source() const { return scratch_.path() / "source"; }
  fs::path Archive() const { return scratch_.path() / "out.zip"; }

  unsigned Draw(unsigned below) { return static_cast<unsigned>(random_() % below); }

  void MakeTree() {
    fs::create_directories(Source());
    std::string folder;
    for (int i = 0; i < kFiles; ++i) {
      static constexpr const char* kFolders[] = {"", "modem/", "modem/qcdsp 1/", "T\xC3\xB6ne/\xE9\x9F\xB3/",
                                                 "a/b/c/d/"};
      static constexpr const char* kEndings[] = {".bin", ".mbn", ".\xE2\x82\xAC", ""};
      folder = kFolders[Draw(std::size(kFolders))];
      AddFile(folder + "file " + std::to_string(i) + kEndings[Draw(std::size(kEndings))]);
    }
  }

  void AddFile(const std::string& name) {
    // Sizes around the reader's buffer, and others. Not 0: empty files fail, which another test covers.
    static constexpr std::size_t kSizes[] = {1, 2, 16383, 16384, 16385, 32767, 32768, 32769, 65535, 65536};
    std::size_t const size = Draw(2) == 0 ? kSizes[Draw(std::size(kSizes))] : 1 + Draw(kLargest);
    std::string data(size, '\0');
    unsigned const kinds = 1 + Draw(255);
    for (char& c : data) c = static_cast<char>(Draw(kinds));
    fs::path const path = Source() / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << data;
    // From 1998 on, odd seconds too.
    timespec const times[2] = {{900'000'000 + Draw(800'000'000), 0}, {900'000'000 + Draw(800'000'000), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }

  /// Runs a writer in the folder of the tree.
  void Write(const std::string& command) {
    fs::remove(Archive());
    std::string const line =
        "cd '" + Source().string() + "' && " + command + " >'" + (scratch_.path() / "log").string() + "' 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0) << line;
  }

  /// From the service: extracted as in a deployment, read from drive C:.
  ArchiveFacts ByService() {
    std::ifstream stream(Archive(), std::ios::binary);
    std::vector<std::uint8_t> const bytes{std::istreambuf_iterator<char>(stream), {}};
    drive().Put(kArchive, bytes);
    ZipHandle* const archive = OpenZipFile(kArchive);
    EXPECT_NE(archive, nullptr);
    ArchiveFacts facts;
    ZipEntry entry = {};
    GetZipEntry(archive, -1, entry);
    INT const count = entry.index;
    for (INT i = 0; i < count; ++i) {
      EXPECT_EQ(GetZipEntry(archive, i, entry), UNZIP_OK) << i;
      std::u16string const name = entry.name;
      std::u16string const target = u"c:\\target\\" + name;
      EXPECT_EQ(UnzipZipEntry(archive, i, target.c_str()), UNZIP_OK) << tablet::ToUtf8(name);
      EntryFacts fact{.folder = (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
                      .write = UnixSeconds(entry.writeTime),
                      .access = UnixSeconds(entry.accessTime),
                      .creation = UnixSeconds(entry.creationTime),
                      .data = {}};
      if (!fact.folder) {
        fact.data = drive().Contents(target);
        EXPECT_EQ(UnixSeconds(drive().Facts(target).times.write), fact.write) << tablet::ToUtf8(name);
      }
      Insert(facts, tablet::ToUtf8(name), std::move(fact));
    }
    CloseZipFile(archive);
    return facts;
  }

  void Compare(const ArchiveFacts& service, const ArchiveFacts& other, const char* reader) {
    EXPECT_EQ(service.size(), other.size()) << reader;
    for (const auto& [name, fact] : other) {
      auto const found = service.find(name);
      if (found == service.end()) {
        ADD_FAILURE() << reader << " has an entry that the service does not have: " << name;
      } else {
        EXPECT_TRUE(Agree(found->second, fact))
            << name << ": the service: " << found->second << "; " << reader << ": " << fact;
      }
    }
  }

  /// Compares an archive of a writer for each of its options. `command` contains {options} and {archive}.
  void CompareArchivesOf(const std::string& writer, const std::string& package, const std::string& command,
                         std::initializer_list<const char*> kinds) {
    if (Lacks(writer)) GTEST_SKIP() << writer << " is not installed: Debian package " << package;
    for (const char* options : kinds) {
      SCOPED_TRACE(options);
      Write(fmt::format(fmt::runtime(command), fmt::arg("options", options), fmt::arg("archive", Archive().string())));
      if (HasFatalFailure()) return;
      ArchiveFacts const service = ByService();
      EXPECT_GE(service.size(), std::size_t{kFiles});
      Compare(service, ByLibarchive(Archive()), "libarchive");
      Compare(service, ByZipfile(Archive(), scratch_.path() / "by-zipfile"), "zipfile");
    }
  }

  testing_support::ScratchFolder scratch_;
  std::mt19937_64 random_;
};

TEST_P(Differential, InfoZip) {
  CompareArchivesOf("zip", "zip", "zip {options} '{archive}' .", {"-r", "-r -0", "-r -9 -D", "-r -fd", "-r -X"});
}

TEST_P(Differential, SevenZip) {
  CompareArchivesOf("7zz", "7zip", "7zz a -tzip {options} '{archive}' .",
                    {"", "-mx=9", "-mm=Copy", "-mtc=off", "-mcu=on"});
}

TEST_P(Differential, Libarchive) {
  CompareArchivesOf("bsdtar", "libarchive-tools", "LC_ALL=C.UTF-8 bsdtar --format zip {options} -cf '{archive}' *",
                    {"", "--options zip:compression=store", "--options zip:hdrcharset=UTF-8"});
}

TEST_P(Differential, Zipfile) {
  CompareArchivesOf("python3", "python3", "python3 '" ZIPFILE_WRITE "' '{archive}' . {options}",
                    {"stored", "deflated", "odd-names"});
}

INSTANTIATE_TEST_SUITE_P(Seeds, Differential, testing::Values(1u, 2u));

}  // namespace
}  // namespace differential
