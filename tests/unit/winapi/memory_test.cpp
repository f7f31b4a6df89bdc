#include <windows.h>

#include <algorithm>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

class MemoryTest : public testing_support::TabletTest {
 protected:
  std::vector<std::size_t> live() { return machine().heap().LiveBlocks(tablet::kMachineProcess); }
};

TEST_F(MemoryTest, BlocksAreListedUntilTheyAreFreed) {
  LPVOID const first = ::HeapAlloc(::GetProcessHeap(), 0, 10);
  HLOCAL const second = ::LocalAlloc(LMEM_FIXED, 20);
  EXPECT_THAT(live(), ElementsAre(10, 20));
  EXPECT_EQ(::HeapFree(::GetProcessHeap(), 0, first), TRUE);
  EXPECT_THAT(live(), ElementsAre(20));
  EXPECT_EQ(::LocalFree(second), nullptr);
  EXPECT_THAT(live(), IsEmpty());
}

TEST_F(MemoryTest, BlocksAreZeroOnDemandOnly) {
  auto const is_zero = [](const void* memory) {
    auto const* const bytes = static_cast<const BYTE*>(memory);
    return std::all_of(bytes, bytes + 64, [](BYTE byte) { return byte == 0; });
  };
  EXPECT_TRUE(is_zero(::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, 64)));
  EXPECT_FALSE(is_zero(::HeapAlloc(::GetProcessHeap(), 0, 64)));
  EXPECT_TRUE(is_zero(::LocalAlloc(LPTR, 64)));
  EXPECT_FALSE(is_zero(::LocalAlloc(LMEM_FIXED, 64)));
}

TEST_F(MemoryTest, FreeingNullIsFine) {
  EXPECT_EQ(::HeapFree(::GetProcessHeap(), 0, nullptr), TRUE);
  EXPECT_EQ(::LocalFree(nullptr), nullptr);
}

TEST_F(MemoryTest, AFaultIsAnAllocationThatGivesNull) {
  Inject("HeapAlloc", ERROR_NOT_ENOUGH_MEMORY, 1, 1);
  Inject("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY, 1, 1);
  ::SetLastError(77);
  EXPECT_EQ(::HeapAlloc(::GetProcessHeap(), 0, 1), nullptr);
  EXPECT_EQ(::GetLastError(), 77u) << "the process heap does not set the last error";
  EXPECT_EQ(::LocalAlloc(LPTR, 1), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
  EXPECT_NE(::HeapAlloc(::GetProcessHeap(), 0, 1), nullptr);
}

TEST_F(MemoryTest, FreeingForeignMemoryOrTwiceIsRefused) {
  int foreign = 0;
  EXPECT_THAT(RefusalOf(machine(), [&] { ::LocalFree(&foreign); }), HasSubstr("LocalAlloc did not give"));
  PowerOn(DefaultDescription());
  EXPECT_THAT(RefusalOf(machine(),
                        [] {
                          LPVOID const block = ::HeapAlloc(::GetProcessHeap(), 0, 1);
                          ::HeapFree(::GetProcessHeap(), 0, block);
                          ::HeapFree(::GetProcessHeap(), 0, block);
                        }),
              HasSubstr("freed already"));
  PowerOn(DefaultDescription());
  EXPECT_THAT(RefusalOf(machine(), [] { ::HeapFree(::GetProcessHeap(), 0, ::LocalAlloc(LPTR, 1)); }),
              HasSubstr("HeapAlloc did not give"));
}

}  // namespace
