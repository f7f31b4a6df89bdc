#include "tests/conformance/world.h"

#include <vector>

namespace {

using conformance::Differs;
using conformance::Text;

class Registry : public conformance::World {
 protected:
  ~Registry() override {
    for (HKEY const key : keys_) ::RegCloseKey(key);
  }

  /// The test's key, made when it is not there; closed at the end.
  HKEY Key(REGSAM access = KEY_ALL_ACCESS) {
    HKEY key = nullptr;
    EXPECT_EQ(
        ::RegCreateKeyExW(conformance::Hive(), Registry::key().c_str(), 0, nullptr, 0, access, nullptr, &key, nullptr),
        ERROR_SUCCESS);
    keys_.push_back(key);
    return key;
  }

  static void PutText(HKEY key, const WCHAR* name, const Text& text) {
    EXPECT_EQ(::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                               static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR))),
              ERROR_SUCCESS);
  }

 private:
  std::vector<HKEY> keys_;
};

TEST_F(Registry, CreatingTellsWhetherTheKeyWasThereInAnyLetterCase) {
  HKEY first = nullptr;
  HKEY second = nullptr;
  DWORD disposition = 0;
  EXPECT_EQ(::RegCreateKeyExW(conformance::Hive(), (key() + TEXT("\\Sub")).c_str(), 0, nullptr, 0, KEY_READ, nullptr,
                              &first, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, DWORD{REG_CREATED_NEW_KEY});
  EXPECT_EQ(::RegCreateKeyExW(conformance::Hive(), (key() + TEXT("\\sUB")).c_str(), 0, nullptr, 0, KEY_READ, nullptr,
                              &second, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, DWORD{REG_OPENED_EXISTING_KEY});
  EXPECT_EQ(::RegCloseKey(first), ERROR_SUCCESS);
  EXPECT_EQ(::RegCloseKey(second), ERROR_SUCCESS);
}

TEST_F(Registry, MissingKeysAndBadPathsHaveTheirCodes) {
  HKEY opened = nullptr;
  EXPECT_EQ(::RegOpenKeyExW(conformance::Hive(), key().c_str(), 0, KEY_READ, &opened), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("\\SOFTWARE"), 0, KEY_READ, &opened), 161);
}

TEST_F(Registry, ALongNameOfAKeyIsRefused) {
  HKEY made = nullptr;
  EXPECT_EQ(::RegCreateKeyExW(Key(), Text(256, TEXT('k')).c_str(), 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr),
            Differs<LSTATUS>("long-key-name", ERROR_INVALID_PARAMETER, ERROR_SUCCESS));
  ::RegCloseKey(made);
}

TEST_F(Registry, AKeyIsNamedFromAnotherOne) {
  HKEY below = nullptr;
  EXPECT_EQ(::RegCreateKeyExW(Key(), TEXT("A\\B"), 0, nullptr, 0, KEY_READ, nullptr, &below, nullptr), ERROR_SUCCESS);
  ::RegCloseKey(below);
  EXPECT_EQ(::RegOpenKeyExW(conformance::Hive(), (key() + TEXT("\\a\\b")).c_str(), 0, KEY_READ, &below), ERROR_SUCCESS);
  ::RegCloseKey(below);
}

TEST_F(Registry, ClosedHandlesAreInvalid) {
  HKEY closed = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(Key(), TEXT("Closed"), 0, nullptr, 0, KEY_READ, nullptr, &closed, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(::RegCloseKey(closed), ERROR_SUCCESS);
  EXPECT_EQ(::RegCloseKey(closed), ERROR_INVALID_HANDLE);
  DWORD bytes = 0;
  EXPECT_EQ(::RegQueryValueExW(closed, TEXT("v"), nullptr, nullptr, nullptr, &bytes), ERROR_INVALID_HANDLE);
  EXPECT_EQ(::RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
}

TEST_F(Registry, ClosingTheHiveItselfSucceeds) { EXPECT_EQ(::RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS); }

TEST_F(Registry, AQueryGivesTypeSizeAndData) {
  HKEY const key = Key();
  PutText(key, TEXT("Text"), TEXT("ab"));
  WCHAR data[4] = {TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~')};
  DWORD bytes = sizeof(data);
  DWORD type = 0;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("TEXT"), nullptr, &type, reinterpret_cast<BYTE*>(data), &bytes),
            ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD{REG_SZ});
  EXPECT_EQ(bytes, 6u);
  EXPECT_EQ(Text(data, 4), Text(TEXT("ab\0~"), 4));
}

TEST_F(Registry, ASmallBufferIsToldTheNeededSizeAndStaysAsItIs) {
  HKEY const key = Key();
  PutText(key, TEXT("Text"), TEXT("abc"));
  BYTE data[7] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
  DWORD bytes = sizeof(data);
  DWORD type = 0;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Text"), nullptr, &type, data, &bytes), ERROR_MORE_DATA);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(type, DWORD{REG_SZ});
  EXPECT_EQ(data[0], 0xEE);
}

TEST_F(Registry, WithoutABufferAQueryAsksForTheSize) {
  HKEY const key = Key();
  PutText(key, TEXT("Text"), TEXT("abc"));
  DWORD bytes = 0;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, nullptr, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  BYTE byte = 0;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Text"), &bytes, nullptr, nullptr, &bytes), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, ATextWithoutItsTerminatorGetsOneWhereThereIsRoom) {
  HKEY const key = Key();
  // What follows is no terminator: a zero there would be taken for the text's.
  BYTE const open[] = {'a', 0, 'b', 0};
  ASSERT_EQ(::RegSetValueExW(key, TEXT("Open"), 0, REG_SZ, open, 2), ERROR_SUCCESS);
  BYTE data[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  DWORD bytes = 4;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Open"), nullptr, nullptr, data, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 2u);
  EXPECT_EQ(data[2], 0);
  EXPECT_EQ(data[3], 0);
  data[2] = 0xEE;
  bytes = 3;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT("Open"), nullptr, nullptr, data, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(data[2], 0xEE);
}

TEST_F(Registry, AMissingValueIsNotFound) {
  BYTE data[4] = {1, 2, 3, 4};
  DWORD bytes = 4;
  EXPECT_EQ(::RegQueryValueExW(Key(), TEXT("Gone"), nullptr, nullptr, data, &bytes), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(data[0], 1);
  EXPECT_EQ(::RegDeleteValueW(Key(), TEXT("Gone")), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, NoNameAndAnEmptyNameAreTheDefaultValue) {
  HKEY const key = Key();
  BYTE const data[] = {1, 2};
  EXPECT_EQ(::RegSetValueExW(key, nullptr, 0, REG_BINARY, data, 2), ERROR_SUCCESS);
  DWORD bytes = 0;
  EXPECT_EQ(::RegQueryValueExW(key, TEXT(""), nullptr, nullptr, nullptr, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 2u);
  EXPECT_EQ(::RegDeleteValueW(key, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(::RegDeleteValueW(key, TEXT("")), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, OperationsNeedTheRightsThatTheHandleWasOpenedWith) {
  Key();
  HKEY const reading = Key(KEY_READ);
  HKEY const writing = Key(KEY_WRITE);
  DWORD number = 0;
  WCHAR name[8] = {};
  DWORD length = 8;
  EXPECT_EQ(::RegSetValueExW(reading, TEXT("v"), 0, REG_BINARY, nullptr, 0), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegDeleteValueW(reading, TEXT("v")), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegQueryValueExW(writing, TEXT("v"), nullptr, nullptr, nullptr, &number), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegEnumKeyExW(writing, 0, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegSetValueExW(writing, TEXT("v"), 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
}

TEST_F(Registry, SubKeysAreEnumeratedByNameUntilThereAreNoMore) {
  HKEY const key = Key();
  for (const WCHAR* name : {TEXT("bb"), TEXT("C"), TEXT("a")}) {
    HKEY made = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(key, name, 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr), ERROR_SUCCESS);
    ::RegCloseKey(made);
  }
  std::vector<Text> names;
  LSTATUS status = ERROR_SUCCESS;
  for (DWORD index = 0; status == ERROR_SUCCESS; ++index) {
    WCHAR name[3] = {};
    DWORD length = 3;
    status = ::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) names.emplace_back(name, length);
  }
  EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(names, (std::vector<Text>{TEXT("a"), TEXT("bb"), TEXT("C")}));
  WCHAR small[2] = {TEXT('~'), TEXT('~')};
  DWORD length = 2;
  EXPECT_EQ(::RegEnumKeyExW(key, 1, small, &length, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
}

TEST_F(Registry, TheSummaryCountsKeysAndValuesWithTheirLongestLengths) {
  HKEY const key = Key();
  HKEY made = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(key, TEXT("12345"), 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr), ERROR_SUCCESS);
  ::RegCloseKey(made);
  PutText(key, TEXT("abc"), TEXT("x"));
  DWORD subKeys = 0, longestSubKey = 0, values = 0, longestName = 0, longestData = 0;
  EXPECT_EQ(::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &longestSubKey, nullptr, &values, &longestName,
                               &longestData, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 1u);
  EXPECT_EQ(longestSubKey, 5u);
  EXPECT_EQ(values, 1u);
  EXPECT_EQ(longestName, 3u);
  EXPECT_EQ(longestData, 4u);
}

TEST_F(Registry, ItsCallsLeaveTheLastErrorAlone) {
  HKEY const key = Key();
  ::SetLastError(77);
  DWORD bytes = 0;
  ::RegQueryValueExW(key, TEXT("Gone"), nullptr, nullptr, nullptr, &bytes);
  ::RegDeleteValueW(key, TEXT("Gone"));
  EXPECT_EQ(::GetLastError(), 77u);
}

}  // namespace
