// What surrounds the service: failure actions, the radio layer, machine events, the rules that are watched.
#include "sim/tablet/machine/timeline.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::FailureActions;
using tablet::FailureCount;
using tablet::MakeEvent;
using tablet::RadioProxy;
using tablet::ServiceWatch;
using tablet::TimelineEvent;

// Failure actions.

TEST(FailureActionsTest, TheLastOneStandsForAllThatFollow) {
  FailureActions const actions{
      .reset_seconds = 0, .reboot_message = {}, .command = {}, .actions = {{1, 10}, {2, 20}, {1, 30}}};
  EXPECT_EQ(actions.ForFailure(1)->delay, 10u);
  EXPECT_EQ(actions.ForFailure(2)->delay, 20u);
  EXPECT_EQ(actions.ForFailure(3)->delay, 30u);
  EXPECT_EQ(actions.ForFailure(4)->delay, 30u);
  EXPECT_EQ(actions.ForFailure(1000)->delay, 30u);
}

TEST(FailureActionsTest, WithoutActionsNothingIsDone) { EXPECT_EQ(FailureActions{}.ForFailure(1), nullptr); }

TEST(FailureActionsTest, TheCountStartsAnewAfterADayWithoutFailure) {
  constexpr std::uint32_t kDay = 86'400;
  constexpr Millis kDayLong{86'400'000};
  FailureCount count;
  EXPECT_EQ(count.Add(Millis{1000}, kDay), 1u);
  EXPECT_EQ(count.Add(Millis{1000} + kDayLong, kDay), 2u) << "exactly a day is not yet longer";
  EXPECT_EQ(count.Add(Millis{1001} + 2 * kDayLong, kDay), 1u);
  EXPECT_EQ(count.Add(Millis{1002} + 2 * kDayLong, kDay), 2u);
}

TEST(FailureActionsTest, TheFirstFailureIsTheFirstHoweverLateItComes) {
  FailureCount count;
  EXPECT_EQ(count.Add(Millis{86'400'000'000}, 86'400), 1u);
}

TEST(FailureActionsTest, ACountThatNeverResetsGrows) {
  FailureCount count;
  count.Add(Millis{0}, UINT32_MAX);
  EXPECT_EQ(count.Add(Millis{86'400'000'000}, UINT32_MAX), 2u);
}

// The radio layer.

class RadioTest : public testing_support::TabletTest {
 protected:
  void PowerOnWith(const tablet::RadioDescription& radio) {
    PowerOn(With([&](auto& description) { description.radio = radio; }));
  }
  RadioProxy::Client Client(Millis work = Millis{0}) {
    return {.on_result =
                [this, work](bool with_context) {
                  if (work != Millis{0}) machine().scheduler().Sleep(work);
                  seen_.push_back(with_context ? "result" : "result without context");
                },
            .on_notify = [this](bool) { seen_.push_back("news"); }};
  }
  std::vector<std::string> seen_;
};

TEST_F(RadioTest, FailsAsOftenAsDescribed) {
  PowerOnWith({.failing_attempts = 2});
  tablet::HandleValue handle = 0;
  EXPECT_FALSE(machine().radio().Connect(Client(), handle));
  EXPECT_FALSE(machine().radio().Connect(Client(), handle));
  EXPECT_TRUE(machine().radio().Connect(Client(), handle));
  EXPECT_NE(handle, 0u);
}

TEST_F(RadioTest, SendsNewsAndAnswersInTheDescribedOrder) {
  PowerOnWith({.notifications = 2, .answers = 2, .answer_after = Millis{40}, .answers_null_context = true});
  tablet::HandleValue handle = 0;
  machine().radio().Connect(Client(), handle);
  EXPECT_TRUE(machine().radio().Command(handle, 1));
  Settle();
  EXPECT_THAT(seen_, ElementsAre("news", "news", "result without context", "result", "result"));
  EXPECT_EQ(machine().scheduler().Now(), Millis{40});
}

TEST_F(RadioTest, AReleaseDropsWhatIsStillToCome) {
  PowerOnWith({.answer_after = Millis{40}});
  tablet::HandleValue handle = 0;
  machine().radio().Connect(Client(), handle);
  machine().radio().Command(handle, 1);
  EXPECT_TRUE(machine().radio().Release(handle));
  Settle();
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_FALSE(machine().radio().Release(handle));
  EXPECT_FALSE(machine().radio().Command(handle, 1));
}

TEST_F(RadioTest, AReleaseWaitsForACallbackThatRuns) {
  tablet::HandleValue handle = 0;
  machine().radio().Connect(Client(Millis{70}), handle);
  machine().radio().Command(handle, 1);
  machine().scheduler().Sleep(Millis{10});
  machine().radio().Release(handle);
  EXPECT_EQ(machine().scheduler().Now(), Millis{70});
  EXPECT_THAT(seen_, ElementsAre("result"));
}

// Machine events.

TEST(MachineEvents, AreMadeFromAWordAndItsArgument) {
  using Kind = TimelineEvent::Kind;
  EXPECT_EQ(MakeEvent("stop", "")->number, 1u);
  EXPECT_EQ(MakeEvent("interrogate", "")->number, 4u);
  EXPECT_EQ(MakeEvent("preshutdown", "")->number, 15u);
  EXPECT_EQ(MakeEvent("suspend", "")->number, 4u);
  EXPECT_EQ(MakeEvent("suspend", "")->kind, Kind::kPower);
  EXPECT_EQ(MakeEvent("resume", "")->number, 0x12u);
  EXPECT_EQ(MakeEvent("control", "128")->number, 128u);
  EXPECT_EQ(MakeEvent("display", "dimmed")->number, 2u);
  EXPECT_EQ(MakeEvent("power", "10")->number, 10u);
  EXPECT_EQ(MakeEvent("removal", "x")->number, 1u);
  EXPECT_EQ(MakeEvent("arrival", "x")->guid, tablet::kUsbDeviceClass);
  EXPECT_EQ(MakeEvent("setting", "5d3e9a59-e9d5-4b00-a6bd-ff34ff516548")->kind, Kind::kSetting);
}

TEST(MachineEvents, TakeNoOtherArguments) {
  for (auto const& [word, argument] : std::vector<std::pair<const char*, const char*>>{{"stop", "now"},
                                                                                       {"control", ""},
                                                                                       {"control", "127"},
                                                                                       {"control", "256"},
                                                                                       {"control", "1x"},
                                                                                       {"display", ""},
                                                                                       {"display", "1"},
                                                                                       {"power", "65536"},
                                                                                       {"power", "-1"},
                                                                                       {"setting", "lid"},
                                                                                       {"arrival", ""}}) {
    EXPECT_EQ(MakeEvent(word, argument), std::nullopt) << word << ' ' << argument;
  }
}

TEST(MachineEvents, HaveAnArgumentAndAHintForEachWord) {
  for (std::string_view const word : tablet::EventWords()) {
    EXPECT_EQ(MakeEvent(word, "").has_value(), tablet::ArgumentOf(word).empty()) << word;
    EXPECT_FALSE(tablet::HintFor(word).empty());
  }
}

class SettingTest : public testing_support::TabletTest {
 protected:
  std::string AfterAChangeOf(const std::string& setting) {
    tablet::Happen(*MakeEvent("setting", setting), machine());
    return std::get<tablet::Happening>(machine().journal().events().back().what).text;
  }
  static constexpr const char* kBatterySaver = "{E00958C0-C213-4ACE-AC77-FECCED2EEEA5}";
};

TEST_F(SettingTest, IsNotSentToWhoIsNotRegisteredForIt) {
  EXPECT_THAT(AfterAChangeOf(kBatterySaver), HasSubstr("A5}: no registration receives it"));
}

TEST_F(SettingTest, IsSentToWhoIsRegisteredForIt) {
  machine().notifications().RegisterPower(*tablet::Guid::Parse(kBatterySaver));
  EXPECT_THAT(AfterAChangeOf(kBatterySaver), HasSubstr("A5} refused: ERROR_SERVICE_NOT_ACTIVE"));
  EXPECT_THAT(AfterAChangeOf("{5D3E9A59-E9D5-4B00-A6BD-FF34FF516548}"), HasSubstr("48}: no registration receives it"));
}

// The rules that are watched.

class WatchTest : public testing_support::TabletTest {
 protected:
  std::vector<std::string> NotesAfter(Millis duration) {
    machine().scheduler().Sleep(duration);
    std::vector<std::string> notes;
    for (const tablet::Event& event : machine().journal().events()) {
      if (const auto* note = std::get_if<tablet::Happening>(&event.what)) {
        notes.push_back(std::to_string(event.time.count()) + note->text.substr(0, 20));
      }
    }
    return notes;
  }
  ServiceWatch& watch() {
    if (!watch_) watch_ = std::make_unique<ServiceWatch>(machine().scheduler(), machine().journal());
    return *watch_;
  }
  static ServiceWatch::Report Pending(int hint) { return {true, false, "STOP_PENDING", Millis{hint}}; }

  std::unique_ptr<ServiceWatch> watch_;
};

TEST_F(WatchTest, ProgressWithinTheWaitHintIsNotNoted) {
  for (int i = 0; i < 3; ++i) {
    watch().Reported(Pending(500));
    EXPECT_THAT(NotesAfter(Millis{500}), IsEmpty());
  }
  watch().Reported({false, true, "STOPPED", Millis{0}});
  EXPECT_THAT(NotesAfter(Millis{1000}), IsEmpty());
}

TEST_F(WatchTest, StandingStillIsNotedOnceForEachReport) {
  watch().Reported(Pending(500));
  EXPECT_THAT(NotesAfter(Millis{5000}), ElementsAre("501note: no progress re"));
}

TEST_F(WatchTest, AHandlerHasHalfAMinute) {
  watch().HandlerCalled(1);
  EXPECT_THAT(NotesAfter(Millis{30'000}), IsEmpty());
  watch().HandlerReturned();
  EXPECT_THAT(NotesAfter(Millis{30'000}), IsEmpty());
  watch().HandlerCalled(1);
  EXPECT_THAT(NotesAfter(Millis{30'001}), ElementsAre("90001note: the handler ha"));
}

TEST_F(WatchTest, APreshutdownHasThreeMinutesUnlessTheTabletSaysOtherwise) {
  watch().PreshutdownSent();
  EXPECT_THAT(NotesAfter(Millis{180'000}), IsEmpty());
  EXPECT_THAT(NotesAfter(Millis{1}), ElementsAre("180001note: not stopped wi"));
  watch().SetPreshutdownTimeout(Millis{10});
  watch().PreshutdownSent();
  watch().Forget();
  EXPECT_EQ(NotesAfter(Millis{1000}).size(), 1u) << "a process that has ended bends no rule";
}

}  // namespace
