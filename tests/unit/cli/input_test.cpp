// Bad input: what the message says, which exit code ends the program, and that nothing was changed.
#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <set>

#include "tests/unit/cli/program.h"

namespace {

class InputTest : public ProgramTest {
 protected:
  void ExpectRefusal(const std::vector<std::string>& arguments, int code, const std::string& message) {
    ProgramResult const result = Run(arguments);
    EXPECT_EQ(result.exit_code, code) << message;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("vantord-tablet: "));
    EXPECT_THAT(result.err, HasSubstr(message));
    EXPECT_FALSE(LeftSomething());
  }
};

TEST_F(InputTest, UnknownWordsGetTheNearestKnownOne) {
  ExpectRefusal({"rnu", "x"}, 2, "unknown command \"rnu\"; did you mean \"run\"?");
  ExpectRefusal({"run", "x", "--svae", "y"}, 2, "unknown option \"--svae\"; did you mean \"--save\"?");
  ExpectRefusal({"fault", "lst"}, 2, "unknown subcommand \"lst\" after \"fault\"; did you mean \"list\"?");
  ExpectRefusal({"init", "x", "--sample", "fersh"}, 3, "unknown sample \"fersh\"; did you mean \"fresh\"?");
  EXPECT_FALSE(fs::exists(In("x")));
}

TEST_F(InputTest, WrongUsageEndsWithTwo) {
  ExpectRefusal({}, 2, "--help");
  ExpectRefusal({"run"}, 2, "DIR is required");
  ExpectRefusal({"run", "x", "--save", "a", "--in-place"}, 2, "excludes");
  ExpectRefusal({"run", "x", "--calls"}, 2, "--events");
  ExpectRefusal({"run", "x", "--until", "soon"}, 2, "--until");
  EXPECT_EQ(Run({"--help"}).exit_code, 0);
}

TEST_F(InputTest, AFolderThatIsNoTabletIsRefused) {
  fs::create_directory(In("empty"));
  Write("file", "x");
  ExpectRefusal({"run", "nowhere"}, 3,
                "nowhere: there is no such folder; \"vantord-tablet init nowhere\" makes a tablet");
  ExpectRefusal({"run", "file"}, 3, "is a file");
  ExpectRefusal({"run", "empty"}, 3, "empty: is no tablet: it has no tablet.json");
  Write("empty/tablet.json", "{\"schema\": 1}");
  ExpectRefusal({"run", "empty"}, 3, "it has no folder C");
}

TEST_F(InputTest, MalformedFilesAreNamedWithTheirLine) {
  Make("fresh");
  std::string const description = Read("fresh/tablet.json");
  Write("fresh/tablet.json", "{\n  \"schema\": 1,\n  \"modem\": { \"presnet\": true }\n}\n");
  ExpectRefusal({"run", "fresh"}, 3, "fresh/tablet.json:3: modem.presnet: unknown key; did you mean \"present\"?");
  Write("fresh/tablet.json", description);
  Write("fresh/registry/30.reg", "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A]\n\"x\"=dowrd:1\n");
  auto const before = Contents("fresh");
  ExpectRefusal({"run", "fresh", "--in-place"}, 3, "fresh/registry/30.reg:4");
  EXPECT_EQ(Contents("fresh"), before);
}

TEST_F(InputTest, TargetsThatCannotBeWrittenAreRefusedBeforeTheRun) {
  Make("fresh");
  Write("file", "x");
  ExpectRefusal({"run", "fresh", "--save", "fresh"}, 3, "fresh: lies in the tablet itself");
  ExpectRefusal({"run", "fresh", "--save", "file/kept"}, 3, "file/kept: cannot be made");
  ExpectRefusal({"run", "fresh", "--events", "file/e.jsonl"}, 3, "file/e.jsonl: cannot be written");
  ExpectRefusal({"init", "file/x"}, 3, "file/x: cannot be made");
  ExpectRefusal({"init", "fresh"}, 3, "fresh: exists already");
}

TEST_F(InputTest, WithJsonErrorsAreTheDocument) {
  nlohmann::json const missing = RunJson({"run", "nowhere"}, 3);
  EXPECT_EQ(missing["error"]["place"], "nowhere");
  EXPECT_EQ(missing["error"]["problem"], "there is no such folder");
  EXPECT_NE(missing["error"]["next"], "");
  EXPECT_THAT(RunJson({"run", "x", "--svae"}, 2)["error"]["problem"].get<std::string>(), HasSubstr("--save"));
}

struct ReaderCloser {
  void operator()(archive* reader) const { archive_read_free(reader); }
};

TEST_F(InputTest, TheFreshSampleHoldsARealArchiveOfFirmware) {
  ASSERT_EQ(Run({"init", "tablet"}).exit_code, 0);
  std::unique_ptr<archive, ReaderCloser> const reader(archive_read_new());
  archive_read_support_format_zip(reader.get());
  fs::path const file = In("tablet/C/Windows/System32/modem_core/VZW.bin");
  ASSERT_EQ(archive_read_open_filename(reader.get(), file.c_str(), 1 << 16), ARCHIVE_OK);
  std::set<std::string> names;
  std::int64_t bytes = 0;
  int folders = 0;
  int read_only = 0;
  int with_three_times = 0;
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    names.insert(archive_entry_pathname(entry));
    bytes += archive_entry_size(entry);
    folders += archive_entry_filetype(entry) == AE_IFDIR ? 1 : 0;
    read_only += archive_entry_filetype(entry) == AE_IFREG && (archive_entry_perm(entry) & 0200) == 0 ? 1 : 0;
    with_three_times +=
        archive_entry_mtime_is_set(entry) && archive_entry_atime_is_set(entry) && archive_entry_ctime_is_set(entry);
  }
  EXPECT_TRUE(names.contains("qcdsp1v2850.mbn"));
  EXPECT_TRUE(names.contains("qcdsp2850.mbn"));
  EXPECT_GE(bytes, 60'000'000);
  EXPECT_GE(folders, 2);
  EXPECT_GE(read_only, 2);
  EXPECT_EQ(with_three_times, static_cast<int>(names.size()));
  EXPECT_TRUE(fs::exists(In("tablet/C/Windows/ToastGenerator/ToastResource_20180816.zip")));
}

}  // namespace
