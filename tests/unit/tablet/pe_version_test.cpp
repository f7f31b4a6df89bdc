#include "sim/tablet/drive/pe_version.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Image = std::vector<std::uint8_t>;

tablet::WinError Read(const Image& image) {
  Image resource;
  return tablet::FindVersionResource(image, resource);
}

TEST(PeVersion, TheWrittenResourceIsFoundWithTheLengthAskedFor) {
  for (std::size_t const length : {0, 92, 93, 2046, 10'000}) {
    Image resource;
    ASSERT_EQ(tablet::FindVersionResource(tablet::MakeExecutableWithVersion(1, 2, 3, 4, length), resource), 0u);
    EXPECT_EQ(resource.size(), length == 0 ? 92 : length);
    EXPECT_EQ(resource[0], 92u);
    EXPECT_EQ(resource[6], 'V');
    EXPECT_EQ(resource[40], 0xBDu);
  }
}

TEST(PeVersion, A32BitImageIsReadToo) {
  // The same image with the shorter header: its resource directory entry then lies 16 bytes earlier.
  Image image = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  std::size_t const header = 0x40 + 4 + 20;
  image[header] = 0x0B;
  image[header + 1] = 0x01;
  image[header + 92] = 16;
  for (std::size_t i = 0; i < 8; ++i) image[header + 96 + 16 + i] = image[header + 112 + 16 + i];
  EXPECT_EQ(Read(image), tablet::kSuccess);
}

TEST(PeVersion, AnImageWithoutResourcesHasNone) {
  Image image = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  std::size_t const directory = 0x40 + 4 + 20 + 112 + 16;
  for (std::size_t i = 0; i < 8; ++i) image[directory + i] = 0;
  EXPECT_EQ(Read(image), tablet::kResourceDataNotFound);
}

TEST(PeVersion, EveryCutOffImageIsRefused) {
  Image const image = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  std::size_t const end_of_data = 0x200 + 0x58 + 92;
  for (std::size_t size = 0; size < end_of_data; ++size) {
    EXPECT_NE(Read(Image(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size))), tablet::kSuccess) << size;
  }
  EXPECT_EQ(Read(Image(image.begin(), image.begin() + end_of_data)), tablet::kSuccess);
}

TEST(PeVersion, DamagedImagesAreAnsweredOrRefusedAndReadNothingOutside) {
  Image const image = tablet::MakeExecutableWithVersion(1, 2, 3, 4);
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    Image damaged = image;
    for (int i = 0; i < 4; ++i) damaged[random() % 0x300] = static_cast<std::uint8_t>(random());
    Image resource;
    tablet::WinError const error = tablet::FindVersionResource(damaged, resource);
    EXPECT_TRUE(error == tablet::kSuccess || error == tablet::kResourceDataNotFound ||
                error == tablet::kResourceTypeNotFound);
    EXPECT_LE(resource.size(), damaged.size());
    EXPECT_TRUE(error == tablet::kSuccess || resource.empty());
  }
}

}  // namespace
