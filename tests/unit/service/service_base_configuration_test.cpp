// The failure actions that the service writes for itself at every start.
#include <windows.h>

#include "tests/unit/service/service_fixture.h"

namespace {

class ServiceConfiguration : public service_tests::ServiceTest {
 protected:
  const tablet::FailureActions& Actions() { return machine().services().failure_actions(); }
  bool ReachedTheStartWork() { return !LinesOf("CVantord::OnStart").empty() && LastStatus().state == "RUNNING"; }
};

TEST_F(ServiceConfiguration, ACrashIsAnsweredByThreeRestartsADay) {
  Boot();
  EXPECT_EQ(Actions().reset_seconds, 86400u);
  EXPECT_EQ(Actions().reboot_message, u"Vantor Service is restarted.");
  EXPECT_EQ(Actions().command, u"");
  tablet::FailureAction const restart{1, 1000};
  EXPECT_THAT(Actions().actions, ElementsAre(restart, restart, restart));
}

TEST_F(ServiceConfiguration, TheyAreWrittenBetweenTheFirstReportAndTheStartWork) {
  Boot();
  std::vector<std::string> lines = formatted();
  auto const begin = std::ranges::find(lines, "CServiceBase::SetServiceStatus:101 : Service SetServiceStatus, 141");
  ASSERT_GE(lines.end() - begin, 3);
  EXPECT_EQ(begin[1], "ConfigureFailureActions: (+)");
  EXPECT_EQ(begin[2], "ConfigureFailureActions: (-)");
}

TEST_F(ServiceConfiguration, TheirBeginIsLoggedBeforeTheServiceIsOpened) {
  Boot();
  EXPECT_LT(At("_vsnwprintf", "ConfigureFailureActions: (+)"), At("OpenSCManagerW"));
}

TEST_F(ServiceConfiguration, TheServiceClosesWhatItOpened) {
  Inject("StartServiceW", ERROR_ACCESS_DENIED);
  Boot();
  auto const kinds = machine().handles().OpenKinds(machine().services().process());
  EXPECT_THAT(kinds, Not(Contains("service")));
  EXPECT_THAT(kinds, Not(Contains("service manager")));
}

TEST_F(ServiceConfiguration, WithoutRightsOnTheServiceManagerTheStartGoesOn) {
  PowerOnDeployed(With([](auto& description) { description.manager_denied = true; }));
  Boot();
  // Logged twice, under two names.
  EXPECT_THAT(formatted(), Contains("OpenServiceHandle:19 : OpenSCManager failed (5)"));
  EXPECT_THAT(formatted(), Contains("ConfigureFailureActions:35 : hService NULL"));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("hService NULL")))) << "the log opens only after this";
  EXPECT_TRUE(ReachedTheStartWork());
  EXPECT_THAT(Actions().actions, IsEmpty());
}

TEST_F(ServiceConfiguration, WithoutRightsOnItselfTheStartGoesOn) {
  Inject("OpenServiceW", ERROR_ACCESS_DENIED, 1, 1);
  Boot();
  EXPECT_THAT(LinesOf("OpenServiceHandle"), ElementsAre("OpenServiceHandle:24 : OpenService failed (5)"));
  EXPECT_THAT(LinesOf("ConfigureFailureActions"), ElementsAre("ConfigureFailureActions:35 : hService NULL"));
  EXPECT_TRUE(ReachedTheStartWork());
}

TEST_F(ServiceConfiguration, AFailedChangeIsLoggedAndTheStartGoesOn) {
  Inject("ChangeServiceConfig2W", 0x1F);
  Boot();
  EXPECT_THAT(LinesOf("ConfigureFailureActions"),
              ElementsAre("ConfigureFailureActions:47 : Error in ChangeServiceConfig2 - GLE=0x1f"));
  EXPECT_TRUE(ReachedTheStartWork());
}

TEST_F(ServiceConfiguration, EveryStartWritesTheSame) {
  Boot();
  tablet::FailureActions const first = Actions();
  Stop();
  machine().services().SetFailureActions({});
  Boot();
  EXPECT_EQ(Actions(), first);
}

}  // namespace
