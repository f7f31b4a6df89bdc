// The command line as people who know other programs expect it.
#include "tests/unit/cli/program.h"

namespace {

class OptionsTest : public ProgramTest {};

TEST_F(OptionsTest, VersionAndHelpEndWithZero) {
  EXPECT_THAT(Run({"--version"}).out, testing::StartsWith("vantord-tablet 1.0.0 (commit "));
  EXPECT_EQ(Run({"help"}).out, Run({"--help"}).out);
  EXPECT_EQ(Run({"help", "run"}).out, Run({"run", "--help"}).out);
  EXPECT_EQ(Run({"help", "rnu"}).exit_code, 2);
  EXPECT_THAT(Run({"help", "rnu"}).err, HasSubstr("unknown command \"rnu\"; did you mean \"run\"?"));
}

TEST_F(OptionsTest, ExplainReadsFromAPipeUnlessItIsALog) {
  Make("fresh");
  ProgramResult const read = Shell("\"$P\" run fresh --quiet --events - 2>/dev/null | \"$P\" explain - --quiet");
  EXPECT_EQ(read.exit_code, 0) << read.err;
  EXPECT_THAT(read.out, HasSubstr("Starts      1, none of them failed"));
  ProgramResult const log = Shell(
      "{ printf '\\000\\020\\000\\000'; head -c 50 /dev/zero; printf '\\004\\000'; head -c 16 /dev/zero; "
      "printf '\\000\\000\\002\\300'; head -c 40 /dev/zero; } | \"$P\" explain -");
  EXPECT_EQ(log.exit_code, 3);
  EXPECT_THAT(log.err, HasSubstr("standard input: is a trace log; name its file"));
}

TEST_F(OptionsTest, HelpHasExamplesAndExitCodesAndNoRawTypes) {
  for (const char* const command :
       {"init", "import", "export", "run", "select", "lint", "pack", "verify", "diff", "explain", "validate", "check",
        "world", "story", "collect", "replay", "fault", "sweep"}) {
    ProgramResult const help = Run({command, "--help"});
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_THAT(help.out, AllOf(HasSubstr(std::string("    vantord-tablet ") + command), HasSubstr("Exit codes:"),
                                HasSubstr("130  ended by a signal"), Not(HasSubstr(" in ["))));
    for (const char* const raw : {"TEXT", "INT", "UINT", "FLOAT"})
      EXPECT_THAT(help.out, Not(HasSubstr(raw))) << command;
  }
}

TEST_F(OptionsTest, SuggestionsAreNearOrNotMade) {
  EXPECT_THAT(Run({"foo"}).err,
              AllOf(HasSubstr("unknown command \"foo\"; known are: "), Not(HasSubstr("did you mean"))));
  EXPECT_THAT(Run({"swep", "x"}).err, HasSubstr("did you mean \"sweep\"?"));
  EXPECT_THAT(Run({"run", "x", "--fault", "Zzz"}).err, Not(HasSubstr("did you mean")));
}

TEST_F(OptionsTest, ColoursAreAskedForOrRefused) {
  Make("wifi-only");
  EXPECT_THAT(Run({"run", "wifi-only"}).out, Not(HasSubstr("\x1b[")));
  EXPECT_THAT(Run({"run", "wifi-only", "--color=always"}).out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(Run({"--color", "always", "run", "wifi-only"}).out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(Shell("FORCE_COLOR=1 \"$P\" run wifi-only").out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(Shell("FORCE_COLOR=1 NO_COLOR=1 \"$P\" run wifi-only").out, Not(HasSubstr("\x1b[")));
  EXPECT_THAT(Shell("FORCE_COLOR=1 \"$P\" run wifi-only --color never").out, Not(HasSubstr("\x1b[")));
  EXPECT_EQ(Run({"run", "wifi-only", "--color", "red"}).exit_code, 2);
}

TEST_F(OptionsTest, TimesHaveUnits) {
  Make("already-deployed");
  EXPECT_EQ(RunJson({"run", "already-deployed", "--until", "1.5s"}, 6)["virtual_ms"], 1500);
  EXPECT_EQ(RunJson({"run", "already-deployed", "--until", "1500ms"}, 6)["virtual_ms"], 1500);
  EXPECT_EQ(RunJson({"run", "already-deployed", "--until", "1500"}, 6)["virtual_ms"], 1500);
  for (const char* const wrong : {"soon", "5 parsecs", "-1", "1e99", ""}) {
    ProgramResult const result = Run({"run", "already-deployed", std::string("--until=") + wrong});
    EXPECT_EQ(result.exit_code, 2) << wrong;
    EXPECT_THAT(result.err, HasSubstr("--until")) << wrong;
  }
  for (const char* const option : {"--timeout=2s", "--timeout=0.5", "--patience=0.5"}) {
    EXPECT_EQ(Run({"run", "already-deployed", option}).exit_code, 0) << option;
  }
  EXPECT_THAT(Run({"run", "--help"}).out, Not(HasSubstr("patience")));
}

TEST_F(OptionsTest, QuietLeavesFailuresAndTheExitCode) {
  ProgramResult const made = Run({"init", "wifi-only", "--sample", "wifi-only", "--small", "--quiet"});
  EXPECT_EQ(made.exit_code, 0);
  EXPECT_EQ(made.out + made.err, "");
  EXPECT_EQ(Run({"select", "-q", "wifi-only"}).out, "");
  EXPECT_EQ(Run({"validate", "wifi-only", "-q"}).out, "");
  EXPECT_THAT(Run({"-q", "select", "nowhere"}).err, HasSubstr("there is no such folder"));
}

TEST_F(OptionsTest, ADashIsStandardOutput) {
  Make("wifi-only");
  ProgramResult const events = Run({"run", "wifi-only", "--events", "-"});
  EXPECT_EQ(events.exit_code, 0);
  EXPECT_THAT(events.out, StartsWith("{\"seq\":1,"));
  EXPECT_THAT(events.err, HasSubstr("Firmware"));
  EXPECT_FALSE(std::filesystem::exists(In("-")));
  EXPECT_THAT(Run({"run", "wifi-only", "--report", "-", "-q"}).out, StartsWith("<!DOCTYPE html>"));
  EXPECT_EQ(Run({"run", "wifi-only", "--events", "-", "--trace", "-"}).exit_code, 2);
  EXPECT_EQ(Run({"run", "wifi-only", "--events", "-", "--json"}).exit_code, 2);
  EXPECT_EQ(Shell("\"$P\" run wifi-only --events - >/dev/full").exit_code, 1);
}

}  // namespace
