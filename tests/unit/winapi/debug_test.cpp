#include <windows.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

constexpr DWORD kModelled = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

class DebugTest : public testing_support::TabletTest {};

TEST_F(DebugTest, EachThreadHasALastErrorOfItsOwn) {
  ::SetLastError(5);
  DWORD seen = 1;
  machine().scheduler().Start(1, "other", [&] {
    seen = ::GetLastError();
    ::SetLastError(6);
  });
  machine().scheduler().Sleep(tablet::Millis{1});
  EXPECT_EQ(seen, 0u);
  EXPECT_EQ(::GetLastError(), 5u);
}

TEST_F(DebugTest, TextsForTheDebuggerStandInTheJournalAsTheyAre) {
  ::OutputDebugStringW(TEXT("100%s\r\n"));
  ::OutputDebugStringW(nullptr);
  EXPECT_THAT(machine().journal().DebuggerTexts(), ElementsAre("100%s\r\n", ""));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DebugTest, ErrorNumbersHaveWindowsTexts) {
  LPWSTR text = nullptr;
  DWORD const length =
      ::FormatMessageW(kModelled, nullptr, ERROR_NO_MORE_ITEMS, 0x400, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::u16string_view(text), TEXT("No more data is available.\r\n"));
  EXPECT_EQ(length, wcslen(text));
  EXPECT_EQ(::LocalFree(text), nullptr);
  EXPECT_THAT(machine().heap().LiveBlocks(tablet::kMachineProcess), IsEmpty());
}

TEST_F(DebugTest, EveryErrorOfTheStandInHasAText) {
  for (DWORD const error : {ERROR_SUCCESS,
                            ERROR_INVALID_FUNCTION,
                            ERROR_FILE_NOT_FOUND,
                            ERROR_PATH_NOT_FOUND,
                            ERROR_ACCESS_DENIED,
                            ERROR_INVALID_HANDLE,
                            ERROR_NOT_ENOUGH_MEMORY,
                            ERROR_INVALID_BLOCK,
                            ERROR_BAD_ENVIRONMENT,
                            ERROR_NO_MORE_FILES,
                            ERROR_BAD_LENGTH,
                            ERROR_SHARING_VIOLATION,
                            ERROR_HANDLE_EOF,
                            ERROR_FILE_EXISTS,
                            ERROR_INVALID_PARAMETER,
                            ERROR_DISK_FULL,
                            ERROR_INSUFFICIENT_BUFFER,
                            ERROR_INVALID_NAME,
                            ERROR_NEGATIVE_SEEK,
                            ERROR_DIR_NOT_EMPTY,
                            ERROR_ALREADY_EXISTS,
                            ERROR_MORE_DATA,
                            ERROR_NO_MORE_ITEMS,
                            ERROR_DIRECTORY,
                            ERROR_KEY_DELETED,
                            ERROR_IO_DEVICE,
                            ERROR_NO_UNICODE_TRANSLATION,
                            ERROR_FAILED_SERVICE_CONTROLLER_CONNECT,
                            ERROR_SERVICE_NOT_IN_EXE,
                            ERROR_NOT_ALL_ASSIGNED,
                            ERROR_NO_SUCH_PRIVILEGE,
                            ERROR_RESOURCE_DATA_NOT_FOUND,
                            ERROR_RESOURCE_TYPE_NOT_FOUND}) {
    LPWSTR text = nullptr;
    ASSERT_NE(::FormatMessageW(kModelled, nullptr, error, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr), 0u) << error;
    EXPECT_TRUE(std::u16string_view(text).ends_with(TEXT(".\r\n"))) << error;
    ::LocalFree(text);
  }
}

TEST_F(DebugTest, AnUnknownErrorNumberFailsWithError317AndGivesNoBuffer) {
  WCHAR untouched = 0;
  LPWSTR text = &untouched;
  EXPECT_EQ(::FormatMessageW(kModelled, nullptr, 54321, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr), 0u);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
  EXPECT_EQ(text, nullptr);
}

TEST_F(DebugTest, OtherFormsOfFormatMessageAreRefused) {
  WCHAR text[10];
  EXPECT_THAT(
      RefusalOf(machine(), [&] { ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, text, 10, nullptr); }),
      HasSubstr("FormatMessageW: not modelled"));
}

}  // namespace
