#include <windows.h>

#include <array>

#include "tests/testing/tablet_fixture.h"

namespace {

constexpr const WCHAR* kPath = TEXT("SOFTWARE\\Test");

class RegistryCallsTest : public testing_support::TabletTest {
 protected:
  HKEY Open(REGSAM access) {
    HKEY key = nullptr;
    registry().MakeKey(kPath);
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPath, 0, access, &key), ERROR_SUCCESS);
    return key;
  }
  LSTATUS Create(const WCHAR* path, REGSAM access, HKEY& key, DWORD* disposition = nullptr) {
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, access, nullptr, &key, disposition);
  }
};

/// A call that the stand-in refuses ends the whole run; on the outside's own thread that is an abort.
using RegistryRefusalsDeathTest = RegistryCallsTest;

TEST_F(RegistryCallsTest, HkeyLocalMachineIsTheSignExtendedConstant) {
  EXPECT_EQ(reinterpret_cast<ULONG_PTR>(HKEY_LOCAL_MACHINE), 0xFFFFFFFF80000002u);
}

TEST_F(RegistryCallsTest, CreatingTellsWhetherTheKeyWasThere) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  EXPECT_EQ(Create(kPath, KEY_READ, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  EXPECT_TRUE(registry().HasKey(kPath));
  EXPECT_EQ(Create(TEXT("software\\TEST"), KEY_READ, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_THAT(open_kinds(), ElementsAre("key", "key"));
}

TEST_F(RegistryCallsTest, AKeyBelowAnotherIsNamedFromThere) {
  HKEY const base = Open(KEY_READ);
  HKEY below = nullptr;
  EXPECT_EQ(RegCreateKeyExW(base, TEXT("A\\B"), 0, nullptr, 0, KEY_READ, nullptr, &below, nullptr), ERROR_SUCCESS);
  EXPECT_TRUE(registry().HasKey(u"SOFTWARE\\Test\\A\\B"));
  EXPECT_EQ(RegOpenKeyExW(base, TEXT("a"), 0, KEY_READ, &below), ERROR_SUCCESS);
  EXPECT_EQ(RegOpenKeyExW(base, nullptr, 0, KEY_READ, &below), ERROR_SUCCESS);
  EXPECT_NE(below, base) << "an opened key gives a handle of its own";
}

TEST_F(RegistryCallsTest, TheHiveWithoutANameIsItsOwnHandle) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT(""), 0, KEY_READ, &key), ERROR_SUCCESS);
  EXPECT_EQ(key, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
}

TEST_F(RegistryCallsTest, OpeningFailsForMissingLeadingSeparatorAndGuardedPaths) {
  HKEY key = nullptr;
  tablet::Description description = DefaultDescription();
  description.denied_keys = {u"SOFTWARE\\Denied"};
  description.read_only_keys = {u"SOFTWARE\\Fixed"};
  PowerOn(description);
  registry().MakeKey(u"SOFTWARE\\Denied");
  registry().MakeKey(u"SOFTWARE\\Fixed");
  SetLastError(77);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Missing"), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("\\SOFTWARE"), 0, KEY_READ, &key), 161);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Denied"), 0, KEY_READ, &key), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Create(TEXT("SOFTWARE\\Fixed"), KEY_WRITE, key), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Create(TEXT("SOFTWARE\\Fixed\\New"), KEY_READ, key), ERROR_ACCESS_DENIED);
  EXPECT_EQ(key, nullptr);
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_EQ(GetLastError(), 77u) << "the registry's calls leave the last error alone";
  EXPECT_EQ(Create(TEXT("SOFTWARE\\Fixed"), KEY_READ, key), ERROR_SUCCESS);
}

TEST_F(RegistryCallsTest, HandlesThatAreClosedOrNoKeysAreInvalid) {
  HKEY const closed = Open(KEY_ALL_ACCESS);
  EXPECT_EQ(RegCloseKey(closed), ERROR_SUCCESS);
  class Other final : public tablet::Object {
    std::string_view kind() const override { return "other"; }
  };
  HKEY const foreign = reinterpret_cast<HKEY>(machine().handles().Add(std::make_shared<Other>()));
  for (HKEY const key : {closed, foreign, HKEY{nullptr}}) {
    HKEY opened = nullptr;
    DWORD number = 0;
    WCHAR name[8];
    EXPECT_EQ(RegOpenKeyExW(key, kPath, 0, KEY_READ, &opened), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCreateKeyExW(key, kPath, 0, nullptr, 0, KEY_READ, nullptr, &opened, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegQueryValueExW(key, kPath, nullptr, nullptr, nullptr, &number), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegSetValueExW(key, kPath, 0, REG_BINARY, nullptr, 0), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegDeleteValueW(key, kPath), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &number, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegEnumKeyExW(key, 0, name, &(number = 8), nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  }
  EXPECT_THAT(open_kinds(), ElementsAre("other"));
}

TEST_F(RegistryCallsTest, AQueryGivesTypeSizeAndData) {
  HKEY const key = Open(KEY_READ);
  registry().PutText(kPath, u"Text", u"ab");
  std::array<BYTE, 8> data{};
  data.fill(0xEE);
  DWORD bytes = 8;
  DWORD type = 0;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("TEXT"), nullptr, &type, data.data(), &bytes), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(bytes, 6u);
  EXPECT_THAT(data, ElementsAre('a', 0, 'b', 0, 0, 0, 0xEE, 0xEE));
}

TEST_F(RegistryCallsTest, ASmallBufferIsLeftAloneAndToldTheNeededSize) {
  HKEY const key = Open(KEY_READ);
  registry().PutText(kPath, u"Text", u"abc");
  std::array<BYTE, 7> data{};
  data.fill(0xEE);
  DWORD bytes = 7;
  DWORD type = 0;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Text"), nullptr, &type, data.data(), &bytes), ERROR_MORE_DATA);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_THAT(data, ::testing::Each(0xEE));
}

TEST_F(RegistryCallsTest, AQueryWithoutABufferAsksForTheSize) {
  HKEY const key = Open(KEY_READ);
  registry().PutText(kPath, u"Text", u"abc");
  DWORD bytes = 0;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, nullptr, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  BYTE byte = 0;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Text"), nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Text"), &bytes, nullptr, nullptr, &bytes), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryCallsTest, ATextStoredWithoutItsTerminatorGetsOneWhereThereIsRoom) {
  HKEY const key = Open(KEY_READ);
  registry().Put(kPath, u"Open", {tablet::kTypeText, {'a', 0}});
  std::array<BYTE, 4> data{};
  data.fill(0xEE);
  DWORD bytes = 4;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Open"), nullptr, nullptr, data.data(), &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 2u);
  EXPECT_THAT(data, ElementsAre('a', 0, 0, 0));
  data.fill(0xEE);
  bytes = 3;
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Open"), nullptr, nullptr, data.data(), &bytes), ERROR_SUCCESS);
  EXPECT_THAT(data, ElementsAre('a', 0, 0xEE, 0xEE));
}

TEST_F(RegistryCallsTest, AMissingValueIsNotFoundAndChangesNothing) {
  HKEY const key = Open(KEY_READ);
  DWORD bytes = 5;
  DWORD type = 6;
  BYTE data[5] = {1, 2, 3, 4, 5};
  EXPECT_EQ(RegQueryValueExW(key, TEXT("Gone"), nullptr, &type, data, &bytes), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(bytes, 5u);
  EXPECT_EQ(type, 6u);
  EXPECT_EQ(data[0], 1);
}

TEST_F(RegistryCallsTest, NoNameAndAnEmptyNameMeanTheDefaultValue) {
  HKEY const key = Open(KEY_ALL_ACCESS);
  BYTE const data[] = {1, 2};
  EXPECT_EQ(RegSetValueExW(key, nullptr, 0, REG_BINARY, data, 2), ERROR_SUCCESS);
  EXPECT_EQ(registry().Get(kPath, u""), (tablet::RegistryValue{tablet::kTypeBinary, {1, 2}}));
  DWORD bytes = 0;
  EXPECT_EQ(RegQueryValueExW(key, TEXT(""), nullptr, nullptr, nullptr, &bytes), ERROR_SUCCESS);
  EXPECT_EQ(bytes, 2u);
  EXPECT_EQ(RegDeleteValueW(key, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(key, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryCallsTest, OperationsNeedTheRightsTheHandleWasOpenedWith) {
  HKEY const reading = Open(KEY_READ);
  HKEY const writing = Open(KEY_WRITE);
  registry().PutDword(kPath, u"v", 1);
  DWORD number = 0;
  WCHAR name[8];
  DWORD length = 8;
  EXPECT_EQ(RegSetValueExW(reading, TEXT("v"), 0, REG_BINARY, nullptr, 0), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(reading, TEXT("v")), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegQueryValueExW(writing, TEXT("v"), nullptr, nullptr, nullptr, &number), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegEnumKeyExW(writing, 0, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegQueryInfoKeyW(writing, nullptr, nullptr, nullptr, &number, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr),
            ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry().GetDword(kPath, u"v"), 1u);
}

TEST_F(RegistryCallsTest, SubKeysAreEnumeratedByNameUntilThereAreNoMore) {
  HKEY const key = Open(KEY_READ);
  for (const WCHAR* name : {TEXT("bb"), TEXT("C"), TEXT("a")}) {
    registry().MakeKey(std::u16string(kPath) + u'\\' + name);
  }
  std::vector<std::u16string> names;
  LSTATUS status = ERROR_SUCCESS;
  for (DWORD index = 0; status == ERROR_SUCCESS; ++index) {
    WCHAR name[3] = {};
    DWORD length = 3;
    status = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) names.emplace_back(name, length);
  }
  EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
  EXPECT_THAT(names, ElementsAre(u"a", u"bb", u"C"));
}

TEST_F(RegistryCallsTest, ANameWithItsTerminatorMustFitTheBuffer) {
  HKEY const key = Open(KEY_READ);
  registry().MakeKey(std::u16string(kPath) + u"\\abc");
  WCHAR name[4] = {'x', 'x', 'x', 'x'};
  DWORD length = 3;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(name[0], 'x');
  length = 4;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(std::u16string(name), u"abc");
  EXPECT_EQ(RegEnumKeyExW(key, 0, nullptr, &length, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryCallsTest, TheSummaryCountsKeysAndValuesWithTheirLongestLengths) {
  HKEY const key = Open(KEY_READ);
  registry().MakeKey(std::u16string(kPath) + u"\\12345");
  registry().PutDword(kPath, u"abc", 1);
  DWORD subKeys = 0;
  DWORD longestSubKey = 0;
  DWORD values = 0;
  DWORD longestName = 0;
  DWORD longestData = 0;
  EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &longestSubKey, nullptr, &values, &longestName,
                             &longestData, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_THAT((std::array{subKeys, longestSubKey, values, longestName, longestData}), ElementsAre(1, 5, 1, 3, 4));
}

TEST_F(RegistryCallsTest, AnInjectedFaultIsTheAnswerAndNothingHappens) {
  HKEY const key = Open(KEY_ALL_ACCESS);
  registry().PutDword(kPath, u"v", 1);
  for (const char* call : {"RegCreateKeyExW", "RegOpenKeyExW", "RegQueryValueExW", "RegSetValueExW", "RegDeleteValueW",
                           "RegQueryInfoKeyW", "RegEnumKeyExW", "RegCloseKey"}) {
    Inject(call, 1450);
  }
  SetLastError(77);
  HKEY other = nullptr;
  DWORD number = 4;
  WCHAR name[8];
  EXPECT_EQ(Create(TEXT("SOFTWARE\\New"), KEY_READ, other), 1450);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPath, 0, KEY_READ, &other), 1450);
  EXPECT_EQ(RegQueryValueExW(key, TEXT("v"), nullptr, nullptr, nullptr, &number), 1450);
  EXPECT_EQ(RegSetValueExW(key, TEXT("v"), 0, REG_BINARY, nullptr, 0), 1450);
  EXPECT_EQ(RegDeleteValueW(key, TEXT("v")), 1450);
  EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &number, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr),
            1450);
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &number, nullptr, nullptr, nullptr, nullptr), 1450);
  EXPECT_EQ(RegCloseKey(key), 1450);
  EXPECT_EQ(GetLastError(), 77u);
  EXPECT_FALSE(registry().HasKey(u"SOFTWARE\\New"));
  EXPECT_EQ(registry().GetDword(kPath, u"v"), 1u);
  EXPECT_THAT(open_kinds(), ElementsAre("key"));
}

TEST_F(RegistryCallsTest, CallsAreJournalledWithArgumentsAndResult) {
  HKEY key = nullptr;
  RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Missing"), 0, KEY_READ, &key);
  std::vector<tablet::CallEvent> const calls = machine().journal().Calls("RegOpenKeyExW");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].args, "HKEY_LOCAL_MACHINE, \"SOFTWARE\\Missing\", 0x20019");
  EXPECT_EQ(calls[0].result, "2");
}

TEST_F(RegistryRefusalsDeathTest, WhatIsNotModelledStopsTheRun) {
  HKEY const key = Open(KEY_READ);
  HKEY opened = nullptr;
  HKEY const currentUser = reinterpret_cast<HKEY>(static_cast<LONG_PTR>(-2147483647));
  WCHAR classText[] = TEXT("class");
  WCHAR name[8];
  DWORD number = 8;
  FILETIME time{};
  SECURITY_ATTRIBUTES security{};
  EXPECT_DEATH(RegOpenKeyExW(currentUser, kPath, 0, KEY_READ, &opened), "RegOpenKeyExW: not modelled.*predefined key");
  EXPECT_DEATH(RegOpenKeyExW(key, kPath, 4, KEY_READ, &opened), "RegOpenKeyExW: not modelled.*options 0x4");
  EXPECT_DEATH(RegOpenKeyExW(key, kPath, 0, 0x02000000, &opened), "RegOpenKeyExW: not modelled.*rights 0x2000000");
  EXPECT_DEATH(RegOpenKeyExW(key, kPath, 0, 0, &opened), "RegOpenKeyExW: not modelled.*rights 0x0");
  EXPECT_DEATH(RegCreateKeyExW(key, kPath, 0, classText, 0, KEY_READ, nullptr, &opened, nullptr), "the class");
  EXPECT_DEATH(RegCreateKeyExW(key, kPath, 0, nullptr, 1, KEY_READ, nullptr, &opened, nullptr), "options 0x1");
  EXPECT_DEATH(RegCreateKeyExW(key, kPath, 0, nullptr, 0, KEY_READ, &security, &opened, nullptr),
               "security attributes");
  EXPECT_DEATH(RegCreateKeyExW(key, nullptr, 0, nullptr, 0, KEY_READ, nullptr, &opened, nullptr), "no name");
  EXPECT_DEATH(RegSetValueExW(key, kPath, 0, REG_BINARY, nullptr, 1), "a size without data");
  EXPECT_DEATH(RegEnumKeyExW(key, 0, name, &number, nullptr, classText, &number, nullptr), "classes");
  EXPECT_DEATH(RegEnumKeyExW(key, 0, name, &number, nullptr, nullptr, nullptr, &time), "time of the last write");
  EXPECT_DEATH(RegQueryInfoKeyW(key, classText, &number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
               "classes");
  EXPECT_DEATH(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                &number, nullptr),
               "security descriptor");
  EXPECT_DEATH(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, &time),
               "time of the last write");
}

}  // namespace
