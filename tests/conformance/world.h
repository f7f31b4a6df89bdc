// Conformance tests: one body, two worlds. The calls of the Windows API that sim/winapi implements are compared
// with the simulated tablet and, built for Windows, with Wine, an independent implementation. A body says what Windows
// documents. Where the two differ it says so with Differs, by the name of a row of sim/winapi/README.md.
#pragma once

#include <windows.h>

// world_tablet.h or world_windows.h: the build decides.
#include WORLD_HEADER

#include <string>

#include "tests/testing/file_calls.h"

namespace conformance {

using Text = std::basic_string<WCHAR>;

/// What is to be expected in this world. `name` is a row of the table "One call, two worlds".
template <typename Value>
Value Differs([[maybe_unused]] const char* name, Value onTablet, Value underWine) {
  return kOnTablet ? onTablet : underWine;
}

/// The error of a call that has just returned `done`; 0 when it succeeded.
inline DWORD Error(BOOL done) { return done ? 0 : ::GetLastError(); }

/// Each test has a folder and a registry key of its own.
class World : public WorldBase {
 protected:
  World() {
    auto const* const info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string const name = std::string(info->test_suite_name()) + "-" + info->name();
    folder_ = Text(TEXT("C:\\conformance\\")) + Text(name.begin(), name.end());
    key_ = Text(TEXT("SOFTWARE\\VantordConformance\\")) + Text(name.begin(), name.end());
    ::CreateDirectoryW(TEXT("C:\\conformance"), nullptr);
    EXPECT_TRUE(::CreateDirectoryW(folder_.c_str(), nullptr)) << "error " << ::GetLastError();
  }

  const Text& folder() const { return folder_; }
  /// Below HKEY_LOCAL_MACHINE; not there yet.
  const Text& key() const { return key_; }
  /// The full path of a name in the test's folder.
  Text In(const WCHAR* name) const { return folder_ + TEXT("\\") + name; }

  /// Makes a file with this text and these attributes. Gives its full path.
  Text Put(const WCHAR* name, std::string_view text, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
    Text const path = In(name);
    testing_support::Handle const file(testing_support::CreateAlways(path.c_str(), attributes));
    EXPECT_TRUE(file.valid()) << "error " << ::GetLastError();
    EXPECT_TRUE(testing_support::WriteText(file, text));
    return path;
  }

  /// The whole text of a small file.
  static std::string TextOf(const Text& path) {
    testing_support::Handle const file(testing_support::OpenForReading(path.c_str(), 7));
    return file.valid() ? testing_support::ReadText(file, 1000) : "no such file";
  }

 private:
  Text folder_;
  Text key_;
};

}  // namespace conformance
