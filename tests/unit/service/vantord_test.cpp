// The whole service on a simulated tablet: what its start and its stop do.
#include <windows.h>

#include <winsvc.h>

#include <algorithm>

#include "cli/base/service_facts.h"
#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

using tablet::StatusEvent;

constexpr const char* kProvider = service_facts::kTraceProvider;
constexpr auto& kParameters = service_facts::kParametersKey;
using service_tests::kModemClass;

class VantordService : public service_tests::ServiceTest {
 protected:
  bool IsProviderRegistered() { return machine().trace().IsRegistered(*tablet::Guid::Parse(kProvider)); }
};

TEST_F(VantordService, StartsRunsAndStopsWithExitCodeZero) {
  Boot();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING"));
  EXPECT_TRUE(machine().services().IsParked());
  Stop();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_EQ(LastStatus().exit_code, 0u);
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_FALSE(machine().services().ended()->died);
  EXPECT_EQ(machine().services().ended()->exit_code, 0);
}

TEST_F(VantordService, AcceptsStopPowerAndPreshutdown) {
  Boot();
  EXPECT_EQ(LastStatus().controls_accepted, 0x141u);
  EXPECT_EQ(machine().services().Send(SERVICE_CONTROL_SHUTDOWN), tablet::kInvalidServiceControl);
  EXPECT_EQ(machine().services().Send(SERVICE_CONTROL_PAUSE), tablet::kInvalidServiceControl);
}

TEST_F(VantordService, LogsItsStartWithTheBuildStamp) {
  Boot();
  EXPECT_THAT(messages(), Contains("CVantord::OnStart:62 : VantorService OnStart [Jan  1 2026, 00:00:00]"));
  EXPECT_THAT(messages(), Contains("CVantord::ServiceWorkerThread:104 : ServiceWorkerThread to run"));
}

TEST_F(VantordService, WhatIsLoggedBeforeTheStartWorkIsNeverDelivered) {
  Boot();
  std::string const mask = "CVantord::CVantord:41 : Service m_controlsAccepted, 141";
  EXPECT_THAT(formatted(), Contains(mask));
  EXPECT_THAT(messages(), Not(Contains(mask)));
  EXPECT_LT(At("_vsnwprintf", mask), At("CreateEventW"));
  std::string const zone = "GetDebugZoneMask:";
  EXPECT_THAT(formatted(), Contains(zone + "71 : Fail to get dwRegulZoneMask registry"));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr(zone))));
}

TEST_F(VantordService, TheZoneMaskOfTheRegistryHoldsFromTheStartOn) {
  registry().PutDword(kParameters, u"ulZoneMask", 0);
  Boot();
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("VantorService OnStart"))));
}

TEST_F(VantordService, WithoutAModemItStopsCleanlyAfterTwentySeconds) {
  PowerOnDeployed(With([](auto& wifi_only) { wifi_only.modem_present = false; }));
  Boot();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_EQ(LastStatus().exit_code, 0u);
  EXPECT_EQ(Now(), Millis{20'000});
  EXPECT_THAT(messages(), Contains("CModemTemplate::ExistModemCtrl:118 : m_pModemCtrl Open Fail"));
  EXPECT_THAT(messages(), Contains("CVantord::OnStart:69 : VantorService do not start for WIFI device"));
  EXPECT_FALSE(IsProviderRegistered());
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_FALSE(machine().services().ended()->died);
}

TEST_F(VantordService, AStopUnregistersTheTraceProviderAndSaysNothingAfterIt) {
  Boot();
  EXPECT_TRUE(IsProviderRegistered());
  Stop();
  EXPECT_FALSE(IsProviderRegistered());
  // Four reports: the first comes before the provider exists, the last after its end.
  std::string const report = "CServiceBase::SetServiceStatus:101 : Service SetServiceStatus, 141";
  EXPECT_EQ(std::ranges::count(formatted(), report), 4);
  EXPECT_EQ(std::ranges::count(messages(), report), 2);
}

TEST_F(VantordService, AStopDuringTheStartUpWaitsForItInStepsOfTwoSeconds) {
  // A firmware that keeps failing costs the start-up 400 attempts with 15 ms between them: 6 s and more.
  registry().PutText(std::u16string(kModemClass) + u"\\0000", u"AmssFwImagePath", u"\\SystemRoot\\old.mbn");
  machine().firmware().trouble().status = ERROR_IO_DEVICE;
  Start();
  machine().scheduler().Sleep(Millis{1000});
  Stop();
  EXPECT_EQ(LastStatus().state, "STOPPED");
  std::size_t polls = 0;
  for (const tablet::CallEvent& call : machine().journal().Calls("Sleep")) polls += call.args == "2000" ? 1 : 0;
  EXPECT_GE(polls, 2u);
  EXPECT_EQ(Now() % Millis{1000}, Millis{0});
  EXPECT_TRUE(machine().services().ended().has_value());
}

TEST_F(VantordService, APreshutdownEndsItAsAStopDoes) {
  Boot();
  ASSERT_EQ(machine().services().Send(SERVICE_CONTROL_PRESHUTDOWN), 0u);
  Settle();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_THAT(messages(), Contains("CVantord::OnPreshutdown:119 : VantorService OnPreshutdown"));
}

TEST_F(VantordService, AWorkerThatCannotBeQueuedStopsTheServiceWithTheError) {
  Inject("QueueUserWorkItem", ERROR_NOT_ENOUGH_MEMORY);
  Boot();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_EQ(LastStatus().exit_code, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
  // Nothing is undone: the process ends, and with it what it registered.
  EXPECT_THAT(machine().journal().Calls("CM_Unregister_Notification"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("PowerSettingUnregisterNotification"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("UnregisterTraceGuids"), IsEmpty());
  EXPECT_EQ(machine().notifications().device_registrations(), 0u);
  EXPECT_EQ(machine().notifications().power_registrations(), 0u);
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_FALSE(machine().services().ended()->died);
}

TEST_F(VantordService, WithoutItsStopEventTheProcessDies) {
  Inject("CreateEventW", ERROR_NOT_ENOUGH_MEMORY, 1, 1);
  Boot();
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_TRUE(machine().services().ended()->died);
  EXPECT_THAT(machine().services().ended()->reason, HasSubstr("Windows error code 8"));
  EXPECT_THAT(States(), IsEmpty());
}

TEST_F(VantordService, WithoutAModemTheServiceRegistersForNothing) {
  PowerOnDeployed(With([](auto& wifi_only) { wifi_only.modem_present = false; }));
  Boot();
  EXPECT_THAT(machine().journal().Calls("CM_Register_Notification"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("PowerSettingRegisterNotification"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("QueueUserWorkItem"), IsEmpty());
}

TEST_F(VantordService, AStartUpThatAchievesNothingStillStartsThePartner) {
  registry().PutText(std::u16string(kModemClass) + u"\\0000", u"AmssFwImagePath", u"\\SystemRoot\\old.mbn");
  Boot();
  EXPECT_EQ(machine().partner().Status().state, tablet::kServiceRunning);
  EXPECT_EQ(LastStatus().state, "RUNNING");
}

TEST_F(VantordService, WhenItHasStoppedNothingOfItIsLeftOpen) {
  Boot();
  Stop();
  auto const closes = machine().journal().Calls("CloseServiceHandle");
  EXPECT_EQ(closes.size(), 4u) << "two of its own configuration, two of the partner's start";
  EXPECT_EQ(machine().notifications().device_registrations(), 0u);
  EXPECT_EQ(machine().notifications().power_registrations(), 0u);
  EXPECT_EQ(machine().radio().releases(), 1u);
}

TEST_F(VantordService, AWorkerWhoseWaitFailsEndsTheProcess) {
  Inject("WaitForSingleObject", ERROR_INVALID_HANDLE);
  Boot();
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_TRUE(machine().services().ended()->died);
  EXPECT_THAT(machine().services().ended()->reason, HasSubstr("thread \"worker\""));
}

}  // namespace
