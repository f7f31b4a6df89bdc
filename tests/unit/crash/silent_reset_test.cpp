#include "vantord/crash/silent_reset.h"

#include "sim/tablet/kernel/waitable.h"
#include "tests/unit/crash/crash_fixture.h"

namespace {

constexpr char kTimeout[] = "ExecuteSilentResetQCThread:4374 : WAIT_TIMEOUT for waiting OOBE mode out";
constexpr char kStart[] = "ExecuteSilentResetQCThread:4378 : Start sending IOCTL_MODEM_RESET";
constexpr char kSent[] = "ExecuteSilentResetQCThread:4418 : Successfully sent IOCTL_REQ_MODEM_RESET to AMSS driver";
constexpr std::uint32_t kBusy = 170;

class SilentResetTest : public crash_tests::CrashTest {
 protected:
  DWORD Run() { return ExecuteSilentResetQCThread(StopEvent()); }
  HANDLE StopEvent() {
    if (m_event == nullptr) m_event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return m_event;
  }
  void Begin(const tablet::CrashDescription& crash) {
    PowerOnAgain(With([&](auto& description) { description.crash = crash; }));
  }
  std::vector<std::string> Said() { return MessagesOf("ExecuteSilentResetQCThread"); }
  const std::vector<tablet::AmssDriver::Request>& requests() { return machine().amss().requests(); }

 private:
  HANDLE m_event = nullptr;
};

TEST_F(SilentResetTest, BehindSetupTheModemIsResetAtOnce) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  EXPECT_EQ(Run(), 1u);
  EXPECT_THAT(Said(), ElementsAre(kStart, kSent));
  EXPECT_EQ(machine().amss().resets(), 1u);
  EXPECT_EQ(machine().scheduler().Now(), Millis{0});
  EXPECT_THAT(open_kinds(), ElementsAre("event"));
}

TEST_F(SilentResetTest, TheLinesOfAResetStandAroundTheUseOfTheDriver) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  Run();
  EXPECT_LT(At("_vsnwprintf", kStart), At("CreateFileW"));
  EXPECT_LT(At("CloseHandle"), At("_vsnwprintf", kSent));
}

TEST_F(SilentResetTest, TheRequestIs1042BytesWithASingle1) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  Run();
  ASSERT_EQ(requests().size(), 1u);
  std::vector<std::uint8_t> expected(1042, 0);
  expected[1040] = 1;
  EXPECT_EQ(requests().front().record, expected);
}

TEST_F(SilentResetTest, TheRequestNamesNoPlaceForReturnedBytes) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  Run();
  std::vector<tablet::CallEvent> const calls = machine().journal().Calls("DeviceIoControl");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_THAT(calls.front().args, HasSubstr("0x9ca30c00, 1042 in, 0 out, not counted"));
}

TEST_F(SilentResetTest, TheDeviceIsOpenedForItselfAlone) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  Run();
  std::vector<tablet::CallEvent> const calls = machine().journal().Calls("CreateFileW");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls.front().args, "\"\\\\.\\AMSSStats\", 0xc0000000, 0x0, 3, 0x0");
}

TEST_F(SilentResetTest, DuringSetupItWaitsAndThenResets) {
  Begin({.setup = {{Millis{12'000}, u"IMAGE_STATE_COMPLETE"}}});
  PutImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  EXPECT_EQ(Run(), 1u);
  EXPECT_THAT(Said(), ElementsAre(kTimeout, kTimeout, kTimeout, kStart, kSent));
  ASSERT_EQ(requests().size(), 1u);
  EXPECT_EQ(requests().front().at, Millis{15'000});
}

TEST_F(SilentResetTest, AStopDuringSetupEndsItWithoutAReset) {
  PutImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  auto const event = machine().handles().Get<tablet::EventObject>(reinterpret_cast<tablet::HandleValue>(StopEvent()));
  machine().scheduler().At(Millis{7000}, [event] { event->Set(); });
  EXPECT_EQ(Run(), 1u);
  EXPECT_THAT(Said(), ElementsAre(kTimeout, "ExecuteSilentResetQCThread:4370 : Thread Close"));
  EXPECT_EQ(machine().scheduler().Now(), Millis{7000});
  EXPECT_THAT(Results("CreateFileW"), IsEmpty());
}

TEST_F(SilentResetTest, AStopBeforeItBeginsEndsItAtOnceDuringSetup) {
  PutImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  ::SetEvent(StopEvent());
  EXPECT_EQ(Run(), 1u);
  EXPECT_THAT(Said(), ElementsAre("ExecuteSilentResetQCThread:4370 : Thread Close"));
  EXPECT_EQ(machine().scheduler().Now(), Millis{0});
}

TEST_F(SilentResetTest, BehindSetupAStopDoesNotHoldTheResetBack) {
  PutImageState(u"IMAGE_STATE_COMPLETE");
  ::SetEvent(StopEvent());
  EXPECT_EQ(Run(), 1u);
  EXPECT_EQ(machine().amss().resets(), 1u);
}

TEST_F(SilentResetTest, AnImageStateThatCannotBeReadCountsAsTheEndOfSetup) {
  EXPECT_EQ(Run(), 1u);
  EXPECT_EQ(machine().amss().resets(), 1u);
  EXPECT_THAT(messages(), Contains("IsDefaultSetupState:1598 : SGetRegistrySZ FAILED"));
}

TEST_F(SilentResetTest, WithABadEventItAsksTheRegistryWithoutPause) {
  PutImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  int queries = 0;
  registry().on_query = [&](std::u16string_view, std::u16string_view, tablet::WinError, const tablet::RegistryValue&) {
    if (++queries == 50) PutImageState(u"IMAGE_STATE_COMPLETE");
  };
  EXPECT_EQ(ExecuteSilentResetQCThread(nullptr), 1u);
  EXPECT_EQ(MessagesOf("IsDefaultSetupState:1592").size(), 50u);
  EXPECT_THAT(Said(), ElementsAre(kStart, kSent));
  EXPECT_EQ(machine().scheduler().Now(), Millis{0});
}

TEST_F(SilentResetTest, WithoutTheDriverThereIsNoReset) {
  Begin({.amss = {.present = false}});
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Said(), ElementsAre(kStart, "ExecuteSilentResetQCThread:4394 : Unable to get a handle to AMSS driver!"));
}

TEST_F(SilentResetTest, ADriverThatIsTakenIsNotTriedAgain) {
  Begin({.amss = {.open_error = tablet::kSharingViolation}});
  EXPECT_EQ(Run(), 0u);
  EXPECT_EQ(Results("CreateFileW").size(), 1u);
  EXPECT_EQ(Said().back(), "ExecuteSilentResetQCThread:4394 : Unable to get a handle to AMSS driver!");
}

TEST_F(SilentResetTest, ARefusedResetIsNotTriedAgain) {
  Begin({.amss = {.request_error = kBusy}});
  EXPECT_EQ(Run(), 0u);
  EXPECT_THAT(Said(),
              ElementsAre(kStart, "ExecuteSilentResetQCThread:4412 : IOCTL_REQ_MODEM_RESET failed, error = 0xaa"));
  EXPECT_EQ(requests().size(), 1u);
  EXPECT_EQ(machine().amss().resets(), 0u);
  EXPECT_THAT(open_kinds(), ElementsAre("event"));
}

}  // namespace
