// What the service does with stop, power events, device events and custom controls.
#include <windows.h>

#include <dbt.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>

#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/service/vantord.h"

namespace {

constexpr char kLinkText[] = R"(\\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed})";

/// Writes down what it is asked to do.
class RecordingModem final : public CModemTemplate {
 public:
  explicit RecordingModem(std::function<void(const std::string&)> record) : m_record(std::move(record)) {}

  DWORD Init() override { return 0; }
  /// Does not come back, so that a stop can be looked at without a worker that ends it.
  void Deinit(DWORD flag) override {
    m_record("Deinit " + std::to_string(flag));
    throw -1;
  }
  void OnSuspend() override { m_record("OnSuspend"); }
  void OnResume() override { m_record("OnResume"); }
  void OnDeviceRemoved(const WCHAR* link) override { m_record("OnDeviceRemoved " + tablet::ToUtf8(link)); }
  void OnDeviceArrival(const WCHAR* link) override { m_record("OnDeviceArrival " + tablet::ToUtf8(link)); }
  void OnModemOn() override { m_record("OnModemOn"); }
  void OnModemOff() override { m_record("OnModemOff"); }
  void OnDssRemoved() override { m_record("OnDssRemoved"); }
  void OnRilAbort() override { m_record("OnRilAbort"); }

 private:
  std::function<void(const std::string&)> m_record;
};

/// The service with its handlers opened and a modem object of the test's own.
class OpenedService : public CVantord {
 public:
  using CVantord::OnDefaultControl;
  using CVantord::OnDeviceEvent;
  using CVantord::OnPowerEvent;
  using CVantord::OnPreshutdown;
  using CVantord::OnStop;
  void Take(std::shared_ptr<CModemTemplate> modem) { m_pModem = std::move(modem); }
};

class ControlHandling : public service_tests::ServiceTest {
 protected:
  ControlHandling() {
    service_.Take(modem_);
    skipped_ = formatted().size();
  }

  /// What was logged since the last question.
  std::vector<std::string> Logged() {
    std::vector<std::string> lines = formatted();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skipped_));
    skipped_ += lines.size();
    return lines;
  }
  void SetDisplay(UCHAR state, const GUID& setting = kConsoleDisplayState) {
    POWERBROADCAST_SETTING record{setting, sizeof(DWORD), {state}};
    service_.OnPowerEvent(PBT_POWERSETTINGCHANGE, &record);
  }
  void SendDevice(DWORD type) {
    std::u16string link = tablet::ToUtf16(kLinkText);
    service_.OnDeviceEvent(type, link.data());
  }

  std::vector<std::string> seen_;
  std::shared_ptr<RecordingModem> modem_ = std::make_shared<RecordingModem>([this](const std::string& what) {
    seen_.push_back(what + (machine().partner().received().empty() ? "" : ", the partner knows"));
  });
  OpenedService service_;
  std::size_t skipped_ = 0;
};

// The display.

TEST_F(ControlHandling, TheDisplayIsOnOrOff) {
  SetDisplay(1);
  EXPECT_EQ(modem_->m_bDisplayOn, 1u);
  SetDisplay(0);
  EXPECT_EQ(modem_->m_bDisplayOn, 0u);
  EXPECT_THAT(Logged(),
              ElementsAre("CVantord::OnPowerEvent: (+)",
                          "CVantord::OnPowerEvent:31 : SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE",
                          "CVantord::OnPowerEvent:54 : Power Data=0x1", "CVantord::OnPowerEvent: (-)",
                          "CVantord::OnPowerEvent: (+)",
                          "CVantord::OnPowerEvent:31 : SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE",
                          "CVantord::OnPowerEvent:54 : Power Data=0x0", "CVantord::OnPowerEvent: (-)"));
}

TEST_F(ControlHandling, ADimmedDisplayLeavesTheFlagUnchanged) {
  for (DWORD before : {1u, 0u}) {
    modem_->m_bDisplayOn = before;
    for (UCHAR state : {2, 3, 255}) {
      SetDisplay(state);
      EXPECT_EQ(modem_->m_bDisplayOn, before) << int{state};
    }
  }
  EXPECT_THAT(formatted(), Contains("CVantord::OnPowerEvent:54 : Power Data=0xff"));
  EXPECT_THAT(seen_, IsEmpty()) << "no modem operation hears of the display";
}

TEST_F(ControlHandling, OnlyTheFirstByteOfTheSettingCounts) {
  constexpr std::size_t kData = offsetof(POWERBROADCAST_SETTING, Data);
  alignas(POWERBROADCAST_SETTING) BYTE record[kData + sizeof(DWORD)] = {};
  std::memcpy(record, &kConsoleDisplayState, sizeof kConsoleDisplayState);
  record[sizeof kConsoleDisplayState] = sizeof(DWORD);
  for (std::size_t at : {0, 1, 2, 3}) record[kData + at] = at == 0 ? 1 : 7;
  service_.OnPowerEvent(PBT_POWERSETTINGCHANGE, record);
  EXPECT_EQ(modem_->m_bDisplayOn, 1u);
  EXPECT_THAT(formatted(), Contains("CVantord::OnPowerEvent:54 : Power Data=0x1"));
}

TEST_F(ControlHandling, AnotherPowerSettingOrNoDataDoesNothing) {
  GUID other = kConsoleDisplayState;
  other.Data4[7] ^= 1;
  SetDisplay(1, other);
  service_.OnPowerEvent(PBT_POWERSETTINGCHANGE, nullptr);
  EXPECT_EQ(modem_->m_bDisplayOn, 0u);
  EXPECT_THAT(Logged(),
              ElementsAre("CVantord::OnPowerEvent: (+)",
                          "CVantord::OnPowerEvent:31 : SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE",
                          "CVantord::OnPowerEvent: (-)", "CVantord::OnPowerEvent: (+)",
                          "CVantord::OnPowerEvent:31 : SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE",
                          "CVantord::OnPowerEvent: (-)"));
}

// Suspend and resume.

TEST_F(ControlHandling, ASuspendIsToldToThePartnerBeforeTheModem) {
  PowerOn(With([](auto& description) { description.partner.state = tablet::kServiceRunning; }));
  service_.OnPowerEvent(PBT_APMSUSPEND, nullptr);
  ASSERT_EQ(machine().partner().received().size(), 1u);
  EXPECT_EQ(machine().partner().received()[0].control, 134u);
  EXPECT_THAT(seen_, ElementsAre("OnSuspend, the partner knows"));
  EXPECT_THAT(formatted(),
              ElementsAre("CVantord::OnPowerEvent: (+)",
                          "CVantord::OnPowerEvent:36 : SERVICE_CONTROL_POWEREVENT Type = PBT_APMSUSPEND",
                          "CVantord::SendModemControlMessage: (+)",
                          "CVantord::SendModemControlMessage:162 : ControlService Success w/err 0x00000000",
                          "CVantord::SendModemControlMessage: (-)", "CVantord::OnPowerEvent: (-)"));
}

TEST_F(ControlHandling, AResumeIsToldToTheModemAlone) {
  service_.OnPowerEvent(PBT_APMRESUMEAUTOMATIC, nullptr);
  EXPECT_THAT(seen_, ElementsAre("OnResume"));
  EXPECT_THAT(Logged(), ElementsAre("CVantord::OnPowerEvent: (+)",
                                    "CVantord::OnPowerEvent:43 : SERVICE_CONTROL_POWEREVENT Type = "
                                    "PBT_APMRESUMEAUTOMATIC",
                                    "CVantord::OnPowerEvent: (-)"));
}

TEST_F(ControlHandling, OtherPowerEventsMeanNothing) {
  service_.OnPowerEvent(10, nullptr);
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_THAT(Logged(), ElementsAre("CVantord::OnPowerEvent: (+)", "CVantord::OnPowerEvent: (-)"));
}

// Devices.

TEST_F(ControlHandling, ArrivalAndRemovalOfADeviceAreToldToTheModem) {
  SendDevice(DBT_DEVICEARRIVAL);
  SendDevice(DBT_DEVICEREMOVECOMPLETE);
  EXPECT_THAT(seen_,
              ElementsAre("OnDeviceArrival " + std::string(kLinkText), "OnDeviceRemoved " + std::string(kLinkText)));
  EXPECT_THAT(Logged(),
              ElementsAre("CVantord::OnDeviceEvent: (+)",
                          "CVantord::OnDeviceEvent:66 : DBT_DEVICEARRIVAL, (" + std::string(kLinkText) + ")",
                          "CVantord::OnDeviceEvent: (-)", "CVantord::OnDeviceEvent: (+)",
                          "CVantord::OnDeviceEvent:70 : DBT_DEVICEREMOVECOMPLETE, (" + std::string(kLinkText) + ")",
                          "CVantord::OnDeviceEvent: (-)"));
}

TEST_F(ControlHandling, OtherDeviceEventsMeanNothing) {
  SendDevice(0x8001);
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_THAT(Logged(), ElementsAre("CVantord::OnDeviceEvent: (+)", "CVantord::OnDeviceEvent: (-)"));
}

// Custom controls.

TEST_F(ControlHandling, TheFourCustomControlsEachHaveTheirOperation) {
  for (DWORD control : {130u, 131u, 132u, 133u}) service_.OnDefaultControl(control);
  EXPECT_THAT(seen_, ElementsAre("OnModemOn", "OnModemOff", "OnDssRemoved", "OnRilAbort"));
  EXPECT_THAT(
      Logged(),
      ElementsAre("CVantord::OnDefaultControl: (+)", "CVantord::OnDefaultControl:81 : SERVICE_CONTROL_MODEM_ON",
                  "CVantord::OnDefaultControl: (-)", "CVantord::OnDefaultControl: (+)",
                  "CVantord::OnDefaultControl:85 : SERVICE_CONTROL_MODEM_OFF", "CVantord::OnDefaultControl: (-)",
                  "CVantord::OnDefaultControl: (+)", "CVantord::OnDefaultControl:89 : SERVICE_CONTROL_DSS_REMOVED",
                  "CVantord::OnDefaultControl: (-)", "CVantord::OnDefaultControl: (+)",
                  "CVantord::OnDefaultControl:93 : SERVICE_CONTROL_RIL_ABORT", "CVantord::OnDefaultControl: (-)"));
}

TEST_F(ControlHandling, AllOtherControlsAreIgnoredTheSuspendNoticeAmongThem) {
  for (DWORD control : {129u, 134u, 135u}) {
    service_.OnDefaultControl(control);
    EXPECT_THAT(Logged(), ElementsAre("CVantord::OnDefaultControl: (+)", "CVantord::OnDefaultControl: (-)")) << control;
  }
  EXPECT_THAT(seen_, IsEmpty());
}

// Stop and preshutdown.

TEST_F(ControlHandling, AStopEndsTheModemWithOneAndAPreshutdownWithZero) {
  EXPECT_THROW(service_.OnStop(), int);
  EXPECT_THAT(Logged(), ElementsAre("CVantord::OnStop:114 : VantorService OnStop")) << "without entry and exit";
  EXPECT_THROW(service_.OnPreshutdown(), int);
  EXPECT_THAT(Logged(), ElementsAre("CVantord::OnPreshutdown:119 : VantorService OnPreshutdown"));
  EXPECT_THAT(seen_, ElementsAre("Deinit 1", "Deinit 0"));
}

TEST_F(ControlHandling, WithoutAModemObjectEverythingElseIsDone) {
  service_.Take(nullptr);
  SetDisplay(1);
  service_.OnPowerEvent(PBT_APMSUSPEND, nullptr);
  service_.OnPowerEvent(PBT_APMRESUMEAUTOMATIC, nullptr);
  SendDevice(DBT_DEVICEARRIVAL);
  SendDevice(DBT_DEVICEREMOVECOMPLETE);
  for (DWORD control : {130u, 131u, 132u, 133u}) service_.OnDefaultControl(control);
  EXPECT_THAT(LinesOf("CVantord::OnD"), testing::SizeIs(6));
  EXPECT_THAT(LinesOf("CVantord::OnPowerEvent"), testing::SizeIs(4));
  machine().scheduler().Start(1, "stop", [this] { service_.OnStop(); });
  machine().scheduler().Sleep(Millis{5000});
  EXPECT_EQ(machine().journal().Calls("SetEvent").size(), 1u) << "the worker is told to end";
  EXPECT_EQ(Times("Sleep", "2000"), 2u) << "and waited for";
}

// Through the service manager.

class ControlsSent : public service_tests::ServiceTest {};

TEST_F(ControlsSent, DisplayEventsReachTheServiceWithTheirState) {
  Boot();
  for (const char* state : {"on", "dimmed", "off"}) Happen("display", state);
  EXPECT_THAT(LinesOf("CVantord::OnPowerEvent:54"),
              ElementsAre("CVantord::OnPowerEvent:54 : Power Data=0x1", "CVantord::OnPowerEvent:54 : Power Data=0x2",
                          "CVantord::OnPowerEvent:54 : Power Data=0x0"));
}

TEST_F(ControlsSent, DisplayEventsStayAwayWhenNobodyRegisteredForThem) {
  Inject("PowerSettingRegisterNotification", ERROR_INVALID_PARAMETER);
  Boot();
  Happen("display", "on");
  EXPECT_THAT(LinesOf("CVantord::OnPowerEvent"), IsEmpty());
  EXPECT_THAT(Notes(), Contains("display on: no registration receives it"));
}

TEST_F(ControlsSent, NoFailureIsEverReportedToTheServiceManager) {
  PowerOnDeployed(With([](auto& description) { description.manager_denied = true; }));
  Boot();
  Happen("suspend");
  EXPECT_THAT(LinesOf("CVantord::SendModemControlMessage"), testing::SizeIs(1));
  EXPECT_EQ(machine().services().last_answer(), 0u);
  Happen("control", "200");
  EXPECT_EQ(machine().services().last_answer(), 0u);
  EXPECT_EQ(LastStatus().state, "RUNNING");
}

TEST_F(ControlsSent, RefusedControlsAreNotedWithWindowsErrorAndItsName) {
  Happen("stop");
  Start();
  machine().scheduler().Sleep(Millis{1});
  machine().services().Send(tablet::kControlStop);
  machine().scheduler().Sleep(Millis{1});
  Happen("control", "130");
  EXPECT_THAT(Notes(), Contains("stop control refused: ERROR_SERVICE_NOT_ACTIVE (1062)"));
  EXPECT_THAT(Notes(), Contains("control 130 refused: ERROR_SERVICE_CANNOT_ACCEPT_CTRL (1061)"));
}

// The rules that the service bends are noted.

TEST_F(ControlsSent, AStopWithoutProgressIsNoted) {
  Boot();
  Stop();
  EXPECT_THAT(Notes(), Contains("note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING"));
  EXPECT_THAT(Notes(), Not(Contains(HasSubstr("handler")))) << "two seconds are not too long";
}

TEST_F(ControlsSent, AHandlerThatTakesLongerThanHalfAMinuteIsNoted) {
  PowerOnDeployed(
      With([](auto& description) { description.radio.failing_attempts = tablet::RadioDescription::kAlways; }));
  Boot();
  Stop();
  EXPECT_THAT(Notes(),
              Contains("note: the handler has not returned from control 1 for 30 s, which counts as no answer: "
                       "ERROR_SERVICE_REQUEST_TIMEOUT (1053)"));
  EXPECT_THAT(Notes(), Not(Contains(HasSubstr("preshutdown time-out"))));
}

TEST_F(ControlsSent, APreshutdownThatIsTooLongForWindowsIsNoted) {
  tablet::Description description = DefaultDescription();
  description.radio.failing_attempts = tablet::RadioDescription::kAlways;
  description.preshutdown_timeout = Millis{60'000};
  PowerOnDeployed(description);
  Boot();
  Happen("preshutdown");
  EXPECT_THAT(Notes(), Contains("note: not stopped within the preshutdown time-out of 60000 ms; Windows would shut "
                                "down without waiting any longer"));
  EXPECT_EQ(LastStatus().state, "STOPPED");
}

}  // namespace
