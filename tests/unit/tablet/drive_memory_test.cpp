// A drive that has left its folder: it goes on in memory, and nothing of that reaches the host.
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "tests/testing/tablet_fixture.h"

namespace {

constexpr std::uint32_t kReadWrite = 0xC0000000;
constexpr std::uint32_t kCreateAlways = 2;
constexpr std::uint32_t kOpenExisting = 3;
constexpr std::uint32_t kSumAsItWas = 0x27BC9DB0;
constexpr std::uint32_t kSumNew = 0x6BE34445;

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

class DriveInMemory : public testing_support::TabletTest {
 protected:
  DriveInMemory() {
    drive().Put(u"C:\\folder\\old.txt", Bytes("as it was"), tablet::kAttributeHidden);
    host_ = drive().HostPath(u"C:\\folder\\old.txt");
    drive().KeepInMemory();
  }

  std::shared_ptr<tablet::OpenFile> Open(std::u16string_view path, std::uint32_t disposition) {
    std::shared_ptr<tablet::OpenFile> file;
    bool existed = false;
    EXPECT_EQ(drive().Open(path, {kReadWrite, 0, disposition, tablet::kAttributeHidden}, file, existed),
              tablet::kSuccess);
    return file;
  }
  std::string HostText() const {
    std::ifstream in(host_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  std::filesystem::path host_;
};

TEST_F(DriveInMemory, HoldsWhatTheFolderHeld) {
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes("as it was"));
  std::vector<std::uint8_t> read(4);
  std::uint32_t count = 0;
  auto const file = Open(u"C:\\folder\\old.txt", kOpenExisting);
  std::uint64_t position = 0;
  ASSERT_EQ(file->Seek(3, 0, position), tablet::kSuccess);
  ASSERT_EQ(file->Read(read, count), tablet::kSuccess);
  EXPECT_EQ(read, Bytes("it w"));
  ASSERT_EQ(file->Seek(7, 0, position), tablet::kSuccess);
  ASSERT_EQ(file->Read(read, count), tablet::kSuccess);
  EXPECT_EQ(count, 2u) << "the file ends there";
}

TEST_F(DriveInMemory, KeepsWhatIsWrittenAndLeavesTheHostAlone) {
  auto file = Open(u"C:\\folder\\old.txt", kCreateAlways);
  std::uint32_t count = 0;
  ASSERT_EQ(file->Write(Bytes("new and longer"), count), tablet::kSuccess);
  EXPECT_EQ(count, 14u);
  file.reset();
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes("new and longer"));
  EXPECT_EQ(drive().Facts(u"C:\\folder\\old.txt").size, 14u);
  EXPECT_EQ(HostText(), "as it was");
}

TEST_F(DriveInMemory, WritesBehindTheEndOfAFileLeaveZeros) {
  auto file = Open(u"C:\\folder\\old.txt", kOpenExisting);
  std::uint64_t position = 0;
  std::uint32_t count = 0;
  ASSERT_EQ(file->Seek(11, 0, position), tablet::kSuccess);
  ASSERT_EQ(file->Write(Bytes("x"), count), tablet::kSuccess);
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes(std::string_view("as it was\0\0x", 12)));
}

TEST_F(DriveInMemory, MakesMovesAndRemovesWithoutTheHost) {
  ASSERT_EQ(drive().MakeDirectory(u"C:\\made"), tablet::kSuccess);
  ASSERT_EQ(drive().Move(u"C:\\folder\\old.txt", u"C:\\made\\moved.txt"), tablet::kSuccess);
  drive().Put(u"C:\\put\\there.txt", Bytes("put"));
  ASSERT_EQ(drive().SetAttributes(u"C:\\made\\moved.txt", tablet::kAttributeReadOnly), tablet::kSuccess);
  EXPECT_EQ(drive().Contents(u"C:\\made\\moved.txt"), Bytes("as it was"));
  EXPECT_EQ(drive().Contents(u"C:\\put\\there.txt"), Bytes("put"));
  EXPECT_EQ(drive().Facts(u"C:\\made\\moved.txt").attributes, tablet::kAttributeReadOnly);
  drive().Remove(u"C:\\made");
  EXPECT_FALSE(drive().Exists(u"C:\\made\\moved.txt"));

  EXPECT_EQ(HostText(), "as it was");
  EXPECT_EQ(tablet::ReadExtendedAttributes(host_).attributes.value_or(tablet::kAttributeHidden),
            tablet::kAttributeHidden);
  EXPECT_FALSE(std::filesystem::exists(host_.parent_path().parent_path() / "made"));
  EXPECT_FALSE(std::filesystem::exists(host_.parent_path().parent_path() / "put"));
}

TEST_F(DriveInMemory, ReadsAFileOnlyWhenSomebodyDoes) {
  std::ofstream(host_, std::ios::binary | std::ios::app) << "!";
  EXPECT_EQ(drive().Facts(u"C:\\folder\\old.txt").size, 9u);
  EXPECT_EQ(drive().changed_file(), "");
  auto const file = Open(u"C:\\folder\\old.txt", kOpenExisting);
  std::vector<std::uint8_t> read(4);
  std::uint32_t count = 0;
  EXPECT_EQ(file->Read(read, count), tablet::kIoDevice) << "it is no longer the file that the drive was loaded from";
  EXPECT_EQ(file->Write(Bytes("x"), count), tablet::kIoDevice);
  EXPECT_EQ(drive().changed_file(), host_);
  EXPECT_THROW(static_cast<void>(drive().Contents(u"C:\\folder\\old.txt")), tablet::InputError);
  EXPECT_THROW(static_cast<void>(drive().Sum(u"C:\\folder\\old.txt")), tablet::InputError);
}

TEST_F(DriveInMemory, ACopySharesWhatNeitherChanges) {
  auto const change = [this](std::string_view text) {
    std::uint32_t count = 0;
    ASSERT_EQ(Open(u"C:\\folder\\old.txt", kOpenExisting)->Write(Bytes(text), count), tablet::kSuccess);
  };
  change("first");
  std::shared_ptr<tablet::DriveNode> const copy = drive().Copy();
  change("other");
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes("other was"));
  drive().Become(copy);
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes("first was"));
}

TEST_F(DriveInMemory, TheSumOfAFileIsThatOfItsBytes) {
  // CRC-32 of "as it was" and of "new", as any other program computes them.
  EXPECT_EQ(drive().Sum(u"C:\\folder\\old.txt"), kSumAsItWas);
  EXPECT_EQ(drive().Sum(u"C:\\folder\\old.txt"), kSumAsItWas);
  std::uint32_t count = 0;
  ASSERT_EQ(Open(u"C:\\folder\\old.txt", kCreateAlways)->Write(Bytes("new"), count), tablet::kSuccess);
  EXPECT_EQ(drive().Sum(u"C:\\folder\\old.txt"), kSumNew);
  ASSERT_EQ(Open(u"C:\\folder\\old.txt", kOpenExisting)->Write(Bytes("old"), count), tablet::kSuccess);
  EXPECT_NE(drive().Sum(u"C:\\folder\\old.txt"), kSumNew);
  drive().Put(u"C:\\empty", {});
  EXPECT_EQ(drive().Sum(u"C:\\empty"), 0u);
}

TEST_F(DriveInMemory, ANameThatTheHostCouldNotTakeIsRefusedAllTheSame) {
  std::u16string const path = u"C:\\" + std::u16string(130, u'\u00e9');
  std::shared_ptr<tablet::OpenFile> file;
  bool existed = false;
  EXPECT_EQ(drive().Open(path, {kReadWrite, 0, kCreateAlways, 0}, file, existed), tablet::kInvalidName);
  EXPECT_EQ(drive().MakeDirectory(path), tablet::kInvalidName);
}

TEST_F(DriveInMemory, GoesItsOwnWayInACopyOfTheProcess) {
  pid_t const copy = ::fork();
  if (copy == 0) {
    drive().Put(u"C:\\folder\\old.txt", Bytes("changed in the copy"));
    ::_exit(drive().Contents(u"C:\\folder\\old.txt") == Bytes("changed in the copy") ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(copy, &status, 0), copy);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(drive().Contents(u"C:\\folder\\old.txt"), Bytes("as it was"));
}

}  // namespace
