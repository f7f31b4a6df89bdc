// Tests of vantord-check itself, for --self-test: what becomes of a test that fails, ends its process or does not end.
#include <gtest/gtest.h>

#include <windows.h>

#include "kit/check/child.h"
#include "kit/machine/places.h"

namespace {

TEST(Self, Fails) {
  WCHAR user[256] = {};
  WCHAR computer[256] = {};
  DWORD user_length = 256;
  DWORD computer_length = 256;
  ::GetUserNameW(user, &user_length);
  ::GetComputerNameW(computer, &computer_length);
  FAIL() << kit::ToUtf8(kit::Folder()) << " of " << kit::ToUtf8(user) << " on " << kit::ToUtf8(computer);
}

TEST(Self, EndsItsProcess) { ::TerminateProcess(::GetCurrentProcess(), 0x1234); }

TEST(Self, DoesNotEnd) { ::Sleep(INFINITE); }

TEST(Self, GoesOn) { kit::Saw("self-test", "a\tb\nc\\"); }

}  // namespace
