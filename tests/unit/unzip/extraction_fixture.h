// An archive on drive C:, opened for extraction.
#pragma once

#include <stdexcept>

#include "tests/unit/unzip/archives.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/unzip/unzip.h"

namespace unzip_tests {

inline constexpr const char16_t* kArchive = u"c:\\archives\\image.zip";

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

  /// Another archive, without entries yet; the one before is closed.
  void BeginAgain() {
    CloseZipFile(handle_);
    handle_ = nullptr;
    zip_ = {};
  }

  // These open the archive when it is not open yet.
  ZipEntry Get(INT index) {
    ZipEntry entry = {};
    EXPECT_EQ(GetZipEntry(Opened(), index, entry), UNZIP_OK);
    return entry;
  }
  DWORD CodeOfGet(INT index) {
    ZipEntry entry = {};
    return GetZipEntry(Opened(), index, entry);
  }
  std::u16string NameOf(INT index) { return Get(index).name; }
  DWORD Unzip(INT index, const WCHAR* destination) { return UnzipZipEntry(Opened(), index, destination); }

  /// The log lines that were made, delivered or not; the formatter makes paths as well.
  std::vector<std::string> Lines() {
    std::vector<std::string> lines = formatted();
    std::erase_if(lines, [](const std::string& text) { return text.find(" : ") == std::string::npos; });
    return lines;
  }

  ZipBuilder zip_;
  ZipHandle* handle_ = nullptr;

 private:
  ZipHandle* Opened() {
    if (handle_ == nullptr && Open() == nullptr) throw std::runtime_error("the archive does not open");
    return handle_;
  }
};

}  // namespace unzip_tests
