// Events typed while a run takes real time.
#include "cli/typed_commands.h"

#include <unistd.h>

#include <deque>

#include "cli/life.h"
#include "cli/samples.h"
#include "tablet/folder.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using cli::Interpret;
using tablet::Millis;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
  EXPECT_THAT(typed.answer, HasSubstr("no such word: \"supend\"; did you mean \"suspend\"?"));
}

TEST(TypedCommands, AnArgumentThatIsNoneIsAnsweredWithWhatTheWordTakes) {
  cli::Typed const typed = Interpret("display bright");
  EXPECT_FALSE(typed.event.has_value());
  EXPECT_THAT(typed.answer, HasSubstr("\"bright\" is nothing for display; give on, off or dimmed"));
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

class TypedLife : public ::testing::Test {
 protected:
  TypedLife() {
    cli::MakeSample("already-deployed", true, folder_.path() / "tablet");
    std::filesystem::create_directory(folder_.path() / "work");
    tablet::CopyDrive(folder_.path() / "tablet", folder_.path() / "work");
    life_ = std::make_unique<cli::Life>(tablet::ReadDescription(folder_.path() / "tablet" / "tablet.json"),
                                        folder_.path() / "tablet", folder_.path() / "work", cli::LifeOptions{});
  }
  /// Types one line at each look, none at a "", and ends the input behind the last.
  void Type(std::deque<std::string> lines) {
    life_->ListenTo([this, lines]() mutable {
      if (lines.empty()) return false;
      if (!lines.front().empty()) life_->Happen(*Interpret(lines.front()).event);
      lines.pop_front();
      return true;
    });
  }
  std::vector<std::uint32_t> PartnersControls() {
    std::vector<std::uint32_t> controls;
    for (const auto& received : life_->machine().partner().received()) controls.push_back(received.control);
    return controls;
  }

  testing_support::ScratchFolder folder_;
  std::unique_ptr<cli::Life> life_;
};

TEST_F(TypedLife, WhatIsTypedHappensAndTheServiceStaysUntilItIsToldToStop) {
  Type({"", "", "suspend", "", "stop", "suspend"});
  cli::LifeEnd const end = life_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::LifeEnd::Kind::kStopped) << end.message;
  EXPECT_THAT(PartnersControls(), ElementsAre(134u));
  // Five looks, 50 ms apart, and the stop's own poll of 2 s.
  EXPECT_EQ(life_->machine().scheduler().Now(), Millis{2250});
}

TEST_F(TypedLife, WhenTheInputEndsTheServiceIsStoppedOnceItIsParked) {
  Type({"", ""});
  cli::LifeEnd const end = life_->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::LifeEnd::Kind::kStopped) << end.message;
  EXPECT_THAT(PartnersControls(), IsEmpty());
}

}  // namespace
