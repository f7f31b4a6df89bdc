// The order of the service's work, where another order would have the same result.
#include <windows.h>

#include "tests/testing/modem_fixture.h"
#include "tests/unit/service/service_fixture.h"

namespace {

constexpr char16_t kDump[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\modem.dmp";

class Order : public service_tests::ServiceTest {};

TEST_F(Order, TheFactoryLinesStepsFollowOneAnother) {
  registry().PutText(modem_tests::kSetupState, u"ImageState", u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
  registry().PutText(modem_tests::kService, u"ModemImageID", u"ATT");
  registry().PutDword(u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"CrashDumpEnabled", 3);
  drive().Put(kDump, testing_support::ToBytes("dump"));
  Boot();
  EXPECT_LT(At("StartTraceW"), At("RegQueryValueExW", "\"Version\"")) << "the recording before the versions";
  EXPECT_LT(At("RegQueryValueExW", "\"Version\""), At("GetFileVersionInfoSizeW", "Vantord.exe"));
  EXPECT_LT(At("GetFileVersionInfoSizeW", "Vantord.exe"), At("GetFileVersionInfoSizeW", "PeltService.exe"));
  EXPECT_LT(At("GetFileVersionInfoSizeW", "PeltService.exe"), At("RegQueryValueExW", "Distribute"))
      << "the versions before the request";
  EXPECT_LT(At("RegQueryValueExW", "Distribute"), At("RegQueryValueExW", "PELT_KNOW_TO_GO_SSR"));
  EXPECT_LT(At("RegQueryValueExW", "PELT_KNOW_TO_GO_SSR"), At("DeviceIoControl", "0x68922002"));
  EXPECT_LT(At("DeviceIoControl", "0x68922002"), At("RegQueryValueExW", "CrashDumpEnabled"))
      << "the image ID goes into firmware before the dumps are looked for";
  EXPECT_LT(At("RegQueryValueExW", "CrashDumpEnabled"), At("FindFirstFileW", "*.dmp"));
  EXPECT_LT(At("FindFirstFileW", "*.dmp"), At("StartServiceW")) << "the partner starts last";
}

TEST_F(Order, TheServiceRegistersForEventsBeforeItsWorkerIsQueued) {
  Boot();
  EXPECT_LT(At("RegisterTraceGuidsW"), At("CM_Get_Device_Interface_List_SizeW"));
  EXPECT_LT(At("CM_Get_Device_Interface_List_SizeW"), At("CM_Register_Notification"));
  EXPECT_LT(At("CM_Register_Notification"), At("PowerSettingRegisterNotification"));
  EXPECT_LT(At("PowerSettingRegisterNotification"), At("QueueUserWorkItem"));
}

TEST_F(Order, TheProviderIsUnregisteredOnceTheWorkerHasEndedAndBeforeTheEventsAre) {
  Boot();
  Stop();
  EXPECT_LT(At("RIL_Release"), At("WaitForSingleObject", "4294967295")) << "the radio first";
  EXPECT_LT(At("WaitForSingleObject", "4294967295"), At("UnregisterTraceGuids")) << "the worker's wait has returned";
  EXPECT_LT(At("UnregisterTraceGuids"), At("CM_Unregister_Notification"));
  EXPECT_LT(At("CM_Unregister_Notification"), At("PowerSettingUnregisterNotification"));
  EXPECT_LT(At("PowerSettingUnregisterNotification"), At("SetServiceStatus", "STOPPED"));
}

TEST_F(Order, WithoutAModemTheProviderIsUnregisteredAfterTheReasonAndBeforeTheStop) {
  PowerOnDeployed(With([](auto& wifi_only) { wifi_only.modem_present = false; }));
  Boot();
  EXPECT_LT(At("_vsnwprintf", "do not start for WIFI device"), At("UnregisterTraceGuids"));
  EXPECT_LT(At("UnregisterTraceGuids"), At("SetServiceStatus", "STOPPED"));
  EXPECT_THAT(messages(), testing::Contains(testing::HasSubstr("do not start for WIFI device")));
}

}  // namespace
