#include "vantord/crash/user_session.h"

#include "tests/unit/crash/crash_fixture.h"

namespace {

using crash_tests::kKim;
using crash_tests::kLee;

constexpr char kSessionData[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI\\SessionData\\";
constexpr const WCHAR* kToast = TEXT("c:\\Windows\\ToastGenerator\\ToastGenerator.exe");

class UserSessionTest : public crash_tests::CrashTest {
 protected:
  UserSessionTest() {
    PowerOnAgain(WithKim());
    LogKimOn();
  }
  /// Kim is logged on in sessions 1 and 2.
  void Begin(tablet::ProcessDescription first, tablet::ProcessDescription second) {
    tablet::Description description = DefaultDescription();
    description.crash.sessions.clear();
    for (tablet::ProcessDescription* process : {&first, &second}) process->name = u"winlogon.exe";
    description.crash.processes = {first, second};
    PowerOnAgain(description);
    LogKimOn();
    PutSession(u"2", kKim);
  }
  std::vector<std::string> Names(const std::vector<WideString>& sessions) {
    std::vector<std::string> names;
    for (const WideString& session : sessions) names.push_back(tablet::ToUtf8(session));
    return names;
  }
  /// The session of the process whose token it is; 0 if it is not a token.
  std::uint32_t SessionOf(HANDLE token) {
    auto const object = machine().handles().Get<tablet::ProcessToken>(reinterpret_cast<tablet::HandleValue>(token));
    return object == nullptr ? 0 : object->process->session;
  }
  const tablet::StartedProgram& Started() { return machine().processes().started().at(0); }
};

// Which sessions.

TEST_F(UserSessionTest, WithNobodyLoggedOnEveryStepSaysSo) {
  PowerOnAgain(DefaultDescription());
  EXPECT_EQ(RunProcessAsUser(kToast, TEXT(" CPCrash")), FALSE);
  EXPECT_THAT(messages(), ElementsAre("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = SelectedUserSID",
                                      "GetActiveSession:3979 : pSelectedUserSID not exist",
                                      "GetActiveUserToken:4080 : GetActiveSession Failed",
                                      "RunProcessAsUser:4217 : GetActiveUserToken Error"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(UserSessionTest, ASessionOfAnotherUserIsPassedOver) {
  PutSession(u"2", kLee);
  std::vector<WideString> sessions;
  EXPECT_TRUE(GetActiveSession(sessions));
  EXPECT_THAT(Names(sessions), ElementsAre("1"));
  std::string const data(kSessionData);
  EXPECT_THAT(
      MessagesOf("GetActiveSession"),
      ElementsAre("GetActiveSession:3982 : pSelectedUserSID (S-1-5-21-1-2-3-1001)",
                  "GetActiveSession:3989 : session " + data + "1", "GetActiveSession:3989 : session " + data + "2",
                  "GetActiveSession:4001 : pLoggedOnUserSID Not mathcing pSelectedUserSID in " + data + "2",
                  "GetActiveSession:4018 : vSession Size (1)"));
}

TEST_F(UserSessionTest, NoSessionIsSkippedBehindOneThatIsPassedOver) {
  PutSession(u"0", kLee);
  PutSession(u"1", kLee);
  PutSession(u"2", kKim);
  PutSession(u"3", kLee);
  PutSession(u"4", kKim);
  std::vector<WideString> sessions;
  EXPECT_TRUE(GetActiveSession(sessions));
  EXPECT_THAT(Names(sessions), ElementsAre("2", "4"));
  EXPECT_EQ(MessagesOf("GetActiveSession:3989").size(), 5u);
  EXPECT_EQ(messages().back(), "GetActiveSession:4018 : vSession Size (2)");
}

TEST_F(UserSessionTest, ASessionWithoutAUserIsPassedOver) {
  PutSession(u"0", u"");
  std::vector<WideString> sessions;
  EXPECT_TRUE(GetActiveSession(sessions));
  EXPECT_THAT(Names(sessions), ElementsAre("1"));
  EXPECT_THAT(messages(),
              Contains("GetActiveSession:3995 : pLoggedOnUserSID not exist in " + std::string(kSessionData) + "0"));
}

TEST_F(UserSessionTest, AnIdentifierInOtherLettersIsAnotherUser) {
  PutSession(u"1", u"s-1-5-21-1-2-3-1001");
  std::vector<WideString> sessions;
  EXPECT_FALSE(GetActiveSession(sessions));
  EXPECT_THAT(sessions, IsEmpty());
  EXPECT_THAT(messages(), Not(Contains(testing::HasSubstr("vSession Size"))));
}

TEST_F(UserSessionTest, WithoutAnySessionNothingMoreIsSaid) {
  registry().RemoveKey(std::u16string(crash_tests::kLogonUi) + u"\\SessionData\\1");
  std::vector<WideString> sessions;
  EXPECT_FALSE(GetActiveSession(sessions));
  EXPECT_THAT(MessagesOf("GetActiveSession"),
              ElementsAre("GetActiveSession:3982 : pSelectedUserSID (S-1-5-21-1-2-3-1001)"));
}

// Which processes.

TEST_F(UserSessionTest, OnlyWinlogonStandsForASession) {
  std::vector<DWORD> ids;
  EXPECT_TRUE(FindExplorerProcessNameAndID(ids));
  std::uint32_t const id = ProcessNamed(u"winlogon.exe", 1)->id;
  EXPECT_THAT(ids, ElementsAre(id));
  EXPECT_THAT(messages(),
              ElementsAre("FindExplorerProcessNameAndID:4057 : winlogon.exe  (PID: " + std::to_string(id) + ")"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(UserSessionTest, TheUsersShellIsNotLookedFor) {
  machine().processes().End(ProcessNamed(u"winlogon.exe", 1)->id);
  ASSERT_NE(ProcessNamed(u"explorer.exe", 1), nullptr);
  EXPECT_EQ(GetActiveUserToken(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(messages().back(), "GetActiveUserToken:4086 : FindExplorerProcessNameAndID Failed");
}

TEST_F(UserSessionTest, TheNameMayStandInCapitals) {
  machine().processes().End(ProcessNamed(u"winlogon.exe", 1)->id);
  machine().processes().Add({.name = u"WINLOGON.EXE", .session = 1, .id = 4000});
  HANDLE const token = GetActiveUserToken();
  EXPECT_EQ(SessionOf(token), 1u);
  EXPECT_THAT(messages(), Contains("FindExplorerProcessNameAndID:4057 : WINLOGON.EXE  (PID: 4000)"));
}

TEST_F(UserSessionTest, AProcessThatCannotBeOpenedOrNamedIsPassedOver) {
  Begin({.session = 1, .open_error = tablet::kAccessDenied}, {.session = 2, .modules_error = 299});
  std::vector<DWORD> ids;
  EXPECT_FALSE(FindExplorerProcessNameAndID(ids));
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(UserSessionTest, AListThatCannotBeHadIsLogged) {
  Inject("K32EnumProcesses", tablet::kAccessDenied);
  EXPECT_EQ(GetActiveUserToken(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(messages(), Contains("FindExplorerProcessNameAndID:4035 : EnumProcesses failed 5"));
  EXPECT_EQ(messages().back(), "GetActiveUserToken:4086 : FindExplorerProcessNameAndID Failed");
}

TEST_F(UserSessionTest, TheLastOf1024ProcessesIsStillLookedAt) {
  machine().processes().End(ProcessNamed(u"winlogon.exe", 1)->id);
  while (machine().processes().running().size() < 1023) machine().processes().Add({.name = u"svchost.exe"});
  machine().processes().Add({.name = u"winlogon.exe", .session = 1});
  std::vector<DWORD> ids;
  EXPECT_TRUE(FindExplorerProcessNameAndID(ids));
  EXPECT_THAT(ids, testing::SizeIs(1));
}

TEST_F(UserSessionTest, BehindTheFirst1024ProcessesNobodyLooks) {
  machine().processes().End(ProcessNamed(u"winlogon.exe", 1)->id);
  while (machine().processes().running().size() < 1024) machine().processes().Add({.name = u"svchost.exe"});
  machine().processes().Add({.name = u"winlogon.exe", .session = 1});
  std::vector<DWORD> ids;
  EXPECT_FALSE(FindExplorerProcessNameAndID(ids));
}

// Which token.

TEST_F(UserSessionTest, TheTokenIsWinlogonsOwnOfTheUsersSession) {
  HANDLE const handle = GetActiveUserToken();
  auto const token = machine().handles().Get<tablet::ProcessToken>(reinterpret_cast<tablet::HandleValue>(handle));
  ASSERT_NE(token, nullptr);
  EXPECT_TRUE(token->primary);
  EXPECT_EQ(token->access, 0x000F01FFu);
  EXPECT_EQ(token->process, ProcessNamed(u"winlogon.exe", 1));
  EXPECT_EQ(token->process->account, u"SYSTEM");
  std::string const id = std::to_string(token->process->id);
  EXPECT_THAT(
      MessagesOf("GetActiveUserToken"),
      ElementsAre("GetActiveUserToken:4094 : Process id " + id + " in Session id (1)",
                  "GetActiveUserToken:4097 : Active session 1", "GetActiveUserToken:4101 : Found Same session 1",
                  "GetActiveUserToken:4119 : DuplicateTokenEx Success"));
  EXPECT_THAT(open_kinds(), ElementsAre("token"));
}

TEST_F(UserSessionTest, WithoutAProcessInTheUsersSessionThereIsNoToken) {
  SelectUser(kLee);
  PutSession(u"7", kLee);
  EXPECT_EQ(GetActiveUserToken(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(messages().back(), "GetActiveUserToken:4097 : Active session 7");
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(UserSessionTest, OnlyTheLeadingDigitsOfASessionsNameCount) {
  Begin({.session = 12}, {.session = 0});
  PutSession(u"1", kLee);
  PutSession(u"2", kLee);
  PutSession(u"12 of two", kKim);
  PutSession(u"none", kKim);
  HANDLE const first = GetActiveUserToken();
  EXPECT_EQ(SessionOf(first), 12u);
  EXPECT_THAT(messages(), Contains("GetActiveUserToken:4101 : Found Same session 12 of two"));

  machine().processes().End(ProcessNamed(u"winlogon.exe", 12)->id);
  EXPECT_NE(GetActiveUserToken(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(messages(), Contains("GetActiveUserToken:4101 : Found Same session none"));
}

TEST_F(UserSessionTest, ASessionsNameMayHaveASignOrABlankInFront) {
  for (auto const& [name, session] : {std::pair{u"+1", 1u}, std::pair{u" 1", 1u}, std::pair{u"-1", 0xFFFFFFFFu}}) {
    Begin({.session = session}, {.session = 0});
    PutSession(u"1", kLee);
    PutSession(u"2", kLee);
    PutSession(name, kKim);
    EXPECT_EQ(SessionOf(GetActiveUserToken()), session) << tablet::ToUtf8(name);
  }
}

TEST_F(UserSessionTest, NamesAndIdentifiersAreUsedWhole) {
  std::u16string const name = u"1" + std::u16string(150, u'x');
  std::u16string const user = u"S-1-" + std::u16string(254, u'5');
  registry().RemoveKey(std::u16string(crash_tests::kLogonUi) + u"\\SessionData\\1");
  SelectUser(user + u"1");
  PutSession(name, user + u"2");
  std::vector<WideString> sessions;
  EXPECT_FALSE(GetActiveSession(sessions)) << "they differ in the last of 259 characters";
  PutSession(name, user + u"1");
  EXPECT_TRUE(GetActiveSession(sessions));
  EXPECT_THAT(messages(),
              Contains("GetActiveSession:3989 : session " + std::string(kSessionData) + "1" + std::string(150, 'x')));
}

TEST_F(UserSessionTest, AKeyOf260CharactersOrMoreIsCutTo259) {
  std::u16string const name(250, u'1');
  PutSession(name, kKim);
  std::vector<WideString> sessions;
  EXPECT_TRUE(GetActiveSession(sessions));
  std::string const key = std::string(kSessionData) + tablet::ToUtf8(name);
  EXPECT_THAT(messages(), Contains("GetActiveSession:3989 : session " + key.substr(0, 259)));
}

TEST_F(UserSessionTest, AProcessThatCannotBeOpenedForOneSessionIsTriedForTheNext) {
  PutSession(u"1 again", kKim);
  std::size_t const listed = machine().processes().running().size() - 1;  // the idle process is not opened
  Inject("OpenProcess", tablet::kAccessDenied, static_cast<std::uint32_t>(listed + 1), 1);
  EXPECT_EQ(SessionOf(GetActiveUserToken()), 1u);
  EXPECT_THAT(MessagesOf("GetActiveUserToken:4101"),
              ElementsAre("GetActiveUserToken:4101 : Found Same session 1",
                          "GetActiveUserToken:4101 : Found Same session 1 again"));
}

TEST_F(UserSessionTest, AProcessWithoutASessionCountsAsOneOfSession0) {
  Begin({.session = 5, .session_error = tablet::kInvalidParameter}, {.session = 6});
  PutSession(u"0", kKim);
  HANDLE const token = GetActiveUserToken();
  EXPECT_EQ(SessionOf(token), 5u);
  EXPECT_THAT(messages(), Contains("GetActiveUserToken:4101 : Found Same session 0"));
}

TEST_F(UserSessionTest, ATokenThatCannotBeOpenedSendsItToTheNextProcess) {
  Begin({.session = 1, .token_error = tablet::kAccessDenied}, {.session = 2});
  HANDLE const token = GetActiveUserToken();
  EXPECT_EQ(SessionOf(token), 2u);
  EXPECT_THAT(messages(), Contains("GetActiveUserToken:4108 : Process token open Error: 5"));
  EXPECT_THAT(open_kinds(), ElementsAre("token"));
}

TEST_F(UserSessionTest, AProcessThatCannotBeOpenedAgainSendsItToTheNext) {
  Begin({.session = 1}, {.session = 2});
  std::size_t const listed = machine().processes().running().size() - 1;  // the idle process is not opened
  Inject("OpenProcess", tablet::kAccessDenied, static_cast<std::uint32_t>(listed + 1), 1);
  HANDLE const token = GetActiveUserToken();
  EXPECT_EQ(SessionOf(token), 2u);
  EXPECT_THAT(open_kinds(), ElementsAre("token"));
}

TEST_F(UserSessionTest, AFailedDuplicationEndsTheSearch) {
  Begin({.session = 1, .duplicate_error = tablet::kAccessDenied}, {.session = 2});
  EXPECT_EQ(GetActiveUserToken(), INVALID_HANDLE_VALUE);
  std::vector<std::string> const said = MessagesOf("GetActiveUserToken:41");
  EXPECT_THAT(said, ElementsAre("GetActiveUserToken:4101 : Found Same session 1",
                                "GetActiveUserToken:4114 : DuplicateTokenEx Error: 5",
                                "GetActiveUserToken:4119 : DuplicateTokenEx Success"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(UserSessionTest, ADuplicationThatClearsTheResultSendsItToTheNextProcess) {
  Begin({.session = 1, .duplicate_error = tablet::kAccessDenied, .duplicate_clears = true}, {.session = 2});
  HANDLE const token = GetActiveUserToken();
  EXPECT_EQ(SessionOf(token), 2u);
  EXPECT_EQ(MessagesOf("GetActiveUserToken:4119").size(), 1u);
  EXPECT_THAT(open_kinds(), ElementsAre("token"));
}

// The program.

TEST_F(UserSessionTest, TheProgramStartsInTheUsersSessionAndNothingIsLeftOpen) {
  EXPECT_NE(RunProcessAsUser(kToast, TEXT(" CPCrash")), FALSE);
  EXPECT_EQ(Started().session, 1u);
  EXPECT_EQ(Started().account, u"SYSTEM");
  EXPECT_EQ(Started().flags, 0x430u);
  EXPECT_EQ(messages().back(), "RunProcessAsUser:4253 : Success to CreateProcessAsUser Application");
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_THAT(machine().heap().LiveBlocks(tablet::kMachineProcess), IsEmpty());
}

TEST_F(UserSessionTest, TheStartInformationIsEmpty) {
  EXPECT_NE(RunProcessAsUser(kToast, TEXT(" CPCrash")), FALSE);
  EXPECT_EQ(Started().start_information_bytes, 0u);
}

TEST_F(UserSessionTest, TheServicesVariablesAreInherited) {
  RunProcessAsUser(kToast, TEXT(" CPCrash"));
  EXPECT_THAT(Started().environment, Contains(u"TEMP=C:\\Windows\\TEMP"));
  EXPECT_THAT(Started().environment, Contains(u"USERNAME=SYSTEM"));
}

TEST_F(UserSessionTest, WithoutAnEnvironmentBlockTheProgramStartsAllTheSame) {
  Inject("CreateEnvironmentBlock", tablet::kAccessDenied);
  EXPECT_NE(RunProcessAsUser(kToast, TEXT(" CPCrash")), FALSE);
  EXPECT_EQ(Started().flags, 0x30u);
  EXPECT_THAT(Started().environment, IsEmpty());
  EXPECT_THAT(Results("DestroyEnvironmentBlock"), IsEmpty());
}

TEST_F(UserSessionTest, AProgramThatIsNotThereIsAFailure) {
  drive().Remove(kToast);
  EXPECT_EQ(RunProcessAsUser(kToast, TEXT(" CPCrash")), FALSE);
  EXPECT_EQ(messages().back(), "RunProcessAsUser:4259 : CreateProcessAsUser Error(2)");
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_THAT(machine().heap().LiveBlocks(tablet::kMachineProcess), IsEmpty());
}

}  // namespace
