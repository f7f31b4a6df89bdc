#include "vantord/unzip/entry_facts.h"

#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

constexpr std::uint32_t kUnixFile0644 = 0100644u << 16;
constexpr std::uint32_t kUnixFile0444 = 0100444u << 16;
constexpr std::uint32_t kUnixFolder0755 = 0040755u << 16;

class EntryFactsTest : public TabletTest {
 protected:
  void Read(const Bytes& extra) {
    ReadExtendedTimestamps(extra.data(), static_cast<std::uint32_t>(extra.size()), write_, access_, creation_);
  }
  FILETIME write_ = {1, 0};
  FILETIME access_ = {2, 0};
  FILETIME creation_ = {3, 0};
};

TEST_F(EntryFactsTest, HostsWithDosAttributesGiveTheFiveBits) {
  for (std::uint32_t host : {0u, 7u, 11u, 14u}) {
    SCOPED_TRACE(host);
    std::uint32_t const made_by = host << 8 | 20;
    EXPECT_EQ(EntryAttributes(made_by, 0), 0u);
    EXPECT_EQ(EntryAttributes(made_by, 0x01), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(EntryAttributes(made_by, 0x02), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(EntryAttributes(made_by, 0x04), FILE_ATTRIBUTE_SYSTEM);
    EXPECT_EQ(EntryAttributes(made_by, 0x10), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(EntryAttributes(made_by, 0x20), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(EntryAttributes(made_by, 0xFFFFFFFF), 0x37u);
    EXPECT_EQ(EntryAttributes(made_by, kUnixFolder0755), 0u);
  }
}

TEST_F(EntryFactsTest, OtherHostsAreReadOnlyWithoutTheOwnersWriteBit) {
  for (std::uint32_t host : {1u, 3u, 6u, 8u, 10u, 12u, 13u, 15u, 16u, 19u, 32u, 255u}) {
    SCOPED_TRACE(host);
    std::uint32_t const made_by = host << 8 | 30;
    EXPECT_EQ(EntryAttributes(made_by, kUnixFile0644), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(EntryAttributes(made_by, kUnixFile0444), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(EntryAttributes(made_by, kUnixFolder0755), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_DIRECTORY);
    // No attributes at all, and DOS's bits, which such a host does not have.
    EXPECT_EQ(EntryAttributes(made_by, 0), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(EntryAttributes(made_by, 0x16), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  }
}

TEST_F(EntryFactsTest, SocketsAndBlockDevicesOfUnixAreFoldersToo) {
  // Their type shares a bit with that of a folder; those of links and pipes do not.
  for (std::uint32_t mode : {0140644u, 0060644u}) {
    EXPECT_EQ(EntryAttributes(3 << 8, mode << 16), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_DIRECTORY) << mode;
  }
  for (std::uint32_t mode : {0120777u, 0010644u, 0020644u}) {
    EXPECT_EQ(EntryAttributes(3 << 8, mode << 16), FILE_ATTRIBUTE_ARCHIVE) << mode;
  }
}

TEST_F(EntryFactsTest, ADosTimeIsLocalTime) {
  // The tablet is one hour ahead of UTC: 13:25:36 there is 12:25:36 UTC, 1534422336 of Unix.
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2018, 8, 16, 13, 25, 36))), TicksOfUnix(1'534'422'336));
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2018, 7, 15, 13, 25, 36))), TicksOfUnix(1'531'657'536));
  PowerOn(With([](auto& west) { west.utc_offset_minutes = -300; }));
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2018, 8, 16, 13, 25, 36))), TicksOfUnix(1'534'443'936));
}

TEST_F(EntryFactsTest, TheLastDosTimeThereIsCanBeRead) {
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2107, 12, 31, 23, 59, 58))), TicksOfUnix(4'354'815'598));
}

TEST_F(EntryFactsTest, AFieldThatIsNoDateGivesNoTime) {
  EXPECT_EQ(Ticks(FileTimeFromDos(0)), 0u);
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2018, 2, 30, 0, 0, 0))), 0u);
  EXPECT_EQ(Ticks(FileTimeFromDos(DosTime(2018, 8, 16, 24, 0, 0))), 0u);
  EXPECT_EQ(Ticks(FileTimeFromDos(0xFFFFFFFF)), 0u);
  // West of UTC even the earliest time there is has one that is later.
  PowerOn(With([](auto& west) { west.utc_offset_minutes = -300; }));
  EXPECT_EQ(Ticks(FileTimeFromDos(0)), 0u);
}

TEST_F(EntryFactsTest, ExtendedTimestampsReplaceTheTimesTheyName) {
  Read(TimestampBlock(7, {1'500'000'001, 1'500'000'002, 1'500'000'003}));
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
  EXPECT_EQ(Ticks(access_), TicksOfUnix(1'500'000'002));
  EXPECT_EQ(Ticks(creation_), TicksOfUnix(1'500'000'003));
}

TEST_F(EntryFactsTest, ATimeThatIsNotThereTakesNoRoom) {
  Read(TimestampBlock(4, {1'500'000'003}));
  EXPECT_EQ(Ticks(write_), 1u);
  EXPECT_EQ(Ticks(access_), 2u);
  EXPECT_EQ(Ticks(creation_), TicksOfUnix(1'500'000'003));
}

TEST_F(EntryFactsTest, FlagsBeyondTheThreeTimesAreIgnored) {
  Read(TimestampBlock(0xFF, {1'500'000'001, 1'500'000'002, 1'500'000'003, 1'500'000'004, 1'500'000'005}));
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
  EXPECT_EQ(Ticks(access_), TicksOfUnix(1'500'000'002));
  EXPECT_EQ(Ticks(creation_), TicksOfUnix(1'500'000'003));
}

TEST_F(EntryFactsTest, SecondsAreSigned) {
  Read(TimestampBlock(3, {-1, INT32_MIN}));
  EXPECT_EQ(Ticks(write_), TicksOfUnix(-1));
  EXPECT_EQ(Ticks(access_), TicksOfUnix(INT32_MIN));
}

TEST_F(EntryFactsTest, OtherBlocksInFrontAreSteppedOver) {
  Bytes extra = ExtraBlock(0x7875, Bytes(11, 0xAA));
  Bytes const times = TimestampBlock(1, {1'500'000'001});
  extra.insert(extra.end(), times.begin(), times.end());
  Read(extra);
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
  EXPECT_EQ(Ticks(access_), 2u);
}

TEST_F(EntryFactsTest, OnlyTheFirstTimestampBlockCounts) {
  Bytes extra = TimestampBlock(1, {1'500'000'001});
  Bytes const second = TimestampBlock(1, {1'600'000'000});
  extra.insert(extra.end(), second.begin(), second.end());
  Read(extra);
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
}

TEST_F(EntryFactsTest, ABlockOf256BytesThrowsTheWalkOff) {
  // 256 counts as 0: the walk goes on inside the block's data, which is made to hold a block that leads past the end.
  Bytes data(256, 0xFF);
  Bytes extra = ExtraBlock(0x1234, data);
  Bytes const times = TimestampBlock(1, {1'500'000'001});
  extra.insert(extra.end(), times.begin(), times.end());
  Read(extra);
  EXPECT_EQ(Ticks(write_), 1u);

  // And where the data reads "UT", that is taken for the block.
  Bytes const inner = TimestampBlock(1, {1'400'000'000});
  std::copy(inner.begin(), inner.end(), extra.begin() + 4);
  Read(extra);
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'400'000'000));
}

TEST_F(EntryFactsTest, ABlockOf255BytesIsSteppedOver) {
  Bytes extra = ExtraBlock(0x1234, Bytes(255, 0xFF));
  Bytes const times = TimestampBlock(1, {1'500'000'001});
  extra.insert(extra.end(), times.begin(), times.end());
  Read(extra);
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
}

TEST_F(EntryFactsTest, AValueThatRunsPastTheFieldIsAbsent) {
  Bytes extra = TimestampBlock(7, {1'500'000'001, 1'500'000'002});
  extra.pop_back();
  Read(extra);
  EXPECT_EQ(Ticks(write_), TicksOfUnix(1'500'000'001));
  EXPECT_EQ(Ticks(access_), 2u);
  EXPECT_EQ(Ticks(creation_), 3u);
}

TEST_F(EntryFactsTest, AFieldOf4BytesOrFewerIsNotWalked) {
  Bytes extra = TimestampBlock(1, {1'500'000'001});
  for (std::size_t size : {0u, 1u, 4u}) {
    ReadExtendedTimestamps(extra.data(), static_cast<std::uint32_t>(size), write_, access_, creation_);
    EXPECT_EQ(Ticks(write_), 1u);
  }
  Read(Bytes{'U', 'T', 5, 0});  // nothing behind it
  // One byte more is the flags, with no value after them.
  ReadExtendedTimestamps(extra.data(), 5, write_, access_, creation_);
  EXPECT_EQ(Ticks(write_), 1u);
}

}  // namespace
}  // namespace unzip_tests
