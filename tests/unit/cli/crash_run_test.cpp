#include "tests/unit/cli/program.h"

namespace {

class CrashRunTest : public ProgramTest {
 protected:
  json Crash(const std::string& sample) { return RunJson({"run", Make(sample)})["crash"]; }
};

TEST_F(CrashRunTest, ACrashIsCollectedAndTheUserIsTold) {
  json const crash = Crash("crashed-modem");
  ASSERT_EQ(crash["dumps"].size(), 2u);
  EXPECT_THAT(crash["dumps"][0]["from"].get<std::string>(), HasSubstr("ssr_dumps\\modem.dmp"));
  EXPECT_THAT(crash["dumps"][0]["to"].get<std::string>(), HasSubstr("RetailLog\\CPCrash_20260302_080000\\modem.dmp"));
  EXPECT_EQ(crash["toast"], json({{"at_ms", 0}, {"session", 1}, {"user", "kim"}}));
  EXPECT_EQ(crash["failed_toasts"], 0);
  EXPECT_EQ(crash["reset"], "not asked for");
}

TEST_F(CrashRunTest, DumpsThatStayInTheDriversFolderAreNamed) {
  EXPECT_EQ(Crash("crashed-modem")["left_behind"], json::array());
  std::vector<std::string> const run{"run", "crashed-modem", "--fault", "MoveFileExW@2"};
  json const left = RunJson(run)["crash"]["left_behind"];
  ASSERT_EQ(left.size(), 1u);
  std::string const path = left[0];
  EXPECT_THAT(path, HasSubstr("\\ssr_dumps\\"));
  EXPECT_THAT(Run(run).out, HasSubstr("1 file left behind in " + path.substr(0, path.rfind('\\')) + ": " +
                                      path.substr(path.rfind('\\') + 1) + "\n"));
}

TEST_F(CrashRunTest, WithNobodyLoggedOnNobodyIsTold) {
  json const crash = Crash("crashed-nobody-logged-on");
  EXPECT_EQ(crash["dumps"].size(), 2u);
  EXPECT_EQ(crash["toast"], nullptr);
  EXPECT_EQ(crash["failed_toasts"], 10);
}

TEST_F(CrashRunTest, OfTwoUsersTheOneAtTheScreenIsTold) {
  EXPECT_EQ(Crash("crashed-two-sessions")["toast"], json({{"at_ms", 0}, {"session", 2}, {"user", "kim"}}));
}

TEST_F(CrashRunTest, TheModemIsResetWhenSetupHasEnded) {
  json const document = RunJson({"run", Make("oobe-then-desktop")});
  EXPECT_EQ(document["deployed"], true);
  EXPECT_EQ(document["crash"]["reset"], "done");
  EXPECT_EQ(document["crash"]["reset_at_ms"], 15'000);
  EXPECT_EQ(document["crash"]["looked_for"], false);
}

TEST_F(CrashRunTest, WithoutTheDriverTheModemIsNotReset) {
  json const document = RunJson({"run", Make("no-amss-driver")});
  EXPECT_EQ(document["deployed"], true);
  EXPECT_EQ(document["crash"]["reset"], "no driver");
  EXPECT_EQ(document["crash"]["reset_at_ms"], nullptr);
}

TEST_F(CrashRunTest, TheSummarySaysItInWords) {
  std::string const crashed = Run({"run", Make("crashed-modem")}).out;
  EXPECT_THAT(crashed, HasSubstr("2 files moved to C:\\Users\\Public\\Documents\\RetailLog\\CPCrash_20260302_080000"));
  EXPECT_THAT(crashed, HasSubstr("shown to kim in session 1 at 0.000 s"));
  std::string const alone = Run({"run", Make("crashed-nobody-logged-on")}).out;
  EXPECT_THAT(alone, HasSubstr("not shown: 10 attempts failed"));
  std::string const oobe = Run({"run", Make("oobe-then-desktop")}).out;
  EXPECT_THAT(oobe, HasSubstr("reset at 15.000 s"));
  EXPECT_THAT(oobe, HasSubstr("not looked for"));
}

}  // namespace
