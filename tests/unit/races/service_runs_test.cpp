// Whole runs of a service, under many orders of its threads.
#include "tests/unit/races/race_fixture.h"

#include <winsvc.h>

#include "cli/base/service_facts.h"
#include "sim/tablet/machine/timeline.h"
#include "vantord/service/service_base.h"

namespace {

constexpr DWORD kMask = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_PRESHUTDOWN;
constexpr char kUsbLink[] = "\\\\?\\USB#VID_1199&PID_9079#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";

/// The fields of a small service that listens for devices, in words of their own.
struct Fields {
  alignas(8) int start = 0;    ///< written by the start work and the control handler
  alignas(8) int device = 0;   ///< written by the device callback and after its unregistration
  alignas(8) int handler = 0;  ///< written by the control handler and the device callback
  alignas(8) int worker = 0;   ///< written by the control handler and a work item
  bool careless = false;       ///< whether the last two are written at all
};

class SharingService : public CServiceBase {
 public:
  explicit SharingService(Fields& fields) : CServiceBase(TEXT("Probe"), kMask), m_fields(fields) {}
  ~SharingService() override { ++m_fields.device; }

 protected:
  void OnStart(DWORD, LPWSTR*) override {
    m_fields.start = 1;
    RegisterDeviceEvent();
    if (m_fields.careless) ::QueueUserWorkItem(Work, &m_fields.worker, WT_EXECUTELONGFUNCTION);
  }
  void OnPowerEvent(DWORD, LPVOID) override {
    ++m_fields.start;
    if (!m_fields.careless) return;
    ++m_fields.handler;
    ++m_fields.worker;
  }
  void OnDeviceEvent(DWORD, LPVOID) override {
    ++m_fields.device;
    if (m_fields.careless) ++m_fields.handler;
  }

 private:
  static DWORD WINAPI Work(LPVOID context) { return static_cast<DWORD>(++*static_cast<int*>(context)); }

  Fields& m_fields;
};

class ServiceRuns : public race_tests::RaceTest {
 protected:
  /// The races of a run with a device and a power event.
  int RacesOfARun(Fields& fields) {
    machine().services().Start(u"Probe", [&fields] {
      SharingService service(fields);
      CServiceBase::Run(service);
      return 0;
    });
    Settle();
    Happen("arrival", kUsbLink);
    Happen("resume");
    Stop();
    EXPECT_EQ(States().back(), "STOPPED");
    return races();
  }
};

TEST_F(ServiceRuns, StartControlsUnregistrationAndEndAreOrdered) {
  Fields fields;
  EXPECT_EQ(RacesOfARun(fields), 0);
  EXPECT_EQ(fields.start, 2);
  EXPECT_EQ(fields.device, 2);
}

TEST_F(ServiceRuns, FieldsOfTheHandlerThatCallbackAndWorkItemWriteTooAreFound) {
  Fields fields;
  fields.careless = true;
  EXPECT_EQ(RacesOfARun(fields), 2);
}

/// Runs of the whole service in the order of a seed.
class SeededRuns : public race_tests::RaceTest, public testing::WithParamInterface<std::uint64_t> {
 protected:
  void PowerOnSeeded() {
    tablet::Description description = DefaultDescription();
    description.radio.answers = 1;
    description.radio.notifications = 3;
    PowerOnDeployed(description, {.seed = GetParam()});
  }
  /// Puts an event in the machine's way without waiting until it has been dealt with.
  void Soon(std::string_view word, const std::string& argument = {}) {
    tablet::Happen(*tablet::MakeEvent(word, argument), machine());
    machine().scheduler().Sleep(Millis{1});
  }
  bool IsRunning() { return machine().services().status().state == tablet::kServiceRunning; }
};

TEST_P(SeededRuns, AStartEventsOfAllKindsAndAStopAreClean) {
  PowerOnSeeded();
  Start();
  machine().scheduler().Wait(tablet::kForever, [this] { return IsRunning(); });
  for (int round = 0; round < 3; ++round) {
    Soon("arrival", kUsbLink);
    Soon("display", "off");
    Soon("control", "130");
    Soon("suspend");
    Soon("removal", kUsbLink);
    Soon("resume");
    Soon("interrogate");
  }
  Stop();
  EXPECT_EQ(States().back(), "STOPPED");
  EXPECT_FALSE(machine().services().ended()->died);
  EXPECT_EQ(races(), 0);
}

TEST_P(SeededRuns, AStopInTheMiddleOfTheStartUpIsClean) {
  PowerOnSeeded();
  // Images that are not deployed yet, and a firmware that keeps failing: the start-up takes its time.
  registry().PutText(std::u16string(service_tests::kModemClass) + u"\\0000", u"AmssFwImagePath",
                     u"\\SystemRoot\\old.mbn");
  machine().firmware().trouble().status = ERROR_IO_DEVICE;
  Start();
  machine().scheduler().Wait(tablet::kForever, [this] { return IsRunning(); });
  Soon("arrival", kUsbLink);
  Soon("preshutdown");
  Settle();
  EXPECT_EQ(States().back(), "STOPPED");
  EXPECT_EQ(races(), 0);
}

TEST_P(SeededRuns, TheTraceControllerMayComeAndGoMeanwhile) {
  PowerOnSeeded();
  tablet::Guid const provider = *tablet::Guid::Parse(service_facts::kTraceProvider);
  Start();
  for (int round = 0; round < 50; ++round) {
    machine().trace().StopCollecting(provider);
    machine().scheduler().Yield();
    machine().trace().Collect(provider, 1, 5);
    machine().scheduler().Yield();
  }
  Settle();
  Stop();
  EXPECT_EQ(races(), 0);
}

INSTANTIATE_TEST_SUITE_P(Orders, SeededRuns, testing::Range<std::uint64_t>(1, 9));

}  // namespace
