// Firmware variables and the folder they are kept in.
#include "sim/tablet/devices/firmware.h"

#include <fstream>
#include <iterator>

#include "sim/tablet/base/input_error.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::Firmware;
using tablet::FirmwareKey;
using tablet::InputError;

constexpr const char* kVendor = "9806d87d-b4fb-4d02-97d2-8597337abc83";

FirmwareKey SalesCode() { return {u"SALES_CODE", *tablet::Guid::Parse(kVendor)}; }

class FirmwareTest : public testing::Test {
 protected:
  std::filesystem::path efi() const { return folder_.path() / "efi"; }
  std::filesystem::path FileOf(const std::string& name, const std::string& vendor = kVendor) const {
    return efi() / (name + "-" + vendor);
  }
  void WriteFile(const std::filesystem::path& file, const std::string& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
  static std::string ReadFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  std::string LoadFailure() {
    try {
      Firmware().Load(efi());
    } catch (const InputError& error) {
      return error.what();
    }
    return "";
  }
  testing_support::ScratchFolder folder_;
};

TEST_F(FirmwareTest, AFolderThatIsAbsentHoldsNoVariables) {
  Firmware firmware;
  firmware.Load(efi());
  EXPECT_THAT(firmware.variables(), IsEmpty());
}

TEST_F(FirmwareTest, LoadsAttributesAndDataOfEachFile) {
  WriteFile(FileOf("SALES_CODE"), std::string("\x03\x00\x00\x80VZW", 7));
  Firmware firmware;
  firmware.Load(efi());
  const tablet::FirmwareVariable* const variable = firmware.Find(SalesCode());
  ASSERT_NE(variable, nullptr);
  EXPECT_EQ(variable->attributes, 0x80000003u);
  EXPECT_THAT(variable->data, ElementsAre('V', 'Z', 'W'));
}

TEST_F(FirmwareTest, SavesInTheLayoutOfEfivarfs) {
  Firmware firmware;
  firmware.Put(SalesCode(), {'V', 'Z', 'W'});
  firmware.Save(efi());
  EXPECT_EQ(ReadFile(FileOf("SALES_CODE")), std::string("\x07\x00\x00\x00VZW", 7));
}

TEST_F(FirmwareTest, NamesKeepTheirHyphensAndOtherLetters) {
  FirmwareKey const key{u"Boot-Größe", SalesCode().vendor};
  Firmware firmware;
  firmware.Put(key, {1});
  firmware.Save(efi());
  Firmware again;
  again.Load(efi());
  EXPECT_NE(again.Find(key), nullptr);
}

TEST_F(FirmwareTest, AnotherVendorsVariableOfTheSameNameIsAnotherVariable) {
  Firmware firmware;
  firmware.Put(SalesCode(), {'V'});
  EXPECT_EQ(firmware.Find({u"SALES_CODE", tablet::Guid{}}), nullptr);
  EXPECT_EQ(firmware.Find({u"Sales_Code", SalesCode().vendor}), nullptr);
}

TEST_F(FirmwareTest, NewDataLeavesTheAttributesOfAVariable) {
  WriteFile(FileOf("SALES_CODE"), std::string("\x03\x00\x00\x00OLD", 7));
  Firmware firmware;
  firmware.Load(efi());
  firmware.Put(SalesCode(), {'N'});
  EXPECT_EQ(firmware.Find(SalesCode())->attributes, 3u);
  EXPECT_THAT(firmware.Find(SalesCode())->data, ElementsAre('N'));
}

TEST_F(FirmwareTest, SavingRemovesTheFilesOfVariablesThatAreGoneAndNoOthers) {
  Firmware firmware;
  firmware.Put(SalesCode(), {'V'});
  firmware.Save(efi());
  WriteFile(efi() / "notes.txt", "keep");
  firmware.Remove(SalesCode());
  firmware.Save(efi());
  EXPECT_FALSE(std::filesystem::exists(FileOf("SALES_CODE")));
  EXPECT_TRUE(std::filesystem::exists(efi() / "notes.txt"));
}

TEST_F(FirmwareTest, AFileThatIsNotNamedAsAVariableIsRefusedByName) {
  WriteFile(efi() / "SALES_CODE", std::string("\x07\x00\x00\x00VZW", 7));
  EXPECT_THAT(LoadFailure(), HasSubstr("efi/SALES_CODE: is not named as a firmware variable"));
}

TEST_F(FirmwareTest, AFileWithoutRoomForAttributesIsRefused) {
  WriteFile(FileOf("SALES_CODE"), "VZW");
  EXPECT_THAT(LoadFailure(), HasSubstr("has 3 bytes; a firmware variable begins with 4 attribute bytes"));
}

TEST_F(FirmwareTest, TwoFilesOfOneVariableAreRefused) {
  WriteFile(FileOf("SALES_CODE"), std::string(4, '\0'));
  WriteFile(FileOf("SALES_CODE", "9806D87D-B4FB-4D02-97D2-8597337ABC83"), std::string(4, '\0'));
  EXPECT_THAT(LoadFailure(), HasSubstr("names a variable that another file here names too"));
}

TEST_F(FirmwareTest, ARefusedFolderLeavesTheVariablesThatWereThere) {
  Firmware firmware;
  firmware.Put(SalesCode(), {'V'});
  WriteFile(efi() / "junk", "junk");
  EXPECT_THROW(firmware.Load(efi()), InputError);
  EXPECT_NE(firmware.Find(SalesCode()), nullptr);
}

TEST_F(FirmwareTest, AFolderThatCannotBeMadeIsToldByName) {
  WriteFile(folder_.path() / "blocked", "a file");
  Firmware firmware;
  EXPECT_THROW(firmware.Save(folder_.path() / "blocked" / "efi"), InputError);
}

}  // namespace
