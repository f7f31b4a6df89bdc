#include <windows.h>

#include "tests/unit/winapi/files_fixture.h"

namespace {

using FileContents = testing_support::FilesTest;

/// Each byte by a call of its own.
std::string ReadBytes(HANDLE file, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += ReadText(file, 1);
  return bytes;
}

TEST_F(FileContents, AHandleDoesOnlyWhatItWasOpenedFor) {
  Put(u"c:\\a", "text");
  char buffer[4] = {};
  DWORD count = 99;
  {
    Handle const writer(::CreateFileW(TEXT("c:\\a"), GENERIC_WRITE, 7, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(::ReadFile(writer, buffer, 4, &count, nullptr));
    EXPECT_EQ(::GetLastError(), 5u);
    EXPECT_EQ(count, 0u);
  }
  Handle const reader(OpenForReading(TEXT("c:\\a")));
  EXPECT_FALSE(::WriteFile(reader, "xxxx", 4, &count, nullptr));
  EXPECT_EQ(::GetLastError(), 5u);
  FILETIME const time{1, 1};
  EXPECT_FALSE(::SetFileTime(reader, &time, &time, &time));
  EXPECT_EQ(::GetLastError(), 5u);
  EXPECT_EQ(TextOf(u"c:\\a"), "text");
}

TEST_F(FileContents, TheEndOfTheFileIsNoError) {
  Put(u"c:\\a", "text");
  Handle const file(OpenForReading(TEXT("c:\\a")));
  EXPECT_EQ(ReadText(file, 10), "text");
  EXPECT_EQ(ReadText(file, 10), "");
}

TEST_F(FileContents, SeekingCountsFromTheStartThePositionAndTheEnd) {
  Put(u"c:\\a", "0123456789");
  Handle const file(OpenForReading(TEXT("c:\\a")));
  EXPECT_EQ(::SetFilePointer(file, 4, nullptr, FILE_BEGIN), 4u);
  EXPECT_EQ(ReadText(file, 1), "4");
  EXPECT_EQ(::SetFilePointer(file, -2, nullptr, FILE_CURRENT), 3u);
  EXPECT_EQ(::SetFilePointer(file, -1, nullptr, FILE_END), 9u);
  EXPECT_EQ(ReadText(file, 5), "9");
  EXPECT_EQ(::SetFilePointer(file, -11, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(::GetLastError(), 131u);
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, FILE_CURRENT), 10u) << "a refused seek leaves the position alone";
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, 3), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(::GetLastError(), 87u);
}

TEST_F(FileContents, AHighHalfMakesSeeks64BitsWide) {
  Put(u"c:\\a", "0123456789");
  Handle const file(OpenForReading(TEXT("c:\\a")));
  LONG high = 1;
  EXPECT_EQ(::SetFilePointer(file, 5, &high, FILE_BEGIN), 5u);
  EXPECT_EQ(high, 1);
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER) << "does not fit 32 bits";
  EXPECT_EQ(::GetLastError(), 87u);
  high = -1;
  EXPECT_EQ(::SetFilePointer(file, -6, &high, FILE_CURRENT), 0xFFFFFFFFu);
  EXPECT_EQ(high, 0);
  EXPECT_EQ(::GetLastError(), 0u) << "tells this position from the failure value";
}

TEST_F(FileContents, WritingAfterTheEndLeavesZeroesBetween) {
  Handle const file(CreateAlways(TEXT("c:\\a")));
  ::SetFilePointer(file, 3, nullptr, FILE_BEGIN);
  EXPECT_TRUE(WriteText(file, "x"));
  EXPECT_EQ(TextOf(u"c:\\a"), std::string("\0\0\0x", 4));
}

TEST_F(FileContents, AReaderSeesWhatAnotherHandleWroteInBetween) {
  Put(u"c:\\a", "old old old");
  Handle const reader(OpenForReading(TEXT("c:\\a"), FILE_SHARE_READ | FILE_SHARE_WRITE));
  Handle const writer(::CreateFileW(TEXT("c:\\a"), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(writer.valid());
  EXPECT_EQ(ReadText(reader, 1), "o");
  EXPECT_TRUE(WriteText(writer, "NEW NEW NEW NEW"));
  EXPECT_EQ(ReadText(reader, 20), "EW NEW NEW NEW");
}

TEST_F(FileContents, EveryByteReadByItselfIsACallThatFaultsAndTheJournalKnow) {
  Put(u"c:\\a", "0123456789");
  Handle const file(OpenForReading(TEXT("c:\\a")));
  machine().journal().WantCalls(false);
  EXPECT_EQ(ReadText(file, 1), "0");
  std::uint64_t const before = machine().scheduler().calls();
  EXPECT_EQ(ReadBytes(file, 3), "123");
  EXPECT_EQ(machine().scheduler().calls() - before, 3u);

  Inject("ReadFile", 1117, 2, 1);
  EXPECT_EQ(ReadText(file, 1), "4");
  EXPECT_EQ(ReadText(file, 1), "read failed");
  EXPECT_EQ(::GetLastError(), 1117u);
  EXPECT_EQ(ReadText(file, 1), "5") << "a byte whose read failed is still to be read";
  machine().faults().Clear();

  machine().journal().WantCalls(true);
  EXPECT_EQ(ReadText(file, 1), "6");
  machine().journal().WantCalls(false);
  EXPECT_EQ(ReadText(file, 1), "7");
  ASSERT_EQ(machine().journal().Calls("ReadFile").size(), 1u);
  EXPECT_THAT(machine().journal().Calls("ReadFile")[0].args, testing::EndsWith(", 1 -> 1"));
}

TEST_F(FileContents, AByteReadByItselfIsToldToListeners) {
  Put(u"c:\\a", "0123");
  Handle const file(OpenForReading(TEXT("c:\\a")));
  machine().journal().WantCalls(false);
  EXPECT_EQ(ReadText(file, 1), "0");
  std::vector<std::uint64_t> positions;
  drive().on_read = [&](const std::u16string&, std::uint64_t position, std::uint64_t) {
    positions.push_back(position);
  };
  EXPECT_EQ(ReadBytes(file, 2), "12");
  EXPECT_THAT(positions, testing::ElementsAre(1u, 2u));
}

TEST_F(FileContents, SmallAndLargeReadsGiveTheSameBytes) {
  std::string text;
  for (int i = 0; i < 3000; ++i) text += std::to_string(i);
  Put(u"c:\\a", text);
  for (DWORD const step : {1u, 7u, 4095u, 4096u, 5000u}) {
    Handle const file(OpenForReading(TEXT("c:\\a")));
    std::string all;
    for (std::string part = ReadText(file, step); !part.empty(); part = ReadText(file, step)) all += part;
    EXPECT_EQ(all, text) << "in steps of " << step;
  }
}

}  // namespace
