// Events typed while a run takes real time.
#include "cli/run/typed_commands.h"

#include <unistd.h>

#include <deque>

#include "cli/boot/tablet_run.h"
#include "cli/samples/samples.h"
#include "sim/tablet/folder/folder.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using cli::Interpret;

TEST(TypedCommands, TheWordsOfTheTimelineAreUnderstood) {
  for (const char* line :
       {"suspend", "resume", "display off", "arrival \\\\?\\USB#1", "control 130", "stop", "preshutdown"}) {
    EXPECT_TRUE(Interpret(line).event.has_value()) << line;
    EXPECT_EQ(Interpret(line).answer, "") << line;
  }
}

TEST(TypedCommands, ArriveAndRemoveStandForArrivalAndRemoval) {
  EXPECT_EQ(Interpret("arrive \\\\?\\USB#1").event, Interpret("arrival \\\\?\\USB#1").event);
  EXPECT_EQ(Interpret("remove \\\\?\\USB#1").event, Interpret("removal \\\\?\\USB#1").event);
}

TEST(TypedCommands, AMistypedWordGetsTheNearestOne) {
  cli::Typed const typed = Interpret("supend");
  EXPECT_FALSE(typed.event.has_value());
  EXPECT_THAT(typed.answer, HasSubstr("unknown word \"supend\"; did you mean \"suspend\"?"));
}

TEST(TypedCommands, AnArgumentThatIsNoneIsAnsweredWithWhatTheWordTakes) {
  cli::Typed const typed = Interpret("display bright");
  EXPECT_FALSE(typed.event.has_value());
  EXPECT_THAT(typed.answer, HasSubstr("\"bright\" does not fit display; give on, off or dimmed"));
}

TEST(TypedCommands, HelpListsTheWordsAndAnEmptyLineIsNothing) {
  EXPECT_THAT(Interpret("help").answer, HasSubstr("suspend"));
  EXPECT_EQ(Interpret("  \t").answer, "");
  EXPECT_FALSE(Interpret("").event.has_value());
}

TEST(TypedCommands, LinesAreTakenWholeAndTheLastOneAlsoWithoutItsEnd) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  cli::TypedCommands typed(ends[0]);
  EXPECT_THAT(typed.Take(), IsEmpty());
  ASSERT_EQ(::write(ends[1], "suspend\nres", 11), 11);
  EXPECT_THAT(typed.Take(), ElementsAre("suspend"));
  EXPECT_FALSE(typed.ended());
  ASSERT_EQ(::write(ends[1], "ume\nstop", 8), 8);
  ::close(ends[1]);
  EXPECT_THAT(typed.Take(), ElementsAre("resume", "stop"));
  EXPECT_TRUE(typed.ended());
  ::close(ends[0]);
}

class TypedRun : public ::testing::Test {
 protected:
  TypedRun() {
    cli::MakeSample("already-deployed", true, folder_.path() / "tablet");
    std::filesystem::create_directory(folder_.path() / "work");
    tablet::CopyDrive(folder_.path() / "tablet", folder_.path() / "work");
    run_ = std::make_unique<cli::TabletRun>(tablet::ReadDescription(folder_.path() / "tablet" / "tablet.json"),
                                            folder_.path() / "tablet", folder_.path() / "work", cli::RunSettings{});
  }
  /// Types one line at each look, none at a "", and ends the input after the last.
  void Type(std::deque<std::string> lines) {
    run_->ListenTo([this, lines]() mutable {
      if (lines.empty()) return false;
      if (!lines.front().empty()) run_->Happen(*Interpret(lines.front()).event);
      lines.pop_front();
      return true;
    });
  }
  std::vector<std::uint32_t> PartnersControls() {
    std::vector<std::uint32_t> controls;
    for (const auto& received : run_->machine().partner().received()) controls.push_back(received.control);
    return controls;
  }

  testing_support::ScratchFolder folder_;
  std::unique_ptr<cli::TabletRun> run_;
};

TEST_F(TypedRun, WhatIsTypedHappensAndTheServiceStaysUntilItIsToldToStop) {
  Type({"", "", "suspend", "", "stop", "suspend"});
  cli::RunEnd const end = run_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kStopped) << end.message;
  EXPECT_THAT(PartnersControls(), ElementsAre(134u));
  // Five looks, 50 ms apart, and the stop's own poll of 2 s.
  EXPECT_EQ(run_->machine().scheduler().Now(), Millis{2250});
}

TEST_F(TypedRun, WhenTheInputEndsTheServiceIsStoppedOnceItIsParked) {
  Type({"", ""});
  cli::RunEnd const end = run_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kStopped) << end.message;
  EXPECT_THAT(PartnersControls(), IsEmpty());
}

}  // namespace
