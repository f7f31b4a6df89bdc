// Messages of the system, memory, tokens, processes and the versions of files.
#include "tests/conformance/world.h"

// These need <windows.h> before them.
#include <psapi.h>
#include <winver.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using conformance::Differs;
using conformance::Error;
using conformance::Text;
using testing_support::Handle;

using Messages = conformance::World;
using Memory = conformance::World;
using Versions = conformance::World;

/// The system's text of an error number; empty when it has none.
Text MessageOf(DWORD error) {
  LPWSTR text = nullptr;
  DWORD const length =
      ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, error, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  Text const message = length == 0 ? Text() : Text(text, length);
  ::LocalFree(text);
  return message;
}

TEST_F(Messages, AnErrorNumberHasATextThatEndsWithItsLine) {
  for (DWORD const error : {0u, 2u, 3u, 5u, 6u, 32u, 87u, 122u, 183u, 234u, 259u, 1062u, 1313u, 1812u}) {
    Text const message = MessageOf(error);
    ASSERT_GE(message.size(), 3u) << error;
    EXPECT_EQ(message.substr(message.size() - 3), TEXT(".\r\n")) << error;
    EXPECT_EQ(message.find(TEXT('\0')), Text::npos) << error;
  }
  EXPECT_EQ(MessageOf(2), Differs<Text>("system-messages", TEXT("The system cannot find the file specified.\r\n"),
                                        TEXT("File not found.\r\n")));
}

TEST_F(Messages, ANumberWithoutAText) {
  EXPECT_EQ(MessageOf(54321), Text());
  EXPECT_EQ(::GetLastError(), 317u);
}

TEST_F(Memory, BlocksAreZeroOnDemand) {
  auto const isZero = [](const void* memory) {
    auto const* const bytes = static_cast<const BYTE*>(memory);
    return std::all_of(bytes, bytes + 64, [](BYTE byte) { return byte == 0; });
  };
  LPVOID const heap = ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, 64);
  HLOCAL const local = ::LocalAlloc(LPTR, 64);
  EXPECT_TRUE(isZero(heap));
  EXPECT_TRUE(isZero(local));
  EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, heap));
  EXPECT_EQ(::LocalFree(local), nullptr);
}

TEST_F(Memory, TooLargeARequestFails) {
  constexpr SIZE_T kTooMuch = SIZE_T{1} << 62;
  ::SetLastError(77);
  EXPECT_EQ(::HeapAlloc(::GetProcessHeap(), 0, kTooMuch), nullptr);
  EXPECT_EQ(::GetLastError(), Differs<DWORD>("heap-last-error", 77, 8));
  EXPECT_EQ(::LocalAlloc(LPTR, kTooMuch), nullptr);
  EXPECT_EQ(::GetLastError(), 8u);
}

TEST_F(Memory, FreeingNullSucceeds) {
  EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, nullptr));
  EXPECT_EQ(::LocalFree(nullptr), nullptr);
}

class Tokens : public conformance::World {
 protected:
  static HANDLE OpenOwn(DWORD access) {
    HANDLE token = nullptr;
    EXPECT_TRUE(::OpenProcessToken(::GetCurrentProcess(), access, &token));
    return token;
  }
  static BOOL Enable(HANDLE token, const WCHAR* name) {
    TOKEN_PRIVILEGES privileges = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
    EXPECT_TRUE(::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid));
    return ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  }
};

TEST_F(Tokens, APrivilegesNumberIsFoundByItsNameInAnyLetterCase) {
  LUID number = {};
  EXPECT_TRUE(::LookupPrivilegeValueW(nullptr, TEXT("sesystemenvironmentprivilege"), &number));
  EXPECT_EQ(number.LowPart, 22u);
  EXPECT_EQ(number.HighPart, 0);
  EXPECT_EQ(Error(::LookupPrivilegeValueW(nullptr, TEXT("SeNothingPrivilege"), &number)), 1313u);
}

TEST_F(Tokens, APrivilegeThatIsHeldIsEnabled) {
  Handle const token(OpenOwn(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY));
  ::SetLastError(77);
  EXPECT_TRUE(Enable(token, TEXT("SeSystemEnvironmentPrivilege")));
  EXPECT_EQ(::GetLastError(), 0u);
}

TEST_F(Tokens, EnablingAPrivilegeThatIsNotHeldSucceedsWithAnError) {
  Handle const token(OpenOwn(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY));
  EXPECT_TRUE(Enable(token, TEXT("SeCreateTokenPrivilege")));
  EXPECT_EQ(::GetLastError(), 1300u);
}

TEST_F(Tokens, AdjustingNeedsTheRightAndAToken) {
  Handle const token(OpenOwn(TOKEN_QUERY));
  EXPECT_EQ(Error(Enable(token, TEXT("SeSystemEnvironmentPrivilege"))), 5u);
  HANDLE opened = nullptr;
  EXPECT_EQ(Error(::OpenProcessToken(nullptr, TOKEN_QUERY, &opened)), 6u);
}

/// Both worlds have a winlogon.exe in session 1.
class Processes : public conformance::World {
 protected:
  struct Found {
    DWORD id = 0;
    DWORD session = ~0u;
  };
  static Found FindWinlogon() {
    std::array<DWORD, 1024> ids = {};
    DWORD bytes = 0;
    EXPECT_TRUE(::K32EnumProcesses(ids.data(), sizeof(ids), &bytes));
    for (DWORD i = 0; i < bytes / sizeof(DWORD); ++i) {
      Handle const process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, ids[i]));
      HMODULE executable = nullptr;
      DWORD needed = 0;
      WCHAR name[MAX_PATH] = {};
      if (ids[i] == 0 || process == nullptr) continue;
      if (!::K32EnumProcessModules(process, &executable, sizeof(executable), &needed)) continue;
      ::K32GetModuleBaseNameW(process, executable, name, MAX_PATH);
      Found found = {ids[i]};
      EXPECT_TRUE(::ProcessIdToSessionId(ids[i], &found.session));
      if (_wcsicmp(name, TEXT("winlogon.exe")) == 0) return found;
    }
    return {};
  }
};

TEST_F(Processes, WinlogonIsFoundByTheNameOfItsFirstModule) {
  Found const winlogon = FindWinlogon();
  EXPECT_NE(winlogon.id, 0u);
  EXPECT_EQ(winlogon.session, 1u);
}

TEST_F(Processes, AnIdOfNobodyCannotBeOpened) {
  EXPECT_EQ(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 0x7FFFFFF0), nullptr);
  EXPECT_EQ(::GetLastError(), 87u);
  EXPECT_EQ(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 0), nullptr);
  EXPECT_EQ(::GetLastError(), 87u);
}

TEST_F(Processes, ATokenIsDuplicatedAsAPrimaryOne) {
  Handle const process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, FindWinlogon().id));
  HANDLE opened = nullptr;
  ASSERT_TRUE(::OpenProcessToken(process, TOKEN_DUPLICATE, &opened));
  Handle const token(opened);
  HANDLE made = nullptr;
  EXPECT_TRUE(::DuplicateTokenEx(token, TOKEN_ALL_ACCESS, nullptr, SecurityIdentification, TokenPrimary, &made));
  Handle const primary(made);
  EXPECT_TRUE(primary != nullptr);
}

TEST_F(Processes, AFileThatIsNotAnExecutableDoesNotStart) {
  Text const file = Put(TEXT("text.exe"), "just text");
  Handle const process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, FindWinlogon().id));
  HANDLE opened = nullptr;
  ASSERT_TRUE(::OpenProcessToken(process, TOKEN_DUPLICATE, &opened));
  Handle const token(opened);
  HANDLE made = nullptr;
  ASSERT_TRUE(::DuplicateTokenEx(token, TOKEN_ALL_ACCESS, nullptr, SecurityIdentification, TokenPrimary, &made));
  Handle const primary(made);
  STARTUPINFOW start = {};
  start.cb = sizeof(start);
  PROCESS_INFORMATION started = {};
  EXPECT_EQ(Error(::CreateProcessAsUserW(primary, file.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                         &start, &started)),
            193u);
}

TEST_F(Processes, ClosingTheHandleOfTheProcessItselfHasNoEffect) {
  EXPECT_TRUE(::CloseHandle(::GetCurrentProcess()));
  HANDLE token = nullptr;
  EXPECT_TRUE(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token));
  EXPECT_TRUE(::CloseHandle(token));
}

TEST_F(Processes, DuplicatingATokenNeedsTheRight) {
  Handle const process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, FindWinlogon().id));
  HANDLE opened = nullptr;
  ASSERT_TRUE(::OpenProcessToken(process, TOKEN_QUERY, &opened));
  Handle const token(opened);
  HANDLE made = nullptr;
  EXPECT_EQ(Error(::DuplicateTokenEx(token, TOKEN_ALL_ACCESS, nullptr, SecurityIdentification, TokenPrimary, &made)),
            5u);
}

TEST_F(Versions, AFileThatIsNoProgramHasNone) {
  Text const file = Put(TEXT("text.exe"), "just text");
  DWORD ignored = 0;
  EXPECT_EQ(::GetFileVersionInfoSizeW(file.c_str(), &ignored), 0u);
  EXPECT_EQ(::GetLastError(), 1812u);
}

}  // namespace
