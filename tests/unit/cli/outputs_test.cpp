// Nothing that a person made is lost, and no failed output is hidden.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "cli/base/escape.h"
#include "tests/unit/cli/program.h"

namespace {

class OutputsTest : public ProgramTest {};

TEST_F(OutputsTest, NoFileOfTheTabletIsOverwritten) {
  Make("fresh");
  auto const before = Contents("fresh");
  fs::create_symlink("fresh/tablet.json", In("link"));
  for (const char* const option : {"--report", "--events", "--trace"}) {
    for (const char* const file : {"fresh/tablet.json", "./fresh/../fresh/registry/10-image.reg", "link",
                                   "fresh/C/Windows/System32/modem_core/VZW.bin", "fresh/new.html"}) {
      ProgramResult const result = Run({"run", "fresh", option, file, "--force"});
      EXPECT_EQ(result.exit_code, 3) << option << ' ' << file;
      EXPECT_THAT(result.err, AllOf(HasSubstr(file), HasSubstr("would write into fresh, which is read")));
    }
  }
  EXPECT_EQ(Contents("fresh"), before);
}

TEST_F(OutputsTest, TwoOutputsMustBeTwoFiles) {
  Make("fresh");
  ProgramResult const result = Run({"run", "fresh", "--report", "a", "--trace", "./a"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, HasSubstr("--trace and --report both name a; name two files"));
  EXPECT_FALSE(fs::exists(In("a")));
  EXPECT_EQ(Run({"run", "fresh", "--report", "a", "--events", "b", "--trace", "b"}).exit_code, 2);
  EXPECT_EQ(Run({"run", "fresh", "--save", "kept", "--trace", "kept/trace.json"}).exit_code, 2);
  EXPECT_EQ(Run({"run", "fresh", "--events", "/dev/null", "--trace", "/dev/null"}).exit_code, 0);
}

TEST_F(OutputsTest, AFileThatExistsIsReplacedWithForceOnly) {
  Make("wifi-only");
  for (const char* const option : {"--report", "--events", "--trace"}) {
    Write("mine", "what I wrote");
    ProgramResult const refused = Run({"run", "wifi-only", option, "mine"});
    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_THAT(refused.err, HasSubstr("mine: exists already; name another file or add --force"));
    EXPECT_EQ(Read("mine"), "what I wrote");
    EXPECT_EQ(Run({"run", "wifi-only", option, "mine", "--force"}).exit_code, 0);
    EXPECT_THAT(Read("mine"), Not(HasSubstr("what I wrote")));
  }
}

TEST_F(OutputsTest, InitAndLintShowProgressOnATerminalOnly) {
  auto const made = RunOnTerminal({"init", "t", "--sample", "fresh", "--small"});
  if (!made) GTEST_SKIP() << "this machine gives no pseudo-terminal (is devpts mounted on /dev/pts?)";
  EXPECT_EQ(made->exit_code, 0);
  EXPECT_THAT(made->out, AllOf(HasSubstr("]   0 %  making VZW.bin"), HasSubstr("\r\x1b[Kt is a tablet now")));
  std::string const archive = "t/C/Windows/System32/modem_core/VZW.bin";
  auto const linted = RunOnTerminal({"lint", archive});
  EXPECT_EQ(linted->exit_code, 0);
  EXPECT_THAT(linted->out, AllOf(HasSubstr(" %  of t/C/Windows/"), HasSubstr("\r\x1b[K\x1b[1m" + archive)));
  EXPECT_THAT(Run({"lint", archive}).out, Not(HasSubstr(" %  of")));
  EXPECT_THAT(RunOnTerminal({"lint", "--json", archive})->out, testing::StartsWith("{"));
}

TEST_F(OutputsTest, AFullDiskLeavesTheOldFileWhole) {
  Make("wifi-only");
  Write("page", "an older page");
  // The limit lies between what the working copy needs of one file and the size of a page.
  ProgramResult const result = Shell("ulimit -f 16; \"$P\" run wifi-only -q --report page --force");
  EXPECT_EQ(result.exit_code, 3) << result.err;
  EXPECT_THAT(result.err, AllOf(HasSubstr("page: could not be written: File too large"), HasSubstr("is unchanged")));
  EXPECT_EQ(Read("page"), "an older page");
  for (const auto& entry : fs::directory_iterator(scratch())) EXPECT_NE(entry.path().filename().string()[0], '.');
}

TEST_F(OutputsTest, AFullStandardOutputIsAFailure) {
  Make("wifi-only");
  for (const char* const command : {"run wifi-only", "run wifi-only --json", "select wifi-only", "fault list", "--man",
                                    "--help", "init --list", "validate wifi-only", "run no-such-tablet --json"}) {
    ProgramResult const full = Shell(std::string("\"$P\" ") + command + " >/dev/full");
    EXPECT_EQ(full.exit_code, 1) << command;
    EXPECT_THAT(full.err, HasSubstr("vantord-tablet: standard output: No space left on device")) << command;
    ProgramResult const closed = Shell(std::string("\"$P\" ") + command + " >&-");
    EXPECT_EQ(closed.exit_code, 1) << command;
    EXPECT_THAT(closed.err, HasSubstr("vantord-tablet: standard output: Bad file descriptor")) << command;
  }
  EXPECT_FALSE(LeftSomething());
}

TEST_F(OutputsTest, AClosedPipeEndsTheRunQuietly) {
  Make("fresh");
  ProgramResult const result =
      Shell("{ \"$P\" run fresh --verbose; echo ended with $? >&2; } | true; \"$P\" --version >/dev/null");
  EXPECT_EQ(result.err, "ended with 141\n");
  EXPECT_FALSE(LeftSomething());
}

TEST_F(OutputsTest, WhatAKilledRunLeftIsRemovedByTheNext) {
  Make("wifi-only");
  Make("fresh");
  fs::create_directory(In("tmp/vantord-tablet.abcdef"));
  Write("tmp/vantord-tablet.abcdef/file", "");
  fs::create_directory(In("wifi-only/.run-abcdef"));
  fs::create_directory(In("kept.making-234567"));
  Write(".page.new-abcdef", "half");
  fs::create_directory(In("tmp/vantord-tablet.mine"));  // another name is somebody's own
  EXPECT_EQ(Run({"run", "wifi-only", "--save", "kept", "--report", "page"}).exit_code, 0);
  EXPECT_EQ(Run({"run", "fresh"}).exit_code, 0);
  EXPECT_EQ(Run({"run", "wifi-only", "--in-place"}).exit_code, 0);
  EXPECT_FALSE(fs::exists(In("tmp/vantord-tablet.abcdef")));
  EXPECT_FALSE(fs::exists(In("kept.making-234567")));
  EXPECT_FALSE(fs::exists(In(".page.new-abcdef")));
  EXPECT_FALSE(fs::exists(In("wifi-only/.run-abcdef")));
  EXPECT_TRUE(fs::exists(In("tmp/vantord-tablet.mine")));
}

TEST_F(OutputsTest, AnotherRunsFolderIsLeftAlone) {
  Make("wifi-only");
  fs::create_directory(In("tmp/vantord-tablet.abcdef"));
  ProgramResult const result =
      Shell("exec 9<tmp/vantord-tablet.abcdef; flock -x 9; \"$P\" run wifi-only -q; test -d tmp/vantord-tablet.abcdef");
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST_F(OutputsTest, AnInitThatWasKilledDoesNotStopTheNext) {
  fs::create_directory(In("fresh.making-abcdef"));
  Make("fresh");
  EXPECT_FALSE(fs::exists(In("fresh.making-abcdef")));
}

TEST_F(OutputsTest, ControlCharactersOfNamesNeverReachTheTerminal) {
  Make("wifi-only");
  Set("wifi-only", "/name", "a\x1b[31mred\u009b2J\n\u202egpj tablet");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"run", "wifi-only"}, {"select", "wifi-only"}, {"run", "wifi-only", "--json"}}) {
    ProgramResult const result = Run(command);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\xc2\x9b")), Not(HasSubstr("\xe2\x80\xae"))));
  }
  EXPECT_THAT(Run({"run", "wifi-only"}).out, HasSubstr("a\\x1b[31mred\\x9b2J\\x0a\\u202egpj"));
  EXPECT_THAT(Run({"run", "no\x1b[31mfolder"}).err, HasSubstr("no\\x1b[31mfolder"));
}

TEST(EscapedTest, LeavesTextAloneAndShowsWhatIsNoText) {
  EXPECT_EQ(cli::Escaped("plain \xc3\xa4\xe4\xb8\xad\\x"), "plain \xc3\xa4\xe4\xb8\xad\\x");
  EXPECT_EQ(cli::Escaped(std::string_view("\0\x7f\xff\xe2\x80\xa8", 6)), "\\x00\\x7f\\xff\\u2028");
  EXPECT_EQ(cli::EscapedJson("{\n\"a\": \"\x7f\"}"), "{\n\"a\": \"\\u007f\"}");
}

}  // namespace
