#include "vantord/common/registry.h"

#include "cli/base/service_facts.h"
#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

constexpr const WCHAR* kPath = TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters");
using service_facts::kHelperMessages;

class RegistryHelperTest : public testing_support::TabletTest {
 protected:
  /// No zone is on: the helpers' messages are sent whatever the mask.
  RegistryHelperTest() { OpenLog(0); }
  void PowerOnWith(std::vector<std::u16string> denied, std::vector<std::u16string> read_only) {
    tablet::Description description = DefaultDescription();
    description.denied_keys = std::move(denied);
    description.read_only_keys = std::move(read_only);
    PowerOn(description);
    OpenLog(0);
  }
  void PutBytes(const WCHAR* value, std::uint32_t type, std::vector<std::uint8_t> data) {
    registry().Put(kPath, value, {type, std::move(data)});
  }
};

TEST_F(RegistryHelperTest, ANumberIsReadAndNothingIsSaid) {
  registry().PutDword(kPath, u"Distribute", 0x89ABCDEF);
  DWORD value = 0;
  EXPECT_TRUE(SGetRegistryDWORD(kPath, TEXT("Distribute"), value));
  EXPECT_EQ(value, 0x89ABCDEFu);
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, AMissingNumberIsLoggedAndLeavesTheVariableAlone) {
  DWORD value = 5;
  EXPECT_FALSE(
      SGetRegistryDWORD(TEXT("SYSTEM\\CurrentControlSet\\Control\\CrashControl"), TEXT("CrashDumpEnabled"), value));
  EXPECT_EQ(value, 5u);
  EXPECT_THAT(messages(), ElementsAre("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = CrashDumpEnabled"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, AKeyIsClosedBeforeItsMessage) {
  WCHAR text[10] = {};
  DWORD number = 0;
  const std::pair<const char*, std::function<bool()>> failures[] = {
      {"RegQueryValueExW", [&] { return SGetRegistryDWORD(kPath, TEXT("gone"), number); }},
      {"RegQueryValueExW", [&] { return SGetRegistrySZ(kPath, TEXT("gone"), text, sizeof(text)); }},
      {"RegSetValueExW", [&] { return SSetRegistryDWORD(kPath, TEXT("new"), 1); }},
      {"RegSetValueExW", [&] { return SSetRegistrySZ(kPath, TEXT("new"), TEXT("x")); }}};
  for (const auto& [call, fails] : failures) {
    PowerOnWith({}, {});
    Inject(call, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(fails());
    EXPECT_LT(At("RegCloseKey"), At("_vsnwprintf", "fail, ValueName"));
  }
  PowerOnWith({}, {});
  registry().PutDword(kPath, u"no sub-key", 1);
  std::vector<WideString> names;
  EXPECT_FALSE(SRegistrySubKeys(kPath, names));
  EXPECT_LT(At("RegCloseKey"), At("_vsnwprintf", "RegistrySubKeys fail"));
}

TEST_F(RegistryHelperTest, MessagesGoOutUnderTheHelpersOwnGuid) {
  DWORD value = 0;
  SGetRegistryDWORD(kPath, TEXT("gone"), value);
  for (const tablet::Event& event : machine().journal().events()) {
    const auto* trace = std::get_if<tablet::TraceEvent>(&event.what);
    if (trace == nullptr) continue;
    EXPECT_EQ(trace->guid, kHelperMessages);
    return;
  }
  FAIL() << "nothing was logged";
}

TEST_F(RegistryHelperTest, ANumberOfAnotherSizeIsAFailure) {
  PutBytes(TEXT("eight"), REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  PutBytes(TEXT("two"), REG_DWORD, {1, 0});
  PutBytes(TEXT("Timeout"), REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  DWORD value = 5;
  EXPECT_FALSE(SGetRegistryDWORD(kPath, TEXT("eight"), value));
  EXPECT_FALSE(SGetRegistryDWORD(kPath, TEXT("two"), value));
  EXPECT_FALSE(SGetRegistryDWORD(kPath, TEXT("Timeout"), value));
  EXPECT_EQ(value, 5u);
  EXPECT_THAT(messages(), ElementsAre("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = eight",
                                      "SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = two"));
}

TEST_F(RegistryHelperTest, AnyValueOfFourBytesReadsAsANumber) {
  PutBytes(TEXT("binary"), REG_BINARY, {1, 0, 0, 0});
  PutBytes(TEXT("text"), REG_SZ, {'1', 0, 0, 0});
  DWORD value = 0;
  EXPECT_TRUE(SGetRegistryDWORD(kPath, TEXT("binary"), value));
  EXPECT_EQ(value, 1u);
  EXPECT_TRUE(SGetRegistryDWORD(kPath, TEXT("text"), value));
  EXPECT_EQ(value, 0x31u);
}

TEST_F(RegistryHelperTest, AMissingValueOfAQuietNameIsNotLogged) {
  DWORD value = 0;
  for (const WCHAR* name :
       {TEXT("ExecutionTime"), TEXT("Timeout"), TEXT("TimeoutCmdInit"), TEXT("TimeoutCmdNoOp"),
        TEXT("TimeoutCmdOnline"), TEXT("TimeoutAPIDefault"), TEXT("TimeoutDTRDrop"), TEXT("TimeoutWaitForInit"),
        TEXT("BaudRate"), TEXT("DataModeInteruptionQuantum"), TEXT("MaxTimeouts"), TEXT("MaxOpenAttempts"),
        TEXT("OpenTimeout"), TEXT("CBSLanguageSetting")}) {
    EXPECT_FALSE(SGetRegistryDWORD(kPath, name, value));
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RegistryHelperTest, OnlyTheExactSpellingIsQuiet) {
  DWORD value = 0;
  for (const WCHAR* name :
       {TEXT("timeout"), TEXT("Timeout2"), TEXT("TimeoutCmd"), TEXT("DataModeInterruptionQuantum")}) {
    EXPECT_FALSE(SGetRegistryDWORD(kPath, name, value));
  }
  EXPECT_EQ(messages().size(), 4u);
}

TEST_F(RegistryHelperTest, ReadingFromAMissingKeyMakesTheKey) {
  DWORD value = 0;
  WCHAR text[10] = {};
  EXPECT_FALSE(SGetRegistryDWORD(TEXT("SOFTWARE\\Number"), TEXT("Timeout"), value));
  EXPECT_FALSE(SGetRegistrySZ(TEXT("SOFTWARE\\Text"), TEXT("v"), text, sizeof(text)));
  EXPECT_TRUE(registry().HasKey(u"SOFTWARE\\Number"));
  EXPECT_TRUE(registry().HasKey(u"SOFTWARE\\Text"));
  EXPECT_THAT(registry().ValueNames(u"SOFTWARE\\Text"), IsEmpty());
}

TEST_F(RegistryHelperTest, AMissingKeyWhereNoneMayBeMadeIsAFailureWithoutAWord) {
  PowerOnWith({}, {u"SOFTWARE"});
  DWORD value = 0;
  EXPECT_FALSE(SGetRegistryDWORD(TEXT("SOFTWARE\\Number"), TEXT("v"), value));
  EXPECT_FALSE(registry().HasKey(u"SOFTWARE\\Number"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RegistryHelperTest, AKeyThatCannotBeOpenedIsNotLogged) {
  PowerOnWith({kPath}, {});
  registry().PutDword(kPath, u"v", 1);
  DWORD value = 5;
  WCHAR text[4] = {'x', 'x', 'x', 'x'};
  EXPECT_FALSE(SGetRegistryDWORD(kPath, TEXT("v"), value));
  EXPECT_FALSE(SSetRegistryDWORD(kPath, TEXT("v"), 2));
  EXPECT_FALSE(SGetRegistrySZ(kPath, TEXT("v"), text, sizeof(text)));
  EXPECT_FALSE(SSetRegistrySZ(kPath, TEXT("v"), TEXT("text")));
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(text[3], 'x') << "no terminator is forced when nothing was read";
  EXPECT_EQ(registry().GetDword(kPath, u"v"), 1u);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RegistryHelperTest, AReadOnlyKeyCanBeReadButNotWritten) {
  PowerOnWith({}, {kPath});
  registry().PutDword(kPath, u"v", 1);
  DWORD value = 0;
  EXPECT_TRUE(SGetRegistryDWORD(kPath, TEXT("v"), value));
  EXPECT_FALSE(SSetRegistryDWORD(kPath, TEXT("v"), 2));
  EXPECT_EQ(registry().GetDword(kPath, u"v"), 1u);
}

TEST_F(RegistryHelperTest, ANumberIsWrittenAsADwordAndMakesItsKey) {
  EXPECT_TRUE(SSetRegistryDWORD(kPath, TEXT("PELT_KNOW_TO_GO_SSR"), 0x01020304));
  EXPECT_EQ(registry().Get(kPath, u"PELT_KNOW_TO_GO_SSR"), (tablet::RegistryValue{REG_DWORD, {4, 3, 2, 1}}));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, ATextIsWrittenWithItsTerminatorAndMakesItsKey) {
  EXPECT_TRUE(SSetRegistrySZ(kPath, TEXT("AmssFwImagePath"), TEXT("ab")));
  EXPECT_EQ(registry().Get(kPath, u"AmssFwImagePath"), (tablet::RegistryValue{REG_SZ, {'a', 0, 'b', 0, 0, 0}}));
  EXPECT_TRUE(SSetRegistrySZ(kPath, TEXT("empty"), TEXT("")));
  EXPECT_EQ(registry().Get(kPath, u"empty"), (tablet::RegistryValue{REG_SZ, {0, 0}}));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, AFailedWritingIsLoggedAndClosesItsKey) {
  Inject("RegSetValueExW", ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_FALSE(SSetRegistryDWORD(kPath, TEXT("number"), 1));
  EXPECT_FALSE(SSetRegistrySZ(kPath, TEXT("text"), TEXT("x")));
  EXPECT_THAT(messages(), ElementsAre("SSetRegistryDWORD:842 : RegSetValueEx fail, ValueName = number",
                                      "SSetRegistrySZ:908 : RegSetValueEx fail, ValueName = text"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, ATextOf259CharactersFitsAndOneOf300DoesNot) {
  WCHAR buffer[260] = {};
  registry().PutText(kPath, u"fits", std::u16string(259, u'a'));
  registry().PutText(kPath, u"long", std::u16string(300, u'a'));
  EXPECT_TRUE(SGetRegistrySZ(kPath, TEXT("fits"), buffer, sizeof(buffer)));
  EXPECT_EQ(std::u16string(buffer), std::u16string(259, u'a'));
  EXPECT_FALSE(SGetRegistrySZ(kPath, TEXT("long"), buffer, sizeof(buffer)));
  EXPECT_THAT(messages(), ElementsAre("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = long"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, InABufferOf20BytesNineCharactersFitAndTenDoNot) {
  WCHAR buffer[10] = {};
  registry().PutText(kPath, u"nine", u"123456789");
  registry().PutText(kPath, u"ten", u"1234567890");
  EXPECT_TRUE(SGetRegistrySZ(kPath, TEXT("nine"), buffer, sizeof(buffer)));
  EXPECT_EQ(std::u16string(buffer), u"123456789");
  EXPECT_FALSE(SGetRegistrySZ(kPath, TEXT("ten"), buffer, sizeof(buffer)));
  EXPECT_THAT(messages(), ElementsAre("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = ten"));
}

TEST_F(RegistryHelperTest, ATextThatFillsTheBufferLosesItsLastCharacter) {
  WCHAR buffer[3] = {};
  PutBytes(TEXT("full"), REG_SZ, {'a', 0, 'b', 0, 'c', 0});
  EXPECT_TRUE(SGetRegistrySZ(kPath, TEXT("full"), buffer, sizeof(buffer)));
  EXPECT_EQ(std::u16string(buffer), u"ab");
}

TEST_F(RegistryHelperTest, AFailedReadStillTerminatesTheBuffer) {
  WCHAR buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_FALSE(SGetRegistrySZ(kPath, TEXT("gone"), buffer, sizeof(buffer)));
  EXPECT_EQ(std::u16string(buffer), u"xxx");
  EXPECT_THAT(messages(), ElementsAre("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = gone"));
}

TEST_F(RegistryHelperTest, ATextOfAnyTypeIsRead) {
  WCHAR buffer[4] = {};
  PutBytes(TEXT("binary"), REG_BINARY, {'a', 0});
  EXPECT_TRUE(SGetRegistrySZ(kPath, TEXT("binary"), buffer, sizeof(buffer)));
  EXPECT_EQ(std::u16string(buffer), u"a");
}

TEST_F(RegistryHelperTest, AValueIsDeleted) {
  registry().PutDword(kPath, u"Distribute", 1);
  EXPECT_TRUE(SRegistryDeleteValue(kPath, TEXT("Distribute")));
  EXPECT_THAT(registry().ValueNames(kPath), IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RegistryHelperTest, DeletingAMissingValueSaysThatItDoesNotExist) {
  registry().MakeKey(kPath);
  EXPECT_FALSE(SRegistryDeleteValue(kPath, TEXT("Distribute")));
  EXPECT_THAT(messages(), ElementsAre("SRegistryDeleteValue:1043 : RegistryDeleteValue fail, the value(Distribute) "
                                      "does not exist"));
}

TEST_F(RegistryHelperTest, DeletingFromAMissingKeyDoesNotMakeTheKey) {
  EXPECT_FALSE(SRegistryDeleteValue(kPath, TEXT("Distribute")));
  EXPECT_FALSE(registry().HasKey(kPath));
  EXPECT_EQ(messages().size(), 1u);
}

TEST_F(RegistryHelperTest, AFailedDeletionSaysDoesNotExistWhateverTheCause) {
  PowerOnWith({}, {kPath});
  registry().PutDword(kPath, u"Distribute", 1);
  std::string const words =
      "SRegistryDeleteValue:1043 : RegistryDeleteValue fail, the value(Distribute) does not exist";
  EXPECT_FALSE(SRegistryDeleteValue(kPath, TEXT("Distribute"))) << "a key that may only be read";
  registry().PutDword(u"SOFTWARE\\Free", u"Distribute", 1);
  Inject("RegDeleteValueW", ERROR_ACCESS_DENIED);
  EXPECT_FALSE(SRegistryDeleteValue(TEXT("SOFTWARE\\Free"), TEXT("Distribute")));
  EXPECT_THAT(messages(), ElementsAre(words, words));
}

TEST_F(RegistryHelperTest, EachDeletionLeavesOneKeyHandleOpen) {
  registry().PutDword(kPath, u"Distribute", 1);
  EXPECT_TRUE(SRegistryDeleteValue(kPath, TEXT("Distribute")));
  EXPECT_THAT(open_kinds(), ElementsAre("key"));
  EXPECT_FALSE(SRegistryDeleteValue(kPath, TEXT("Distribute")));
  EXPECT_THAT(open_kinds(), ElementsAre("key", "key"));
  EXPECT_FALSE(SRegistryDeleteValue(TEXT("SOFTWARE\\Missing"), TEXT("v")));
  EXPECT_EQ(open_kinds().size(), 2u) << "nothing was opened";
}

TEST_F(RegistryHelperTest, SubKeysAreAppendedAndLoggedWithIndexesFromOne) {
  for (const WCHAR* name : {TEXT("\\0002"), TEXT("\\0000"), TEXT("\\0001")}) {
    registry().MakeKey(std::u16string(kPath) + name);
  }
  std::vector<WideString> names = {TEXT("kept")};
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, ElementsAre(TEXT("kept"), TEXT("0000"), TEXT("0001"), TEXT("0002")));
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1072 : SRegistrySubKeys Index(1) = 0000",
                                      "SRegistrySubKeys:1072 : SRegistrySubKeys Index(2) = 0001",
                                      "SRegistrySubKeys:1072 : SRegistrySubKeys Index(3) = 0002"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, ASubKeysNameMayHave255Characters) {
  std::u16string const name(255, u'n');
  registry().MakeKey(std::u16string(kPath) + u"\\" + name);
  std::vector<WideString> names;
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, ElementsAre(name));
}

TEST_F(RegistryHelperTest, ListingNeverClearsTheList) {
  registry().MakeKey(std::u16string(kPath) + u"\\A");
  std::vector<WideString> names;
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, ElementsAre(TEXT("A"), TEXT("A")));
}

TEST_F(RegistryHelperTest, AKeyWithoutSubKeysIsAFailure) {
  registry().PutDword(kPath, u"v", 1);
  std::vector<WideString> names;
  EXPECT_FALSE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1083 : RegistrySubKeys fail"));
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("RegEnumKeyExW"), IsEmpty());
}

TEST_F(RegistryHelperTest, AMissingKeyHasNoSubKeysAndIsNotMade) {
  std::vector<WideString> names;
  EXPECT_FALSE(SRegistrySubKeys(kPath, names));
  EXPECT_FALSE(registry().HasKey(kPath));
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1083 : RegistrySubKeys fail"));
}

TEST_F(RegistryHelperTest, AKeyThatCannotBeCountedIsAFailure) {
  registry().MakeKey(std::u16string(kPath) + u"\\A");
  Inject("RegQueryInfoKeyW", ERROR_ACCESS_DENIED);
  std::vector<WideString> names;
  EXPECT_FALSE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, IsEmpty());
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1083 : RegistrySubKeys fail"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(RegistryHelperTest, SubKeysOfAReadOnlyKeyCannotBeListed) {
  PowerOnWith({}, {kPath});
  registry().MakeKey(std::u16string(kPath) + u"\\A");
  std::vector<WideString> names;
  EXPECT_FALSE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1083 : RegistrySubKeys fail"));
}

TEST_F(RegistryHelperTest, ASubKeyThatCannotBeReadIsSkipped) {
  for (const WCHAR* name : {TEXT("\\A"), TEXT("\\B"), TEXT("\\C")}) registry().MakeKey(std::u16string(kPath) + name);
  Inject("RegEnumKeyExW", ERROR_MORE_DATA, 2, 1);
  std::vector<WideString> names;
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, ElementsAre(TEXT("A"), TEXT("C")));
  EXPECT_THAT(messages(), ElementsAre("SRegistrySubKeys:1072 : SRegistrySubKeys Index(1) = A",
                                      "SRegistrySubKeys:1072 : SRegistrySubKeys Index(3) = C"));
}

TEST_F(RegistryHelperTest, ListingSucceedsEvenIfNoSubKeyCanBeRead) {
  registry().MakeKey(std::u16string(kPath) + u"\\A");
  Inject("RegEnumKeyExW", ERROR_ACCESS_DENIED);
  std::vector<WideString> names;
  EXPECT_TRUE(SRegistrySubKeys(kPath, names));
  EXPECT_THAT(names, IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(open_kinds(), IsEmpty());
}

}  // namespace
