#include <windows.h>
// These need <windows.h> before them.
#include <psapi.h>
#include <userenv.h>

#include <array>

#include "sim/tablet/drive/pe_version.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

constexpr const WCHAR* kProgram = TEXT("c:\\program.exe");

class ProcessesTest : public testing_support::TabletTest {
 protected:
  ProcessesTest() { Begin(); }
  void Begin() {
    tablet::Description description = DefaultDescription();
    description.crash.sessions = {{.id = 3, .user = u"kim"}};
    description.crash.processes = {{.name = u"tool.exe", .session = 3, .id = 5000}};
    PowerOn(description);
    drive().Put(kProgram, tablet::MakeExecutableWithVersion(1, 0, 0, 0));
  }
  static std::vector<DWORD> Ids() {
    std::array<DWORD, 100> ids{};
    DWORD bytes = 0;
    EXPECT_EQ(::K32EnumProcesses(ids.data(), sizeof(ids), &bytes), TRUE);
    return {ids.begin(), ids.begin() + bytes / sizeof(DWORD)};
  }
  static HANDLE Token(DWORD access) {
    HANDLE token = nullptr;
    EXPECT_EQ(::OpenProcessToken(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 5000), access, &token), TRUE);
    return token;
  }
  static HANDLE Primary() {
    HANDLE primary = nullptr;
    EXPECT_EQ(::DuplicateTokenEx(Token(TOKEN_DUPLICATE), TOKEN_ALL_ACCESS, nullptr, SecurityIdentification,
                                 TokenPrimary, &primary),
              TRUE);
    return primary;
  }
  /// The last error of a start; 0 when it succeeded.
  static DWORD StartError(HANDLE token, const WCHAR* program = kProgram) {
    WCHAR line[] = TEXT("program one");
    STARTUPINFOW info = {};
    PROCESS_INFORMATION process = {};
    BOOL const started =
        ::CreateProcessAsUserW(token, program, line, nullptr, nullptr, FALSE, 0x30, nullptr, nullptr, &info, &process);
    return started ? 0 : ::GetLastError();
  }
};

TEST_F(ProcessesTest, EverySessionHasItsWinlogonAndAUserAShell) {
  std::vector<std::string> names;
  for (DWORD const id : Ids()) {
    DWORD session = 0;
    EXPECT_EQ(::ProcessIdToSessionId(id, &session), TRUE);
    if (session == 3) names.push_back(tablet::ToUtf8(machine().processes().Find(id)->name));
  }
  EXPECT_THAT(names, ElementsAre("csrss.exe", "winlogon.exe", "explorer.exe", "tool.exe"));
  EXPECT_EQ(Ids().front(), 0u);
}

TEST_F(ProcessesTest, AShortArrayGetsWhatFits) {
  std::array<DWORD, 2> ids{};
  DWORD bytes = 0;
  EXPECT_EQ(::K32EnumProcesses(ids.data(), sizeof(ids), &bytes), TRUE);
  EXPECT_EQ(bytes, 8u);
}

TEST_F(ProcessesTest, AProcessIsOpenedByItsId) {
  HANDLE const process = ::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 5000);
  ASSERT_NE(process, nullptr);
  HMODULE executable = nullptr;
  DWORD needed = 0;
  EXPECT_EQ(::K32EnumProcessModules(process, &executable, sizeof(executable), &needed), TRUE);
  EXPECT_GT(needed, sizeof(executable)) << "room for one is no failure";
  WCHAR name[MAX_PATH] = {};
  EXPECT_EQ(::K32GetModuleBaseNameW(process, executable, name, MAX_PATH), 8u);
  EXPECT_EQ(std::u16string(name), u"tool.exe");
  EXPECT_EQ(::K32GetModuleBaseNameW(process, executable, name, 5), 4u);
  EXPECT_EQ(std::u16string(name), u"tool");
  EXPECT_EQ(::CloseHandle(process), TRUE);
  EXPECT_EQ(::K32EnumProcessModules(process, &executable, sizeof(executable), &needed), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(ProcessesTest, ProtectedAndMissingProcessesHaveTheirCodes) {
  EXPECT_EQ(::OpenProcess(MAXIMUM_ALLOWED, FALSE, 4), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  for (DWORD const id : {0u, 4999u}) {
    EXPECT_EQ(::OpenProcess(MAXIMUM_ALLOWED, FALSE, id), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  }
  DWORD session = 77;
  EXPECT_EQ(::ProcessIdToSessionId(4999, &session), FALSE);
  EXPECT_EQ(session, 77u);
}

TEST_F(ProcessesTest, ATokenIsDuplicatedOnlyWithTheRightTo) {
  HANDLE primary = nullptr;
  EXPECT_EQ(
      ::DuplicateTokenEx(Token(TOKEN_QUERY), TOKEN_ALL_ACCESS, nullptr, SecurityIdentification, TokenPrimary, &primary),
      FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_EQ(primary, nullptr);
  EXPECT_NE(Primary(), nullptr);
}

TEST_F(ProcessesTest, AProgramStartsInTheSessionOfItsToken) {
  machine().scheduler().Sleep(tablet::Millis{40});
  EXPECT_EQ(StartError(Primary()), 0u);
  ASSERT_EQ(machine().processes().started().size(), 1u);
  const tablet::StartedProgram& program = machine().processes().started().front();
  EXPECT_EQ(program.session, 3u);
  EXPECT_EQ(program.user, u"kim");
  EXPECT_EQ(program.command_line, u"program one");
  EXPECT_EQ(program.at, tablet::Millis{40});
  EXPECT_THAT(Ids(), Contains(program.id)) << "it runs";
}

TEST_F(ProcessesTest, OnlyAPrimaryTokenStartsAProgramThatIsThere) {
  EXPECT_EQ(StartError(Token(TOKEN_DUPLICATE)), DWORD{ERROR_BAD_TOKEN_TYPE});
  EXPECT_EQ(StartError(INVALID_HANDLE_VALUE), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_EQ(StartError(Primary(), TEXT("c:\\none.exe")), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(StartError(Primary(), TEXT("c:\\none\\a.exe")), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(StartError(Primary(), TEXT("c:\\Windows")), DWORD{ERROR_FILE_NOT_FOUND});
  machine().processes().FailStarts({.failures = 1, .error = 1455});
  EXPECT_EQ(StartError(Primary()), 1455u);
  EXPECT_THAT(machine().processes().started(), IsEmpty());
  EXPECT_EQ(StartError(Primary()), 0u) << "one start was to fail";
}

TEST_F(ProcessesTest, AFileThatIsNotAnExecutableDoesNotStart) {
  std::string const text = "MZ, and no more of a program";
  drive().Put(kProgram, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  EXPECT_EQ(StartError(Primary()), DWORD{ERROR_BAD_EXE_FORMAT});
  EXPECT_THAT(machine().processes().started(), IsEmpty());
}

TEST_F(ProcessesTest, TheCommandLineIsWrittenTo) {
  WCHAR line[] = TEXT("program one");
  STARTUPINFOW info = {};
  PROCESS_INFORMATION process = {};
  EXPECT_EQ(
      ::CreateProcessAsUserW(Primary(), kProgram, line, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &info, &process),
      TRUE);
  EXPECT_NE(std::u16string(line), u"program one");
}

TEST_F(ProcessesTest, AnEnvironmentBlockIsListOfTextsThatIsGivenBack) {
  void* block = nullptr;
  EXPECT_EQ(::CreateEnvironmentBlock(&block, Primary(), FALSE), TRUE);
  EXPECT_EQ(std::u16string(static_cast<const WCHAR*>(block)), u"SystemDrive=C:");
  EXPECT_EQ(machine().heap().LiveBlocks(tablet::kMachineProcess).size(), 1u);
  EXPECT_EQ(::DestroyEnvironmentBlock(block), TRUE);
  EXPECT_THAT(machine().heap().LiveBlocks(tablet::kMachineProcess), IsEmpty());
  EXPECT_EQ(::CreateEnvironmentBlock(&block, Token(TOKEN_DUPLICATE), FALSE), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(ProcessesTest, WhatIsNotModelledIsRefused) {
  auto const refusal = [&](std::function<void()> body) {
    Begin();
    return testing_support::RefusalOf(machine(), std::move(body));
  };
  EXPECT_THAT(refusal([] { ::OpenProcess(0x400, FALSE, 5000); }), HasSubstr("desired access 0x400"));
  EXPECT_THAT(refusal([] { StartError(Primary(), nullptr); }), HasSubstr("without an application"));
  EXPECT_THAT(refusal([] { ::DestroyEnvironmentBlock(nullptr); }), HasSubstr("not an environment block"));
}

// Threads.

DWORD WINAPI SetGivenEvent(LPVOID event) {
  ::SetEvent(event);
  return 0;
}

TEST_F(ProcessesTest, AThreadRunsBesideItsMakerAndCanBeWaitedFor) {
  HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  DWORD id = 0;
  HANDLE const thread = ::CreateThread(nullptr, 0, SetGivenEvent, event, 0, &id);
  ASSERT_NE(thread, nullptr);
  EXPECT_NE(id, 0u);
  EXPECT_FALSE(machine().scheduler().IsThreadDone(id)) << "it begins when its maker waits";
  EXPECT_EQ(::WaitForSingleObject(thread, 1000), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(::CloseHandle(thread), TRUE);
  Inject("CreateThread", ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(::CreateThread(nullptr, 0, SetGivenEvent, event, 0, nullptr), nullptr);
}

}  // namespace
