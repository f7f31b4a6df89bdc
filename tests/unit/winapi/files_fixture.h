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

using testing_support::CreateAlways;
using testing_support::Handle;
using testing_support::OpenForReading;
using testing_support::ReadText;
using testing_support::WriteText;
