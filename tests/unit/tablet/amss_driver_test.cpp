#include "sim/tablet/devices/amss_driver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using tablet::AmssDriver;

constexpr std::uint32_t kReset = 0x9CA30C00;

class AmssDriverTest : public ::testing::Test {
 protected:
  tablet::Scheduler scheduler_{{}};
  tablet::Journal journal_{scheduler_};
  std::vector<std::uint8_t> record_ = std::vector<std::uint8_t>(1042, 0);
};

TEST_F(AmssDriverTest, OnlyA1InItsPlaceResetsTheModem) {
  AmssDriver driver({}, scheduler_, journal_);
  EXPECT_EQ(driver.Control(kReset, record_), tablet::kSuccess);
  EXPECT_EQ(driver.resets(), 0u);
  record_[1040] = 1;
  EXPECT_EQ(driver.Control(kReset, record_), tablet::kSuccess);
  EXPECT_EQ(driver.resets(), 1u);
  EXPECT_EQ(driver.requests().size(), 2u);
}

TEST_F(AmssDriverTest, OtherRequestsAndLengthsAreRefused) {
  AmssDriver driver({}, scheduler_, journal_);
  EXPECT_EQ(driver.Control(kReset + 4, record_), tablet::kInvalidFunction);
  record_.pop_back();
  EXPECT_EQ(driver.Control(kReset, record_), tablet::kInvalidParameter);
  EXPECT_TRUE(driver.requests().empty());
}

TEST_F(AmssDriverTest, ADriverThatFailsRemembersWhatItWasAsked) {
  AmssDriver driver({.request_error = 170}, scheduler_, journal_);
  record_[1040] = 1;
  EXPECT_EQ(driver.Control(kReset, record_), 170u);
  EXPECT_EQ(driver.requests().at(0).answer, 170u);
  EXPECT_EQ(driver.resets(), 0u);
}

TEST_F(AmssDriverTest, ADriverThatIsTakenCannotBeOpened) {
  AmssDriver taken({.open_error = 32}, scheduler_, journal_);
  std::shared_ptr<tablet::DeviceFile> file;
  EXPECT_EQ(taken.Device().open(file), 32u);
  AmssDriver driver({}, scheduler_, journal_);
  EXPECT_EQ(driver.Device().open(file), tablet::kSuccess);
  EXPECT_EQ(driver.Device().link, u"\\\\.\\AMSSStats");
}

}  // namespace
