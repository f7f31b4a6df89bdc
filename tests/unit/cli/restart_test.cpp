// A service whose process dies is restarted by the service manager, as the service configured it.
#include <ranges>

#include "cli/boot/tablet_run.h"
#include "cli/samples/samples.h"
#include "sim/tablet/folder/folder.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::StatusEvent;

constexpr tablet::WinError kBadHandle = 6;

class RestartTest : public ::testing::Test {
 protected:
  RestartTest() {
    cli::MakeSample("already-deployed", true, folder_.path() / "tablet");
    std::filesystem::create_directory(folder_.path() / "work");
    tablet::CopyDrive(folder_.path() / "tablet", folder_.path() / "work");
    PowerOn();
  }

  void PowerOn() {
    run_.reset();
    run_ = std::make_unique<cli::TabletRun>(tablet::ReadDescription(folder_.path() / "tablet" / "tablet.json"),
                                            folder_.path() / "tablet", folder_.path() / "work", cli::RunSettings{});
  }
  /// Those of each start of the service's process.
  std::vector<std::uint32_t> FirstCheckPoints() {
    std::vector<std::uint32_t> check_points;
    for (const StatusEvent& status : machine().journal().Statuses()) {
      if (status.state == "START_PENDING") check_points.push_back(status.check_point);
    }
    return check_points;
  }

  tablet::Tablet& machine() { return run_->machine(); }
  /// The worker's wait fails in the next `times` runs, which ends their processes.
  void LetTheWorkerDie(std::uint32_t times) {
    machine().faults().Add({.call = "WaitForSingleObject", .error = kBadHandle, .first = 1, .count = times});
  }
  std::vector<std::string> Notes(std::string_view part) {
    std::vector<std::string> notes;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* note = std::get_if<tablet::Happening>(&event.what);
      if (note != nullptr && note->text.find(part) != std::string::npos) notes.push_back(note->text);
    }
    return notes;
  }

  testing_support::ScratchFolder folder_;
  std::unique_ptr<cli::TabletRun> run_;
};

TEST_F(RestartTest, AProcessThatDiesFourTimesIsRestartedEachTimeAfterASecond) {
  LetTheWorkerDie(4);
  cli::RunEnd const end = run_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kStopped) << end.message;
  EXPECT_EQ(machine().services().deaths(), 4u);
  EXPECT_THAT(Notes("it is restarted after"), ElementsAre("failure 1 of the service: it is restarted after 1000 ms",
                                                          "failure 2 of the service: it is restarted after 1000 ms",
                                                          "failure 3 of the service: it is restarted after 1000 ms",
                                                          "failure 4 of the service: it is restarted after 1000 ms"));
  EXPECT_GE(machine().scheduler().Now(), Millis{4000});
}

TEST_F(RestartTest, EachRestartBeginsWithProcessWideStateAsAtTheStartOfAProcess) {
  LetTheWorkerDie(2);
  run_->Run(std::nullopt);
  EXPECT_THAT(FirstCheckPoints(), ElementsAre(1u, 1u, 1u));
}

TEST_F(RestartTest, EachRunOfThisProgramBeginsWithProcessWideStateAsAtTheStartOfAProcess) {
  run_->Run(std::nullopt);
  PowerOn();
  run_->Run(std::nullopt);
  EXPECT_THAT(FirstCheckPoints(), ElementsAre(1u));
}

TEST_F(RestartTest, TheServiceConfiguresThreeRestartsCountedAnewEachDay) {
  run_->Run(std::nullopt);
  const tablet::FailureActions& actions = machine().services().failure_actions();
  EXPECT_EQ(actions.reset_seconds, 86'400u);
  EXPECT_EQ(actions.reboot_message, u"Vantor Service is restarted.");
  EXPECT_EQ(actions.command, u"");
  EXPECT_EQ(actions.actions.size(), 3u);
  EXPECT_THAT(actions.actions, Each(tablet::FailureAction{.type = 1, .delay = 1000}));
}

TEST_F(RestartTest, WithoutFailureActionsADeathIsTheEnd) {
  machine().faults().Add({.call = "OpenSCManagerW", .error = 5, .first = 1, .count = 1});
  LetTheWorkerDie(1);
  cli::RunEnd const end = run_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kDied);
  EXPECT_THAT(end.message, HasSubstr("Windows error code 6"));
}

TEST_F(RestartTest, AStopWithAnErrorCodeIsNoFailure) {
  machine().faults().Add({.call = "QueueUserWorkItem", .error = 8, .first = 1, .count = 1});
  cli::RunEnd const end = run_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kFailed);
  EXPECT_EQ(machine().services().deaths(), 0u);
  EXPECT_THAT(Notes("it is restarted after"), testing::IsEmpty());
}

}  // namespace
