#include <windows.h>
// The version calls need <windows.h> first.
#include <winver.h>

#include "sim/tablet/drive/pe_version.h"
#include "tests/testing/file_calls.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using testing_support::CreateAlways;
using testing_support::Handle;

constexpr const WCHAR* kProgram = TEXT("c:\\windows\\system32\\program.exe");

class Version : public testing_support::TabletTest {
 protected:
  DWORD SizeError(const WCHAR* path) { return ::GetFileVersionInfoSizeW(path, nullptr) == 0 ? ::GetLastError() : 0; }
  void PutText(std::u16string_view path, std::string_view text) {
    drive().Put(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
};

TEST_F(Version, TheFourNumbersOfAnExecutableAreRead) {
  drive().Put(kProgram, tablet::MakeExecutableWithVersion(10, 20, 30, 40));
  DWORD ignored = 99;
  DWORD const size = ::GetFileVersionInfoSizeW(kProgram, &ignored);
  EXPECT_EQ(size, 2u * 92 + 4);
  EXPECT_EQ(ignored, 0u);
  alignas(4) BYTE block[4096];
  ASSERT_TRUE(::GetFileVersionInfoW(kProgram, 0, size, block));
  void* value = nullptr;
  UINT length = 0;
  ASSERT_TRUE(::VerQueryValueW(block, TEXT("\\"), &value, &length));
  EXPECT_EQ(length, 52u);
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(value);
  EXPECT_EQ(info.dwSignature, 0xFEEF04BDu);
  EXPECT_EQ(info.dwProductVersionMS, 10u << 16 | 20);
  EXPECT_EQ(info.dwProductVersionLS, 30u << 16 | 40);
  EXPECT_EQ(info.dwFileVersionMS, info.dwProductVersionMS);
  EXPECT_EQ(info.dwFileVersionLS, info.dwProductVersionLS);
}

TEST_F(Version, TheSizeIsTwiceTheResourceAndSomeAndCanReachALimit) {
  drive().Put(kProgram, tablet::MakeExecutableWithVersion(1, 2, 3, 4, 2046));
  EXPECT_EQ(::GetFileVersionInfoSizeW(kProgram, nullptr), 4096u);
  drive().OverrideVersionBlockSize(u"C:/Windows/System32/PROGRAM.exe", 4097);
  EXPECT_EQ(::GetFileVersionInfoSizeW(kProgram, nullptr), 4097u);
}

TEST_F(Version, FilesWithoutAVersionSayWhatIsMissing) {
  EXPECT_EQ(SizeError(TEXT("c:\\missing.exe")), 3u - 1u);
  EXPECT_EQ(SizeError(TEXT("c:\\missing\\missing.exe")), 3u);
  PutText(u"c:\\text.exe", "no executable at all");
  EXPECT_EQ(SizeError(TEXT("c:\\text.exe")), 1812u);
  PutText(u"c:\\empty.exe", "");
  EXPECT_EQ(SizeError(TEXT("c:\\empty.exe")), 1812u);
  auto other_resource = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  other_resource[0x200 + 16] = 3;  // the type of its only resource: an icon
  drive().Put(u"c:\\icon.exe", other_resource);
  EXPECT_EQ(SizeError(TEXT("c:\\icon.exe")), 1813u);
  BYTE block[200];
  EXPECT_FALSE(::GetFileVersionInfoW(TEXT("c:\\icon.exe"), 0, sizeof(block), block));
  EXPECT_EQ(::GetLastError(), 1813u);
}

TEST_F(Version, AFileThatSomebodyWritesIsNotRead) {
  drive().Put(kProgram, tablet::MakeExecutableWithVersion(1, 2, 3, 4));
  Handle const writer(CreateAlways(kProgram));
  EXPECT_EQ(SizeError(kProgram), 32u);
}

TEST_F(Version, ABlockThatDidNotFitIsCutAndHasNoFixedRecord) {
  drive().Put(kProgram, tablet::MakeExecutableWithVersion(1, 2, 3, 4));
  alignas(4) BYTE block[92];
  for (DWORD const bytes : {6u, 40u, 91u}) {
    std::fill(std::begin(block), std::end(block), BYTE{0xEE});
    ASSERT_TRUE(::GetFileVersionInfoW(kProgram, 0, bytes, block));
    EXPECT_EQ(block[bytes], 0xEEu) << "nothing is written past the buffer";
    void* value = nullptr;
    UINT length = 0;
    EXPECT_FALSE(::VerQueryValueW(block, TEXT("\\"), &value, &length));
    EXPECT_EQ(value, nullptr);
  }
  ASSERT_TRUE(::GetFileVersionInfoW(kProgram, 0, 92, block));
  void* value = nullptr;
  UINT length = 0;
  EXPECT_TRUE(::VerQueryValueW(block, TEXT("\\"), &value, &length));
}

TEST_F(Version, AResourceThatClaimsToBeLongerThanItIsIsNotTaken) {
  auto image = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  image[0x200 + 0x58] = 93;
  drive().Put(kProgram, image);
  EXPECT_EQ(SizeError(kProgram), 1812u);
}

}  // namespace
