// Questions that documentation leaves open and that the stand-in decides; a real Windows may answer otherwise.
#include "tests/conformance/world.h"

#include <iterator>

namespace {

using conformance::Asked;
using conformance::Differs;
using conformance::Error;
using conformance::Text;
using testing_support::Handle;

class Questions : public conformance::World {
 protected:
  /// The first byte of a character in the ANSI code page.
  static int ByteOf(const WCHAR* character, const char* otherwise) {
    unsigned char bytes[4] = {};
    ::WideCharToMultiByte(CP_ACP, 0, character, 1, reinterpret_cast<char*>(bytes), 4, otherwise, nullptr);
    return bytes[0];
  }
  /// How many characters `bytes` become, without the letter that ends them.
  static int Characters(const char* bytes, int size) {
    WCHAR wide[16] = {};
    return ::MultiByteToWideChar(CP_UTF8, 0, bytes, size, wide, static_cast<int>(std::size(wide))) - 1;
  }
  Text NameOf(const WCHAR* pattern) {
    WIN32_FIND_DATAW data = {};
    HANDLE const find = ::FindFirstFileW(In(pattern).c_str(), &data);
    EXPECT_NE(find, INVALID_HANDLE_VALUE);
    ::FindClose(find);
    return data.cFileName;
  }
};

TEST_F(Questions, ACharacterOutsideOfTheCodePageBecomesASimilarOne) {
  EXPECT_EQ(ByteOf(TEXT("\u0100"), "!"), Differs("best-fit", 33, 65));
  EXPECT_EQ(ByteOf(TEXT("\u0100"), nullptr), Differs("best-fit", 63, 65));
}

TEST_F(Questions, DamagedUtf8BecomesReplacementCharacters) {
  EXPECT_EQ(Characters("\xE2\x82x", 3), Differs("utf8-replacements", 1, 1)) << "a sequence that is cut off";
  EXPECT_EQ(Characters("\xF0\x9F\x98x", 4), Differs("utf8-replacements", 1, 1)) << "a longer one";
  EXPECT_EQ(Characters("\xED\xA0\x80x", 4), Differs("utf8-replacements", 1, 2)) << "a surrogate";
}

TEST_F(Questions, ANameWithAColonNamesAStream) {
  Handle const file(::CreateFileW(In(TEXT("ab:c")).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  EXPECT_EQ(file.valid() ? 0 : ::GetLastError(), Differs("streams", DWORD{123}, DWORD{0}));
}

TEST_F(Questions, AReplacedFileKeepsTheLettersOfItsName) {
  Put(TEXT("Name.bin"), "old");
  Put(TEXT("NAME.BIN"), "new");
  EXPECT_EQ(NameOf(TEXT("name.*")), Asked("replacing-case", Text(TEXT("Name.bin"))));
}

TEST_F(Questions, TheNameOfAValueMayBeLong) {
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(conformance::Hive(), Questions::key().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &key, nullptr),
            ERROR_SUCCESS);
  BYTE const data[] = {1};
  EXPECT_EQ(::RegSetValueExW(key, Text(16384, TEXT('v')).c_str(), 0, REG_BINARY, data, 1),
            Differs<LSTATUS>("registry-long-value-name", ERROR_SUCCESS, ERROR_INVALID_PARAMETER));
  ::RegCloseKey(key);
}

}  // namespace
