#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::Guid;

const Guid kProvider = *Guid::Parse("{00000000-0000-0000-0000-000000000001}");
const Guid kOther = *Guid::Parse("{00000000-0000-0000-0000-000000000002}");
const Guid kMessage = *Guid::Parse("{11111111-2222-3333-4444-555555555555}");

class TraceControllerTest : public testing_support::TabletTest {
 protected:
  tablet::TraceController& trace() { return machine().trace(); }
  /// Registers a provider that writes down what it is told: flags and level, or "off".
  std::uint64_t Register(const Guid& provider, tablet::ProcessId process = tablet::kMachineProcess) {
    return trace().Register(
        provider,
        [this](bool enabled, std::uint64_t logger) {
          told_.push_back(enabled ? std::to_string(tablet::TraceController::EnableFlags(logger)) + "/" +
                                        std::to_string(tablet::TraceController::EnableLevel(logger))
                                  : "off");
          logger_ = logger;
        },
        process);
  }
  std::uint64_t StartSession(std::u16string name) {
    std::uint64_t handle = 0;
    EXPECT_EQ(trace().StartSession({.name = std::move(name)}, handle), 0u);
    return handle;
  }
  tablet::TraceEvent Sent(std::u16string_view text) {
    trace().Collect(kProvider, 1, 5);
    if (logger_ == 0) Register(kProvider);
    EXPECT_EQ(trace().Message(logger_, kMessage, 10, text), 0u);
    return std::get<tablet::TraceEvent>(machine().journal().events().back().what);
  }

  std::vector<std::string> told_;
  std::uint64_t logger_ = 0;
};

TEST_F(TraceControllerTest, ACollectedProviderIsEnabledAsItRegisters) {
  trace().Collect(kProvider, 0x31, 5);
  Register(kProvider);
  Register(kOther);
  EXPECT_THAT(told_, ElementsAre("49/5"));
}

TEST_F(TraceControllerTest, AProviderIsEnabledByASessionLaterWhereTheTabletSaysSo) {
  PowerOn(With([](auto& description) { description.trace_enabled_after = tablet::Millis{250}; }));
  trace().Collect(kProvider, 1, 5);
  Register(kProvider);
  std::uint64_t const collector = logger_;
  std::uint64_t const session = StartSession(u"private");
  EXPECT_EQ(trace().Enable(session, {kProvider, 4, 0xFF, 0}), 0u);
  machine().scheduler().Sleep(tablet::Millis{249});
  EXPECT_EQ(logger_, collector) << "messages still go to the session before";
  machine().scheduler().Sleep(tablet::Millis{2});
  EXPECT_THAT(told_, ElementsAre("1/5", "255/4"));
  EXPECT_EQ(trace().Message(logger_, kMessage, 10, u"to the new one"), 0u);
  EXPECT_NE(logger_, collector);
}

TEST_F(TraceControllerTest, ARegisteredProviderIsToldOfEachChange) {
  Register(kProvider);
  EXPECT_THAT(told_, IsEmpty());
  trace().Collect(kProvider, 1, 5);
  trace().Collect(kProvider, 2, 4);
  trace().StopCollecting(kProvider);
  trace().StopCollecting(kProvider);
  EXPECT_THAT(told_, ElementsAre("1/5", "2/4", "off"));
  EXPECT_EQ(logger_, 0u);
}

TEST_F(TraceControllerTest, AnUnregisteredProviderIsToldNothing) {
  std::uint64_t const registration = Register(kProvider);
  EXPECT_TRUE(trace().IsRegistered(kProvider));
  EXPECT_TRUE(trace().Unregister(registration));
  EXPECT_FALSE(trace().Unregister(registration));
  EXPECT_FALSE(trace().IsRegistered(kProvider));
  trace().Collect(kProvider, 1, 5);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(TraceControllerTest, TheRegistrationsOfAnEndedProcessAreForgotten) {
  Register(kProvider, 3);
  Register(kOther, 4);
  trace().UnregisterAllOf(3);
  EXPECT_FALSE(trace().IsRegistered(kProvider));
  EXPECT_TRUE(trace().IsRegistered(kOther));
}

TEST_F(TraceControllerTest, ASessionEnablesWhatIsRegisteredAndWhatRegistersLater) {
  Register(kProvider);
  std::uint64_t const session = StartSession(u"S");
  EXPECT_EQ(trace().Enable(session, {kProvider, 5, 0xFFFF, 0}), 0u);
  EXPECT_EQ(trace().Enable(session, {kOther, 3, 0x1'0000'0002, 0}), 0u);
  Register(kOther);
  EXPECT_THAT(told_, ElementsAre("65535/5", "2/3"));
}

TEST_F(TraceControllerTest, EnablingTwiceChangesHowAProviderIsEnabled) {
  std::uint64_t const session = StartSession(u"S");
  trace().Enable(session, {kProvider, 5, 1, 0});
  trace().Enable(session, {kOther, 5, 1, 0});
  trace().Enable(session, {kProvider, 2, 4, 0});
  ASSERT_THAT(trace().sessions().at(0).enabled, SizeIs(2));
  EXPECT_EQ(trace().sessions()[0].enabled[0].level, 2);
  EXPECT_EQ(trace().sessions()[0].enabled[0].match_any, 4u);
}

TEST_F(TraceControllerTest, AProviderBelongsToWhoeverEnabledItLastAndTheJournalHasItsMessagesAllTheSame) {
  trace().Collect(kProvider, 1, 5);
  Register(kProvider);
  std::uint64_t const collector = logger_;
  trace().Enable(StartSession(u"S"), {kProvider, 5, 0xFFFF, 0});
  EXPECT_NE(logger_, collector);
  EXPECT_EQ(trace().Message(logger_, kMessage, 10, u"into the session"), 0u);
  EXPECT_EQ(trace().Message(collector, kMessage, 10, u"into the collector"), 0u);
  EXPECT_THAT(messages(), ElementsAre("into the session", "into the collector"));
  trace().StopCollecting(kProvider);
  EXPECT_THAT(told_, ElementsAre("1/5", "65535/5"));
}

TEST_F(TraceControllerTest, AMessageToNoSessionIsError6) {
  EXPECT_EQ(trace().Message(0, kMessage, 10, u"x"), tablet::kInvalidHandle);
  EXPECT_EQ(trace().Message(0x1'0005'0777, kMessage, 10, u"x"), tablet::kInvalidHandle);
  EXPECT_EQ(trace().Enable(0x777, {kProvider, 5, 1, 0}), tablet::kInvalidHandle);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(TraceControllerTest, ANameServesOneSessionWhateverItsCase) {
  std::uint64_t const first = StartSession(u"KAVRIL10");
  std::uint64_t handle = 0;
  EXPECT_EQ(trace().StartSession({.name = u"kavril10"}, handle), tablet::kAlreadyExists);
  EXPECT_EQ(handle, 0u);
  EXPECT_NE(StartSession(u"KAVRIL11"), first);
}

TEST_F(TraceControllerTest, TheJournalTellsOfSessionsAndWhatTheyEnable) {
  std::uint64_t handle = 0;
  trace().StartSession({.name = u"K", .buffer_kb = 1024, .minimum_buffers = 64, .log_file_mode = 0x400}, handle);
  trace().Enable(handle, {kProvider, 5, 0xFFFF, 0});
  std::vector<std::string> notes;
  for (const tablet::Event& event : machine().journal().events()) {
    if (const auto* note = std::get_if<tablet::Happening>(&event.what)) notes.push_back(note->text);
  }
  EXPECT_THAT(notes, ElementsAre("trace session K started: buffers of 1024 KB, 64 at least, mode 0x400",
                                 "trace session K enables {00000000-0000-0000-0000-000000000001}: level 5, keywords "
                                 "0xffff"));
}

TEST_F(TraceControllerTest, FunctionAndTagAreReadFromTheText) {
  tablet::TraceEvent const event = Sent(u"CServiceBase::Stop:244 : Stop at 10:30 : done");
  EXPECT_EQ(event.function, "CServiceBase::Stop");
  EXPECT_EQ(event.line, 244);
  EXPECT_EQ(event.text, "CServiceBase::Stop:244 : Stop at 10:30 : done");
  EXPECT_EQ(event.guid, kMessage.ToString());
  EXPECT_EQ(event.number, 10);
}

TEST_F(TraceControllerTest, EntryAndExitHaveAFunctionAndNoTag) {
  for (auto const text : {u"CModemQC::Init: (+)", u"CModemQC::Init: (-)"}) {
    tablet::TraceEvent const event = Sent(text);
    EXPECT_EQ(event.function, "CModemQC::Init");
    EXPECT_EQ(event.line, std::nullopt);
  }
}

TEST_F(TraceControllerTest, OtherTextsHaveNeither) {
  for (auto const text : {u"", u"plain", u"plain text: 12 : x", u"C::Init: (*)", u":12 : x", u"F:12", u"F:1x : y",
                          u"F:99999999999 : y", u"F:12: y", u"F:12 y", u"F::Init : x"}) {
    tablet::TraceEvent const event = Sent(text);
    EXPECT_EQ(event.function, "") << event.text;
    EXPECT_EQ(event.line, std::nullopt) << event.text;
  }
}

}  // namespace
