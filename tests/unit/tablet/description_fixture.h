// Descriptions of tablets as text: what is read from it, and what is said of it when it is refused.
#pragma once

#include <fstream>
#include <string>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/description/description.h"
#include "tests/testing/matchers.h"
#include "tests/testing/scratch_folder.h"

namespace description_tests {

class DescriptionText : public ::testing::Test {
 protected:
  tablet::Description Read(const std::string& text) {
    std::ofstream(file(), std::ios::binary) << text;
    return tablet::ReadDescription(file());
  }
  /// The message for a text that is refused; its place without the folder.
  std::string Refusal(const std::string& text) {
    try {
      Read(text);
    } catch (const tablet::InputError& error) {
      std::string const message = error.what();
      return message.substr(message.find("tablet.json"));
    }
    return "accepted";
  }
  std::filesystem::path file() const { return folder_.path() / "tablet.json"; }

 private:
  testing_support::ScratchFolder folder_;
};

}  // namespace description_tests
