#include <windows.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

class TokensTest : public testing_support::TabletTest {
 protected:
  static HANDLE OpenOwn(DWORD access) {
    HANDLE token = nullptr;
    EXPECT_EQ(::OpenProcessToken(::GetCurrentProcess(), access, &token), TRUE);
    return token;
  }
  static BOOL Enable(HANDLE token, const WCHAR* name, DWORD attributes = SE_PRIVILEGE_ENABLED) {
    TOKEN_PRIVILEGES privileges{1, {{{}, attributes}}};
    EXPECT_EQ(::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid), TRUE);
    return ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  }
  bool IsEnabled(std::u16string_view name) {
    return machine().privileges().IsEnabled(tablet::kMachineProcess, *tablet::Privileges::Number(name));
  }
};

TEST_F(TokensTest, APrivilegeIsEnabledAndDisabledForTheProcess) {
  HANDLE const token = OpenOwn(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY);
  EXPECT_THAT(open_kinds(), ElementsAre("token"));
  EXPECT_FALSE(IsEnabled(SE_SYSTEM_ENVIRONMENT_NAME));
  ::SetLastError(77);
  EXPECT_EQ(Enable(token, SE_SYSTEM_ENVIRONMENT_NAME), TRUE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(IsEnabled(SE_SYSTEM_ENVIRONMENT_NAME));
  EXPECT_EQ(Enable(token, SE_SYSTEM_ENVIRONMENT_NAME, 0), TRUE);
  EXPECT_FALSE(IsEnabled(SE_SYSTEM_ENVIRONMENT_NAME));
}

TEST_F(TokensTest, ThePrivilegeHasWindowsNumberWhateverItsCase) {
  LUID luid{};
  EXPECT_EQ(::LookupPrivilegeValueW(nullptr, TEXT("sesystemenvironmentprivilege"), &luid), TRUE);
  EXPECT_EQ(luid.LowPart, 22u);
  EXPECT_EQ(luid.HighPart, 0);
  EXPECT_EQ(tablet::Privileges::Number(u"SeCreateTokenPrivilege"), 2u);
  EXPECT_EQ(tablet::Privileges::Number(u"SeDelegateSessionUserImpersonatePrivilege"), 36u);
}

TEST_F(TokensTest, ANameThatIsNoPrivilegeFailsWithError1313) {
  LUID luid{};
  EXPECT_EQ(::LookupPrivilegeValueW(nullptr, TEXT("SeNothingPrivilege"), &luid), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_NO_SUCH_PRIVILEGE});
}

TEST_F(TokensTest, APrivilegeThatIsNotHeldSucceedsWithError1300) {
  HANDLE const token = OpenOwn(TOKEN_ADJUST_PRIVILEGES);
  EXPECT_EQ(Enable(token, TEXT("SeCreateTokenPrivilege")), TRUE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_NOT_ALL_ASSIGNED});
  EXPECT_FALSE(IsEnabled(u"SeCreateTokenPrivilege"));
}

TEST_F(TokensTest, AdjustingNeedsTheRightAndAnOpenToken) {
  EXPECT_EQ(Enable(OpenOwn(TOKEN_QUERY), SE_SYSTEM_ENVIRONMENT_NAME), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_EQ(Enable(INVALID_HANDLE_VALUE, SE_SYSTEM_ENVIRONMENT_NAME), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_FALSE(IsEnabled(SE_SYSTEM_ENVIRONMENT_NAME));
}

TEST_F(TokensTest, FaultsFailEachStep) {
  Inject("OpenProcessToken", ERROR_ACCESS_DENIED);
  Inject("LookupPrivilegeValueW", ERROR_NO_SUCH_PRIVILEGE);
  HANDLE token = nullptr;
  LUID luid{};
  EXPECT_EQ(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_EQ(token, nullptr);
  EXPECT_EQ(::LookupPrivilegeValueW(nullptr, SE_SYSTEM_ENVIRONMENT_NAME, &luid), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_NO_SUCH_PRIVILEGE});
}

TEST_F(TokensTest, AHandleThatIsNoProcessFailsWithError6) {
  HANDLE token = nullptr;
  EXPECT_EQ(::OpenProcessToken(nullptr, TOKEN_QUERY, &token), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(TokensTest, DisablingAllIsRefused) {
  EXPECT_THAT(RefusalOf(machine(),
                        [] {
                          HANDLE const token = OpenOwn(TOKEN_ADJUST_PRIVILEGES);
                          ::AdjustTokenPrivileges(token, TRUE, nullptr, 0, nullptr, nullptr);
                        }),
              HasSubstr("disabling all"));
}

}  // namespace
