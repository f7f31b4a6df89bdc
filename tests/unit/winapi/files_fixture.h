// What the tests of the file calls share.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "tests/testing/file_calls.h"
#include "tests/testing/tablet_fixture.h"

namespace testing_support {

class FilesTest : public TabletTest {
 protected:
  void Put(std::u16string_view path, std::string_view text, DWORD attributes = FILE_ATTRIBUTE_ARCHIVE) {
    drive().Put(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, attributes);
  }
  std::string TextOf(std::u16string_view path) {
    auto const data = drive().Contents(path);
    return {data.begin(), data.end()};
  }
  /// The last error of an open that is expected to fail; 0 when it succeeded.
  DWORD OpenError(const WCHAR* path, DWORD access, DWORD disposition, DWORD attributes = FILE_ATTRIBUTE_NORMAL,
                  DWORD share = 7) {
    Handle const file(::CreateFileW(path, access, share, nullptr, disposition, attributes, nullptr));
    return file.valid() ? 0 : ::GetLastError();
  }
  DWORD AttributesError(const WCHAR* path) {
    return ::GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES ? ::GetLastError() : 0;
  }
};

}  // namespace testing_support
