// What becomes of the choice of an image when memory runs out. This executable's own operator new (nothrow) stands in
// front of the runtime's.
#include <windows.h>

#include <new>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/image_selector.h"

namespace {
std::size_t failing_size = SIZE_MAX;  ///< nothrow allocations of arrays of this size fail
}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (size == failing_size) return nullptr;
  try {
    return ::operator new[](size);
  } catch (...) {
    return nullptr;
  }
}

namespace {

class ImageAllocation : public modem_tests::ModemTest {
 protected:
  ~ImageAllocation() override { failing_size = SIZE_MAX; }
};

TEST_F(ImageAllocation, ATooLongMapEntryWithoutMemoryCountsAsMissing) {
  PutSalesCode("KOO");
  registry().PutText(modem_tests::kCscMap, u"KOO", u"ABCDEFGHIJK.bin");
  failing_size = 32;  // 15 characters and the terminator
  CImageSelector selector;
  ModemBinaryName name = {};
  EXPECT_FALSE(selector.DetermineImageByCSC(name));
  EXPECT_THAT(messages(), testing::Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = KOO"));
  failing_size = SIZE_MAX;
  EXPECT_TRUE(selector.DetermineImageByCSC(name));
  EXPECT_EQ(std::u16string(name), u"ABCDEFGHI");
}

}  // namespace
