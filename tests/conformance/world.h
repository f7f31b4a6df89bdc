// Conformance tests: one body, three worlds. The calls of the Windows API that sim/winapi implements are compared with
// the simulated tablet, with Wine, and with a real Windows by vantord-check (kit/). A body expects what Windows
// documents. Where worlds may differ it says so with Differs, by the name of a row of sim/winapi/README.md.
#pragma once

#include <windows.h>

// world_tablet.h, world_windows.h or the kit's: the build decides.
#include WORLD_HEADER

#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/testing/file_calls.h"

namespace conformance {

using Text = std::basic_string<WCHAR>;

// An observation as text, the same in every world.
inline std::string Shown(const std::string& text) { return text.empty() ? "nothing" : text; }
inline std::string Shown(bool value) { return value ? "yes" : "no"; }
template <typename Number>
requires std::is_integral_v<Number> std::string Shown(Number number) { return std::to_string(number); }
/// ASCII is expected; any other character is shown as '?'.
inline std::string Shown(const Text& text) {
  std::string shown;
  for (WCHAR const one : text) shown.push_back(one < 0x80 ? static_cast<char>(one) : '?');
  return Shown(shown);
}
inline std::string Shown(const std::vector<Text>& texts) {
  std::string shown;
  for (const Text& text : texts) shown += (shown.empty() ? "" : ", ") + Shown(text);
  return Shown(shown);
}

/// What is expected in this world as the answer to a question. A comparison is an observation: Judged, which each
/// world has, gets it and decides.
template <typename Value>
class Expected {
 public:
  Expected(const char* question, Value value) : question_(question), value_(std::move(value)) {}

  template <typename Seen>
  friend bool operator==(const Seen& seen, const Expected& expected) {
    return Judged(expected.question_, Shown(seen), seen == expected.value_);
  }
  friend void PrintTo(const Expected& expected, std::ostream* out) { *out << Shown(expected.value_); }

 private:
  const char* question_;
  Value value_;
};

/// `question` is a row of the table "One call, two worlds".
template <typename Value>
Expected<Value> Differs(const char* question, Value onTablet, Value underWine) {
  return {question, kOnTablet ? std::move(onTablet) : std::move(underWine)};
}
/// For a question to which tablet and Wine give the same answer: only a real Windows may differ.
template <typename Value>
Expected<Value> Asked(const char* question, Value value) {
  return {question, std::move(value)};
}

/// The error of a call that has just returned `done`; 0 when it succeeded.
inline DWORD Error(BOOL done) { return done ? 0 : ::GetLastError(); }

/// Each test has a folder and a registry key of its own, in places that the world names.
class World : public WorldBase {
 protected:
  World() {
    auto const* const info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string const name = std::string(info->test_suite_name()) + "-" + info->name();
    folder_ = Text(Place()) + TEXT("\\") + Text(name.begin(), name.end());
    key_ = Text(KeyPlace()) + TEXT("\\") + Text(name.begin(), name.end());
    ::CreateDirectoryW(Place(), nullptr);
    EXPECT_TRUE(::CreateDirectoryW(folder_.c_str(), nullptr)) << "error " << ::GetLastError();
  }

  const Text& folder() const { return folder_; }
  /// Below Hive(); it does not exist yet.
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
