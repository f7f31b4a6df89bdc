#include <windows.h>
// The version calls need <windows.h> first.
#include <winver.h>

#include "sim/tablet/base/text.h"
#include "tests/unit/winapi/files_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

using Files = testing_support::FilesTest;

TEST_F(Files, AFileReadsBackWhatWasWrittenInAnyCaseAndSpelling) {
  drive().PutFolder(u"c:\\Windows\\System32");
  {
    Handle const file(CreateAlways(TEXT("C:\\Windows\\Modem.bin")));
    ASSERT_TRUE(file.valid());
    EXPECT_TRUE(WriteText(file, "firmware"));
  }
  for (const WCHAR* path : {TEXT("c:\\windows\\MODEM.BIN"), TEXT("C:/Windows//modem.bin"), TEXT("\\windows\\modem.bin"),
                            TEXT("..\\modem.bin"), TEXT("c:..\\modem.bin"), TEXT("c:\\gone\\..\\windows\\.\\modem.bin"),
                            TEXT("c:\\windows\\modem.bin. .")}) {
    Handle const file(OpenForReading(path));
    ASSERT_TRUE(file.valid()) << tablet::ToUtf8(path);
    EXPECT_EQ(ReadText(file, 100), "firmware");
  }
  EXPECT_EQ(drive().Facts(u"c:\\windows\\modem.bin").name, u"Modem.bin");
}

TEST_F(Files, PathsThatLeadNowhereGiveWindowsCodes) {
  Put(u"c:\\folder\\file.txt", "x");
  EXPECT_EQ(AttributesError(TEXT("c:\\folder\\missing.txt")), 2u);
  EXPECT_EQ(AttributesError(TEXT("c:\\missing\\file.txt")), 3u);
  EXPECT_EQ(AttributesError(TEXT("c:\\folder\\file.txt\\below")), 3u);
  EXPECT_EQ(AttributesError(TEXT("d:\\folder\\file.txt")), 3u);
  EXPECT_EQ(AttributesError(TEXT("\\\\server\\share\\file.txt")), 3u);
  EXPECT_EQ(AttributesError(TEXT("")), 3u);
  EXPECT_EQ(AttributesError(nullptr), 3u);
  for (const WCHAR* name : {TEXT("c:\\fol<der"), TEXT("c:\\a>b"), TEXT("c:\\a|b"), TEXT("c:\\a\"b"), TEXT("c:\\a?b"),
                            TEXT("c:\\a*b"), TEXT("c:\\a:b"), TEXT("c:\\a\tb"), TEXT("1:\\a")}) {
    EXPECT_EQ(AttributesError(name), 123u) << tablet::ToUtf8(name);
  }
  EXPECT_EQ(OpenError(TEXT(""), GENERIC_READ, OPEN_EXISTING), 3u);
  EXPECT_EQ(OpenError(TEXT("c:\\folder\\file.txt\\"), GENERIC_READ, OPEN_EXISTING), 123u);
  EXPECT_EQ(OpenError(TEXT("c:\\folder\\new\\"), GENERIC_ALL, CREATE_ALWAYS), 123u);
}

TEST_F(Files, APathMayHave259CharactersAndAFolder247) {
  std::u16string const file = u"c:\\" + std::u16string(255, u'f');
  EXPECT_EQ(OpenError((file + u"f").c_str(), GENERIC_ALL, CREATE_NEW), 123u) << "a name has at most 255 characters";
  std::u16string const folder = u"c:\\" + std::u16string(244, u'd');
  EXPECT_EQ(::CreateDirectoryW((folder + u"d").c_str(), nullptr), FALSE);
  EXPECT_EQ(::GetLastError(), 206u);
  EXPECT_EQ(::CreateDirectoryW(folder.c_str(), nullptr), TRUE);
  std::u16string const longest = folder + u"\\" + std::u16string(11, u'f');
  ASSERT_EQ(longest.size(), 259u);
  EXPECT_EQ(OpenError(longest.c_str(), GENERIC_ALL, CREATE_NEW), 0u);
  EXPECT_EQ(OpenError((longest + u"f").c_str(), GENERIC_ALL, CREATE_NEW), 3u);
}

TEST_F(Files, EachDispositionDoesWhatWindowsDoes) {
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING), 2u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, TRUNCATE_EXISTING), 2u);
  EXPECT_FALSE(drive().Exists(u"c:\\a"));
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, CREATE_NEW), 0u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, CREATE_NEW), 80u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, TRUNCATE_EXISTING), 87u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, 0), 87u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, 6), 87u);

  Put(u"c:\\a", "old");
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, OPEN_ALWAYS), 0u);
  EXPECT_EQ(TextOf(u"c:\\a"), "old");
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, TRUNCATE_EXISTING), 0u);
  EXPECT_EQ(TextOf(u"c:\\a"), "");
  Put(u"c:\\a", "old");
  EXPECT_EQ(OpenError(TEXT("C:\\A"), GENERIC_WRITE, CREATE_ALWAYS), 0u);
  EXPECT_EQ(TextOf(u"c:\\a"), "");
  EXPECT_EQ(drive().Facts(u"c:\\A").name, u"a") << "the name keeps the case it was made with";
}

TEST_F(Files, CreateAlwaysAndOpenAlwaysTellByTheLastErrorWhetherTheFileWasThere) {
  for (DWORD const disposition : {CREATE_ALWAYS, OPEN_ALWAYS}) {
    drive().Remove(u"c:\\a");
    for (DWORD const expected : {0u, 183u}) {
      ::SetLastError(1);
      Handle const file(::CreateFileW(TEXT("c:\\a"), GENERIC_WRITE, 0, nullptr, disposition, 0, nullptr));
      EXPECT_TRUE(file.valid());
      EXPECT_EQ(::GetLastError(), expected);
    }
  }
}

TEST_F(Files, ReadOnlyFilesAreNeitherWrittenNorReplaced) {
  Put(u"c:\\a", "kept", FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, OPEN_EXISTING), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, OPEN_EXISTING), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_READONLY), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, CREATE_ALWAYS), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING), 0u);
  EXPECT_EQ(TextOf(u"c:\\a"), "kept");
  ASSERT_TRUE(::SetFileAttributesW(TEXT("c:\\a"), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, CREATE_ALWAYS), 0u);
}

TEST_F(Files, AFileMadeReadOnlyIsStillWrittenThroughTheHandleThatMadeIt) {
  Handle file(CreateAlways(TEXT("c:\\a"), FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(file.valid());
  EXPECT_TRUE(WriteText(file, "text"));
  file.Close();
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x21u);
  EXPECT_EQ(TextOf(u"c:\\a"), "text");
}

TEST_F(Files, HiddenAndSystemFilesAreReplacedOnlyByRequestsWithThoseBits) {
  Put(u"c:\\a", "kept", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, CREATE_ALWAYS), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, TRUNCATE_EXISTING, FILE_ATTRIBUTE_SYSTEM), 5u);
  EXPECT_EQ(TextOf(u"c:\\a"), "kept");
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, OPEN_EXISTING), 0u) << "opening them is another matter";
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM), 0u);
  EXPECT_EQ(TextOf(u"c:\\a"), "");
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x26u);
}

TEST_F(Files, NewFilesAreToBeArchivedBesideTheBitsAskedFor) {
  Handle const plain(CreateAlways(TEXT("c:\\plain")));
  Handle const hidden(CreateAlways(TEXT("c:\\hidden"), FILE_ATTRIBUTE_HIDDEN));
  Handle const folder_bit(CreateAlways(TEXT("c:\\folderbit"), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_SYSTEM));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\plain")), 0x20u);
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\hidden")), 0x22u);
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\folderbit")), 0x24u);
}

TEST_F(Files, AttributesAreReplacedWholeAndNormalClearsThem) {
  Put(u"c:\\a", "x");
  EXPECT_TRUE(::SetFileAttributesW(TEXT("c:\\a"), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x6u);
  EXPECT_TRUE(::SetFileAttributesW(TEXT("c:\\a"), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x80u);
  EXPECT_TRUE(::SetFileAttributesW(TEXT("c:\\a"), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x2u) << "a file does not become a folder";
  EXPECT_FALSE(::SetFileAttributesW(TEXT("c:\\missing"), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(::GetLastError(), 2u);
}

TEST_F(Files, AFolderKeepsItsDirectoryBit) {
  ASSERT_TRUE(::CreateDirectoryW(TEXT("c:\\Folder\\"), nullptr));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\folder")), 0x10u);
  EXPECT_TRUE(::SetFileAttributesW(TEXT("c:\\folder\\"), FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\folder")), 0x12u);
  EXPECT_TRUE(::SetFileAttributesW(TEXT("c:\\folder"), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\folder\\")), 0x10u);
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\")), 0x10u);
}

TEST_F(Files, FoldersAreMadeOneAtATime) {
  auto const error = [](const WCHAR* path) { return ::CreateDirectoryW(path, nullptr) ? 0 : ::GetLastError(); };
  Put(u"c:\\file", "x");
  EXPECT_EQ(error(TEXT("c:\\a\\b")), 3u);
  EXPECT_EQ(error(TEXT("c:\\a")), 0u);
  EXPECT_EQ(error(TEXT("c:\\A")), 183u);
  EXPECT_EQ(error(TEXT("c:\\a\\b\\")), 0u);
  EXPECT_EQ(error(TEXT("c:\\file")), 183u);
  EXPECT_EQ(error(TEXT("c:\\")), 5u);
  EXPECT_EQ(error(TEXT("")), 3u);
  EXPECT_EQ(error(TEXT("e:\\a")), 3u);
}

TEST_F(Files, AFolderIsNotOpenedAsAFile) {
  drive().PutFolder(u"c:\\folder");
  EXPECT_EQ(OpenError(TEXT("c:\\folder"), GENERIC_READ, OPEN_EXISTING), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\folder"), 0, OPEN_EXISTING), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\folder"), GENERIC_ALL, CREATE_ALWAYS), 5u);
  EXPECT_EQ(OpenError(TEXT("c:\\folder"), GENERIC_ALL, CREATE_NEW), 80u);
}

TEST_F(Files, OpenersShareOnlyWhatBothAllow) {
  Put(u"c:\\a", "x");
  Handle first(OpenForReading(TEXT("c:\\a"), FILE_SHARE_READ));
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING, 0, FILE_SHARE_READ), 0u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING, 0, 0), 32u) << "does not let the first one read";
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, OPEN_EXISTING), 32u);
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, CREATE_ALWAYS), 32u) << "emptying is writing";
  EXPECT_EQ(TextOf(u"c:\\a"), "x");
  first.Close();
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_WRITE, OPEN_EXISTING), 0u) << "a closed handle blocks nothing";
}

TEST_F(Files, OpeningWithoutAnyAccessTakesNoPartInSharing) {
  Put(u"c:\\a", "x");
  Handle const exclusive(CreateAlways(TEXT("c:\\a")));
  ASSERT_TRUE(exclusive.valid());
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING), 32u);
  Handle const looker(::CreateFileW(TEXT("c:\\a"), 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_TRUE(looker.valid());
}

TEST_F(Files, WhoOnlyLooksKeepsNobodyOut) {
  Put(u"c:\\a", "x");
  Handle const looker(::CreateFileW(TEXT("c:\\a"), 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_TRUE(looker.valid());
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_ALL, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0), 0u);
}

TEST_F(Files, TheCurrentDirectoryIsThatOfServices) {
  WCHAR buffer[MAX_PATH] = {};
  EXPECT_EQ(::GetCurrentDirectoryW(MAX_PATH, buffer), 19u);
  EXPECT_EQ(std::u16string(buffer), u"C:\\Windows\\System32");
  WCHAR small[19] = {u'?'};
  EXPECT_EQ(::GetCurrentDirectoryW(19, small), 20u) << "the size it takes, the terminator counted";
  EXPECT_EQ(small[0], u'?');
  EXPECT_EQ(::GetCurrentDirectoryW(20, buffer), 19u);
}

TEST_F(Files, ClosedAndUnknownHandlesAreRefused) {
  HANDLE const file = CreateAlways(TEXT("c:\\a"));
  EXPECT_TRUE(::CloseHandle(file));
  DWORD count = 0;
  char byte = 0;
  EXPECT_FALSE(::CloseHandle(file));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_TRUE(::CloseHandle(INVALID_HANDLE_VALUE)) << "the handle of the process itself: closing it has no effect";
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_FALSE(::ReadFile(file, &byte, 1, &count, nullptr));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_FALSE(::WriteFile(file, &byte, 1, &count, nullptr));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(::GetLastError(), 6u);
}

TEST_F(Files, WhatIsNotModelledStopsTheRunAndIsNamed) {
  Put(u"c:\\a", "text");
  struct Case {
    std::function<void()> body;
    const char* text;
  };
  static SECURITY_ATTRIBUTES security = {};
  static OVERLAPPED overlapped = {};
  static char byte = 0;
  static DWORD count = 0;
  auto const open = [](const WCHAR* path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD flags,
                       HANDLE template_file) {
    return [=] { ::CreateFileW(path, access, share, attributes, OPEN_EXISTING, flags, template_file); };
  };
  const WCHAR* const path = TEXT("c:\\a");
  for (const Case& refused : std::vector<Case>{
           {open(path, GENERIC_READ, 0, &security, 0, nullptr), "CreateFileW: not modelled by this stand-in: security"},
           {open(path, GENERIC_READ, 0, nullptr, 0, &byte), "a template file"},
           {open(path, GENERIC_EXECUTE, 0, nullptr, 0, nullptr), "desired access 0x20000000"},
           {open(path, GENERIC_READ, 8, nullptr, 0, nullptr), "share mode 0x8"},
           {open(path, GENERIC_READ, 0, nullptr, 0x02000000, nullptr), "flags 0x2000000"},
           {open(path, GENERIC_READ, 0, nullptr, FILE_FLAG_OVERLAPPED, nullptr), "overlapped"},
           {open(TEXT("c:\\dir\\nul.txt"), GENERIC_READ, 0, nullptr, 0, nullptr),
            "the device name \"c:\\dir\\nul.txt\""},
           {[] { ::GetFileAttributesW(TEXT("\\\\?\\c:\\a")); }, "GetFileAttributesW: not modelled"},
           {[] { ::CreateDirectoryW(TEXT("c:\\d"), &security); }, "CreateDirectoryW: not modelled"},
           {[] { ::ReadFile(nullptr, &byte, 1, &count, &overlapped); }, "ReadFile: not modelled"},
           {[] { ::ReadFile(nullptr, &byte, 1, nullptr, nullptr); }, "no place for the number of bytes"},
           {[] { ::WriteFile(nullptr, nullptr, 1, &count, nullptr); }, "a null buffer"},
           {[] { ::VerQueryValueW(&byte, TEXT("\\StringFileInfo"), reinterpret_cast<void**>(&byte), &count); },
            "the sub-block"},
       }) {
    EXPECT_THAT(testing_support::RefusalOf(machine(), refused.body), testing::HasSubstr(refused.text));
    PowerOn(DefaultDescription());
  }
}

TEST_F(Files, TheIdentityThatAServiceMayTakeMakesNoDifference) {
  Put(u"c:\\a", "text");
  EXPECT_EQ(OpenError(TEXT("c:\\a"), GENERIC_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | SECURITY_IMPERSONATION), 0u);
}

TEST_F(Files, DevicePathsLeadToTheDeviceBus) {
  auto const* const link = TEXT("\\\\?\\TEST#device");
  EXPECT_EQ(OpenError(link, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING), 2u);
  class Device : public tablet::DeviceFile {
    tablet::WinError Control(std::uint32_t, std::span<const std::uint8_t>, std::span<std::uint8_t>,
                             std::uint32_t&) override {
      return tablet::kInvalidFunction;
    }
  };
  machine().devices().Arrive({{}, link, [](std::shared_ptr<tablet::DeviceFile>& out) {
                                out = std::make_shared<Device>();
                                return tablet::kSuccess;
                              }});
  Handle const device(::CreateFileW(link, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED | SECURITY_IMPERSONATION, nullptr));
  EXPECT_TRUE(device.valid());
  EXPECT_THAT(open_kinds(), testing::ElementsAre("device"));
}

TEST_F(Files, InjectedFaultsFailTheCallAndChangeNothing) {
  Put(u"c:\\a", "text");
  Handle const file(::CreateFileW(TEXT("c:\\a"), GENERIC_ALL, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  for (const char* call : {"CreateFileW", "ReadFile", "WriteFile", "SetFileAttributesW", "CreateDirectoryW"}) {
    Inject(call, 112, 1, 1);
  }
  DWORD count = 99;
  EXPECT_FALSE(::WriteFile(file, "new", 3, &count, nullptr));
  EXPECT_EQ(::GetLastError(), 112u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(ReadText(file, 4), "read failed");
  EXPECT_EQ(ReadText(file, 4), "text") << "only the first one fails";
  EXPECT_EQ(OpenError(TEXT("c:\\b"), GENERIC_ALL, CREATE_ALWAYS), 112u);
  EXPECT_FALSE(::SetFileAttributesW(TEXT("c:\\a"), FILE_ATTRIBUTE_HIDDEN));
  EXPECT_FALSE(::CreateDirectoryW(TEXT("c:\\d"), nullptr));
  EXPECT_EQ(TextOf(u"c:\\a"), "text");
  EXPECT_FALSE(drive().Exists(u"c:\\b"));
  EXPECT_FALSE(drive().Exists(u"c:\\d"));
  EXPECT_EQ(::GetFileAttributesW(TEXT("c:\\a")), 0x20u);
}

}  // namespace
