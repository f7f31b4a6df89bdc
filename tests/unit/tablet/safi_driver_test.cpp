// The SAFI driver's three requests, byte by byte, as any caller would send them.
#include "sim/tablet/devices/safi_driver.h"

#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::WinError;

constexpr std::uint32_t kWriteCode = 0x68922002;
constexpr std::uint32_t kReadCode = 0x68922006;
constexpr std::uint32_t kSize = 0x6892200A;
constexpr const char16_t* kSalesCodeKey = u"{9806d87d-b4fb-4d02-97d2-8597337abc83}SALES_CODE";

using Bytes = std::vector<std::uint8_t>;

void PutText(Bytes& bytes, std::size_t at, std::u16string_view text) {
  for (char16_t const c : text) {
    bytes[at++] = static_cast<std::uint8_t>(c);
    bytes[at++] = static_cast<std::uint8_t>(c >> 8);
  }
}

void Append(Bytes& bytes, std::uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

Bytes Header(std::u16string_view key = kSalesCodeKey, std::u16string_view name_space = u"OEM") {
  Bytes header(1040);
  PutText(header, 0, key);
  PutText(header, 520, name_space);
  return header;
}

std::uint32_t NumberAt(const Bytes& bytes, std::size_t at) {
  return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | static_cast<std::uint32_t>(bytes[at + 3]) << 24;
}

class SafiDriverTest : public testing_support::TabletTest {
 protected:
  SafiDriverTest() { firmware().Put(SalesCode(), {'V', 'Z', 'W'}); }

  tablet::Firmware& firmware() { return machine().firmware(); }
  static tablet::FirmwareKey SalesCode() {
    return {u"SALES_CODE", *tablet::Guid::Parse("9806d87d-b4fb-4d02-97d2-8597337abc83")};
  }
  WinError Send(std::uint32_t code, const Bytes& in, std::size_t out_bytes) {
    reply_.assign(out_bytes, 0xEE);
    tablet::SafiDriver driver(firmware(), machine().faults());
    return driver.Control(code, in, reply_, returned_);
  }
  WinError AskSize(const Bytes& in) { return Send(kSize, in, 8); }
  WinError Read(std::uint32_t size) {
    Bytes in = Header();
    Append(in, size);
    return Send(kReadCode, in, size + 5);
  }
  WinError Write(std::string_view ten_bytes) {
    Bytes in = Header();
    Append(in, 10);
    in.insert(in.end(), ten_bytes.begin(), ten_bytes.end());
    in.push_back(0);
    return Send(kWriteCode, in, 4);
  }
  std::uint32_t status() const { return NumberAt(reply_, 0); }

  Bytes reply_;
  std::uint32_t returned_ = 0;
};

TEST_F(SafiDriverTest, TellsTheSizeOfAVariable) {
  EXPECT_EQ(AskSize(Header()), 0u);
  EXPECT_EQ(status(), 0u);
  EXPECT_EQ(NumberAt(reply_, 4), 3u);
  EXPECT_EQ(returned_, 8u);
}

TEST_F(SafiDriverTest, TellsThatAVariableDoesNotExist) {
  firmware().Remove(SalesCode());
  EXPECT_EQ(AskSize(Header()), 0u);
  EXPECT_EQ(status(), tablet::kEnvironmentVariableNotFound);
  EXPECT_EQ(Read(3), 0u);
  EXPECT_EQ(status(), tablet::kEnvironmentVariableNotFound);
}

TEST_F(SafiDriverTest, ReadsTheDataBehindTheStatusAndLeavesTheSpareByte) {
  EXPECT_EQ(Read(3), 0u);
  EXPECT_THAT(reply_, ElementsAre(0, 0, 0, 0, 'V', 'Z', 'W', 0xEE));
}

TEST_F(SafiDriverTest, ReadsNoPartOfAVariable) {
  EXPECT_EQ(Read(2), 0u);
  EXPECT_EQ(status(), tablet::kInsufficientBuffer);
}

TEST_F(SafiDriverTest, WritesTenBytes) {
  EXPECT_EQ(Write(std::string_view("ABC\0\0\0\0\0\0\0", 10)), 0u);
  EXPECT_EQ(status(), 0u);
  EXPECT_THAT(firmware().Find(SalesCode())->data, ElementsAre('A', 'B', 'C', 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(SafiDriverTest, AKeysGuidMayHaveEitherCase) {
  AskSize(Header(u"{9806D87D-B4FB-4D02-97D2-8597337ABC83}SALES_CODE"));
  EXPECT_EQ(status(), 0u);
}

TEST_F(SafiDriverTest, RefusesKeysAndNamespacesThatAreNone) {
  for (const Bytes& header :
       {Header(u"SALES_CODE"), Header(u"SALES_CODE{9806d87d-b4fb-4d02-97d2-8597337abc83}"),
        Header(u"{9806d87d-b4fb-4d02-97d2-8597337abc83}"), Header(u"{9806d87d-b4fb-4d02-97d2-8597337abc83}a/b"),
        Header(kSalesCodeKey, u"oem"), Header(kSalesCodeKey, u"")}) {
    EXPECT_EQ(AskSize(header), 0u);
    EXPECT_EQ(status(), tablet::kInvalidParameter);
  }
}

TEST_F(SafiDriverTest, ARequestOfAnotherLengthFailsAndTouchesNothing) {
  EXPECT_EQ(Send(kSize, Bytes(1039), 8), tablet::kInvalidParameter);
  EXPECT_EQ(Send(kSize, Header(), 4), tablet::kInvalidParameter);
  Bytes read = Header();
  Append(read, 3);
  EXPECT_EQ(Send(kReadCode, read, 7), tablet::kInvalidParameter);
  EXPECT_EQ(Send(kReadCode, Header(), 8), tablet::kInvalidParameter);
  Bytes write = Header();
  Append(write, 10);
  EXPECT_EQ(Send(kWriteCode, write, 4), tablet::kInvalidParameter);
  write.resize(1055);
  write[1040] = 9;
  EXPECT_EQ(Send(kWriteCode, write, 4), tablet::kInvalidParameter);
  EXPECT_THAT(reply_, Each(0xEE));
}

TEST_F(SafiDriverTest, AnUnknownRequestIsRefusedAsWindowsDriversDo) {
  EXPECT_EQ(Send(0x68922008, Header(), 8), tablet::kInvalidFunction);
}

TEST_F(SafiDriverTest, TroubleOfTheNextTwoRequestsIsOverAfterThem) {
  firmware().trouble() = {.status = 1117, .count = 2};
  AskSize(Header());
  EXPECT_EQ(status(), 1117u);
  Write("0123456789");
  EXPECT_EQ(status(), 1117u);
  AskSize(Header());
  EXPECT_EQ(status(), 0u);
  EXPECT_EQ(NumberAt(reply_, 4), 3u) << "a request in trouble must not write";
}

TEST_F(SafiDriverTest, ARequestCanFailWithAStatusInItsReply) {
  firmware().trouble() = {.status = 5, .request_error = 31};
  EXPECT_EQ(AskSize(Header()), 31u);
  EXPECT_EQ(status(), 5u);
}

TEST_F(SafiDriverTest, LiesAboutTheSizeWhenAskedTo) {
  firmware().trouble().sizes = {2, 9};
  AskSize(Header());
  EXPECT_EQ(NumberAt(reply_, 4), 2u);
  AskSize(Header());
  EXPECT_EQ(NumberAt(reply_, 4), 9u);
  AskSize(Header());
  EXPECT_EQ(NumberAt(reply_, 4), 3u);
}

}  // namespace
