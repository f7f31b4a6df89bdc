// Calls that send a control or start a service while the service's own handler works on a control.
#include <windows.h>

#include <winsvc.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

constexpr DWORD kUserControl = 130;

class ControlsOfTwoServices : public testing_support::TabletTest {
 protected:
  /// A service whose handler takes `handlerTakes`, with the handler at work.
  void BootAndSend(bool serial, Millis handlerTakes, std::uint32_t partnerState) {
    tablet::Description description = DefaultDescription();
    description.serial_controls = serial;
    description.partner.state = partnerState;
    PowerOn(description);
    machine().services().Start(u"Vantord", [this, handlerTakes] {
      machine().services().RunDispatcher(u"Vantord", [this, handlerTakes](const auto&) {
        handle_ = machine().services().RegisterHandler(u"Vantord", [handlerTakes](auto, auto, auto) {
          ::Sleep(static_cast<DWORD>(handlerTakes.count()));
          return 0u;
        });
        machine().services().Report(handle_, {.state = tablet::kServiceRunning, .controls_accepted = 1});
      });
      return 0;
    });
    machine().scheduler().Sleep(Millis{1});
    ASSERT_EQ(machine().services().Send(kUserControl), 0u);
    machine().scheduler().Sleep(Millis{1});
  }
  static SC_HANDLE Partner() {
    return ::OpenServiceW(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS), TEXT("Pelt"), SERVICE_ALL_ACCESS);
  }
  /// The error of a control sent to the partner; 0: it arrived.
  DWORD SendToPartner() {
    SERVICE_STATUS status = {};
    return ::ControlService(Partner(), 134, &status) ? 0 : ::GetLastError();
  }
  DWORD StartPartner() { return ::StartServiceW(Partner(), 0, nullptr) ? 0 : ::GetLastError(); }
  std::vector<std::string> Notes() {
    std::vector<std::string> notes;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* happening = std::get_if<tablet::Happening>(&event.what);
      if (happening != nullptr && happening->text.starts_with("note: ")) notes.push_back(happening->text);
    }
    return notes;
  }

  tablet::HandleValue handle_ = 0;
};

TEST_F(ControlsOfTwoServices, WithIndependentControlsAreSentAtOnce) {
  BootAndSend(false, Millis{60'000}, tablet::kServiceRunning);
  EXPECT_EQ(SendToPartner(), 0u);
  EXPECT_EQ(Now(), Millis{2});
  BootAndSend(false, Millis{60'000}, tablet::kServiceStopped);
  EXPECT_EQ(StartPartner(), 0u);
  EXPECT_EQ(Now(), Millis{2});
  EXPECT_THAT(Notes(), IsEmpty());
}

TEST_F(ControlsOfTwoServices, WithSerialControlsWaitForTheHandler) {
  constexpr char kWaits[] =
      " waits: the handler of service \"Vantord\" works on control 130, and Windows sends one control at a time";
  BootAndSend(true, Millis{10'000}, tablet::kServiceRunning);
  EXPECT_EQ(SendToPartner(), 0u);
  EXPECT_EQ(Now(), Millis{10'001});
  EXPECT_EQ(machine().partner().received().at(0).time, Millis{10'001});
  EXPECT_THAT(Notes(), ElementsAre(std::string("note: ControlService") + kWaits));
  EXPECT_EQ(SendToPartner(), 0u);
  EXPECT_EQ(Now(), Millis{10'001}) << "no control is being handled any more";
  BootAndSend(true, Millis{10'000}, tablet::kServiceStopped);
  EXPECT_EQ(StartPartner(), 0u);
  EXPECT_EQ(Now(), Millis{10'001});
  EXPECT_THAT(Notes(), ElementsAre(std::string("note: StartServiceW") + kWaits));
}

TEST_F(ControlsOfTwoServices, WithSerialControlsFailAfterHalfAMinute) {
  BootAndSend(true, Millis{60'000}, tablet::kServiceRunning);
  EXPECT_EQ(SendToPartner(), tablet::kServiceRequestTimeout);
  EXPECT_EQ(Now(), Millis{30'002});
  EXPECT_THAT(machine().partner().received(), IsEmpty());
  EXPECT_THAT(Notes(), Contains("note: ControlService fails after 30 s: the handler of service \"Vantord\" works on "
                                "control 130: ERROR_SERVICE_REQUEST_TIMEOUT (1053)"));
  BootAndSend(true, Millis{60'000}, tablet::kServiceStopped);
  EXPECT_EQ(StartPartner(), tablet::kServiceRequestTimeout);
  EXPECT_EQ(Now(), Millis{30'002});
  EXPECT_EQ(machine().partner().Status().state, tablet::kServiceStopped);
}

TEST_F(ControlsOfTwoServices, AProcessThatEndsInItsHandlerReleasesTheOthers) {
  BootAndSend(true, Millis{60'000}, tablet::kServiceRunning);
  machine().scheduler().Start(machine().services().process(), "dies", [] { throw 1; });
  EXPECT_EQ(SendToPartner(), 0u);
  EXPECT_EQ(Now(), Millis{2});
}

// What the service manager sends, and takes, after the end.

TEST_F(ControlsOfTwoServices, NothingIsSentAfterAStop) {
  BootAndSend(false, Millis{0}, tablet::kServiceStopped);
  machine().services().Report(handle_, {.state = tablet::kServiceRunning, .controls_accepted = 0x141});
  EXPECT_EQ(machine().services().Send(tablet::kControlStop), 0u);
  for (std::uint32_t const control :
       {kUserControl + 0u, tablet::kControlPowerEvent, tablet::kControlPreshutdown, tablet::kControlStop}) {
    EXPECT_EQ(machine().services().Send(control), tablet::kServiceCannotAcceptControl) << control;
  }
}

TEST_F(ControlsOfTwoServices, AServiceThatStartsIsSentAStopIfItAcceptsOne) {
  BootAndSend(false, Millis{0}, tablet::kServiceStopped);
  machine().services().Report(handle_, {.state = tablet::kServiceStartPending});
  EXPECT_EQ(machine().services().Send(tablet::kControlStop), tablet::kInvalidServiceControl);
  EXPECT_EQ(machine().services().Send(kUserControl), tablet::kServiceCannotAcceptControl);
  machine().services().Report(handle_, {.state = tablet::kServiceStartPending, .controls_accepted = 1});
  EXPECT_EQ(machine().services().Send(tablet::kControlStop), 0u);
}

TEST_F(ControlsOfTwoServices, AStatusAfterStoppedStopsTheRun) {
  BootAndSend(false, Millis{0}, tablet::kServiceStopped);
  auto const report = [this] {
    SERVICE_STATUS status = {};
    for (DWORD const state : {SERVICE_STOPPED, SERVICE_RUNNING}) {
      status.dwCurrentState = state;
      ::SetServiceStatus(reinterpret_cast<SERVICE_STATUS_HANDLE>(handle_), &status);
    }
  };
  EXPECT_THAT(testing_support::RefusalOf(machine(), report),
              testing::StartsWith("SetServiceStatus: RUNNING is reported after STOPPED"));
}

}  // namespace
