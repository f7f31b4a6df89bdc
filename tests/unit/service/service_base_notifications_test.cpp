// Device and power notifications: registered at the start, undone at the end.
#include <windows.h>

#include <fmt/format.h>

#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/service/service_base.h"

namespace {

constexpr char16_t kLink[] = u"\\\\?\\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
constexpr char kUsb[] = "{A5DCBF10-6530-11D2-901F-00C04FB951ED}";
constexpr char kDisplay[] = "{6FE69556-704A-47A0-8F24-C28D936FDA47}";

/// A service that registers for both and writes down what reaches it.
class ListeningService : public CServiceBase {
 public:
  explicit ListeningService(std::vector<std::string>& seen)
      : CServiceBase(TEXT("Probe"), SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_PRESHUTDOWN),
        m_seen(seen) {}

 protected:
  void OnStart(DWORD, LPWSTR*) override {
    RegisterDeviceEvent();
    RegisterPowerEvent();
  }
  void OnDeviceEvent(DWORD type, LPVOID data) override {
    m_seen.push_back(fmt::format("{:#x} {}", type, tablet::ToUtf8(static_cast<const WCHAR*>(data))));
  }

 private:
  std::vector<std::string>& m_seen;
};

class Notifications : public service_tests::ServiceTest {
 protected:
  void BootListening() {
    machine().services().Start(u"Probe", [this] {
      ListeningService service(seen_);
      CServiceBase::Run(service);
      return 0;
    });
    Settle();
  }
  void Announce(std::uint32_t action, const tablet::Guid& interface_class = tablet::kUsbDeviceClass) {
    machine().notifications().AnnounceDevice(action, interface_class, kLink);
    Settle();
  }

  std::vector<std::string> seen_;
};

TEST_F(Notifications, AStartRegistersForUsbDevicesAndTheDisplay) {
  Boot();
  EXPECT_EQ(machine().notifications().device_registrations(), 1u);
  EXPECT_EQ(machine().notifications().power_registrations(), 1u);
  EXPECT_THAT(messages(),
              Contains(std::string("CServiceBase::RegisterDeviceEvent:67 : Success to CM_Register_Notification - "
                                   "InterfaceGUID ") +
                       kUsb));
  EXPECT_THAT(messages(),
              Contains(std::string("CServiceBase::RegisterPowerEvent:80 : Success to PowerSettingRegisterNotification "
                                   "- InterfaceGUID ") +
                       kDisplay));
}

TEST_F(Notifications, FailedRegistrationsAreLoggedAndTheServiceRunsWithoutThem) {
  Inject("CM_Register_Notification", 0x1F);
  Inject("PowerSettingRegisterNotification", 0x1F);
  Boot();
  // The same number, once in decimal and once in hexadecimal digits.
  EXPECT_THAT(messages(),
              Contains(std::string("CServiceBase::RegisterDeviceEvent:64 : Failed to CM_Register_Notification - "
                                   "InterfaceGUID ") +
                       kUsb + " (31)"));
  EXPECT_THAT(messages(),
              Contains(std::string("CServiceBase::RegisterPowerEvent:77 : Failed to PowerSettingRegisterNotification "
                                   "- InterfaceGUID ") +
                       kDisplay + " (1f)"));
  EXPECT_EQ(LastStatus().state, "RUNNING");
}

TEST_F(Notifications, AStopWithoutRegistrationsUndoesNone) {
  Inject("CM_Register_Notification", 0x1F);
  Inject("PowerSettingRegisterNotification", 0x1F);
  Boot();
  Stop();
  EXPECT_EQ(LastStatus().state, "STOPPED");
  EXPECT_THAT(machine().journal().Calls("CM_Unregister_Notification"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("PowerSettingUnregisterNotification"), IsEmpty());
  EXPECT_THAT(LinesOf("CServiceBase::Stop"), IsEmpty()) << "nothing failed";
}

TEST_F(Notifications, AnUnregistrationThatSucceedsIsNotLogged) {
  for (const char* end : {"stop", "preshutdown"}) {
    PowerOnDeployed(DefaultDescription());
    Boot();
    Happen(end);
    EXPECT_EQ(machine().journal().Calls("PowerSettingUnregisterNotification").size(), 1u) << end;
    EXPECT_THAT(LinesOf("CServiceBase::Stop"), IsEmpty());
    EXPECT_THAT(LinesOf("CServiceBase::Preshutdown"), IsEmpty());
  }
}

TEST_F(Notifications, EachRegistrationIsUndoneOnItsOwn) {
  Inject("CM_Register_Notification", 0x1F);
  Boot();
  Stop();
  EXPECT_THAT(machine().journal().Calls("CM_Unregister_Notification"), IsEmpty());
  EXPECT_EQ(machine().journal().Calls("PowerSettingUnregisterNotification").size(), 1u);
}

TEST_F(Notifications, ArrivalAndRemovalReachTheServiceWithTheLink) {
  BootListening();
  Announce(0);
  Announce(1);
  std::string const link = tablet::ToUtf8(kLink);
  EXPECT_THAT(seen_, ElementsAre("0x8000 " + link, "0x8004 " + link));
}

TEST_F(Notifications, DevicesOfOtherClassesDoNot) {
  BootListening();
  Announce(0, tablet::kModemControlClass);
  EXPECT_THAT(seen_, IsEmpty());
}

TEST_F(Notifications, TheyComeOnAThreadOfTheConfigurationManager) {
  Boot();
  Announce(0);
  std::string thread;
  for (const tablet::Event& event : machine().journal().events()) {
    const auto* message = std::get_if<tablet::TraceEvent>(&event.what);
    if (message != nullptr && message->text.find("DBT_DEVICEARRIVAL") != std::string::npos) thread = event.thread;
  }
  EXPECT_THAT(thread, HasSubstr("configuration manager"));
}

TEST_F(Notifications, AnUnknownActionIsLoggedInTheSameWords) {
  BootListening();
  for (std::uint32_t action : {2u, 3u, 9u}) Announce(action);
  EXPECT_THAT(seen_, IsEmpty());
  std::string const line = "ServiceDeviceNotification:46 : MyCmInterfaceNotification : Arrival unknown action";
  EXPECT_THAT(LinesOf("ServiceDeviceNotification"), ElementsAre(line, line, line));
  EXPECT_FALSE(machine().scheduler().halted()) << "the callback returns success";
}

TEST_F(Notifications, AFailedUnregistrationIsLoggedAndStillEndsInStopped) {
  Inject("CM_Unregister_Notification", 0x13);
  Inject("PowerSettingUnregisterNotification", ERROR_INVALID_HANDLE);
  BootListening();
  Stop();
  EXPECT_EQ(LastStatus().state, "STOPPED");
  EXPECT_THAT(LinesOf("CServiceBase::Stop"),
              ElementsAre("CServiceBase::Stop:138 : Failed to CM_Unregister_Notification - (19)",
                          "CServiceBase::Stop:142 : Failed to PowerSettingUnregisterNotification - (6)"));
}

TEST_F(Notifications, AFailedUnregistrationAtAPreshutdownIsLoggedUnderItsOwnName) {
  Inject("CM_Unregister_Notification", 0x13);
  Inject("PowerSettingUnregisterNotification", ERROR_INVALID_HANDLE);
  BootListening();
  Happen("preshutdown");
  EXPECT_EQ(LastStatus().state, "STOPPED");
  EXPECT_THAT(LinesOf("CServiceBase::Preshutdown"),
              ElementsAre("CServiceBase::Preshutdown:155 : Failed to CM_Unregister_Notification - (19)",
                          "CServiceBase::Preshutdown:159 : Failed to PowerSettingUnregisterNotification - (6)"));
}

TEST_F(Notifications, AFailedUnregistrationIsNotTriedAgain) {
  Inject("CM_Unregister_Notification", 0x13);
  Inject("PowerSettingUnregisterNotification", ERROR_INVALID_HANDLE);
  // The stopped report is lost, so that the dispatcher goes on and delivers a second stop.
  Inject("SetServiceStatus", ERROR_INVALID_HANDLE, 4, 1);
  BootListening();
  machine().services().SendUnchecked(tablet::kControlStop, 0);
  Settle();
  machine().services().SendUnchecked(tablet::kControlStop, 0);
  Settle();
  EXPECT_EQ(LastStatus().state, "STOPPED");
  EXPECT_EQ(machine().journal().Calls("CM_Unregister_Notification").size(), 1u);
  EXPECT_EQ(machine().journal().Calls("PowerSettingUnregisterNotification").size(), 1u);
}

TEST_F(Notifications, TheServicesOwnFailureToUnregisterIsNeverDelivered) {
  Inject("CM_Unregister_Notification", 0x13);
  Boot();
  Stop();
  auto const line = AllOf(HasSubstr("CServiceBase::Stop"), HasSubstr("CM_Unregister_Notification"));
  EXPECT_THAT(formatted(), Contains(line));
  EXPECT_THAT(messages(), Not(Contains(line)));
}

}  // namespace
