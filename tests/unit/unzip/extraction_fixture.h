// An archive on drive C:, opened for extraction.
#pragma once

#include "tests/unit/unzip/archives.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/unzip/unzip.h"

namespace unzip_tests {

using namespace testing_support;

inline constexpr const char16_t* kArchive = u"c:\\archives\\image.zip";

inline tablet::FileTicks Ticks(const FILETIME& time) {
  return static_cast<tablet::FileTicks>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

inline tablet::FileTicks TicksOfUnix(std::int64_t seconds) {
  return static_cast<tablet::FileTicks>((seconds + 11'644'473'600) * 10'000'000);
}

class ExtractionTest : public TabletTest {
 protected:
  ~ExtractionTest() override {
    CloseZipFile(handle_);
    g_ulZoneMask = kDefaultZoneMask;
  }

  /// Puts the archive that `zip_` describes on the drive and opens it.
  ZipHandle* Open() { return OpenBytes(zip_.Build()); }
  ZipHandle* OpenBytes(const Bytes& archive) {
    drive().Put(kArchive, archive);
    CloseZipFile(handle_);
    handle_ = OpenZipFile(kArchive);
    return handle_;
  }

  ZipEntry Get(INT index) {
    ZipEntry entry = {};
    EXPECT_EQ(GetZipEntry(handle_, index, entry), UNZIP_OK);
    return entry;
  }
  DWORD CodeOfGet(INT index) {
    ZipEntry entry = {};
    return GetZipEntry(handle_, index, entry);
  }
  std::u16string NameOf(INT index) { return Get(index).name; }
  DWORD Unzip(INT index, const WCHAR* destination) { return UnzipZipEntry(handle_, index, destination); }

  std::vector<std::string> OpenHandles() { return machine().handles().OpenKinds(tablet::kMachineProcess); }

  /// The log lines that were made, delivered or not; the formatter makes paths as well.
  std::vector<std::string> Lines() {
    std::vector<std::string> lines = formatted();
    std::erase_if(lines, [](const std::string& text) { return text.find(" : ") == std::string::npos; });
    return lines;
  }

  ZipBuilder zip_;
  ZipHandle* handle_ = nullptr;
};

}  // namespace unzip_tests
