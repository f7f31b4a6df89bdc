// The lines of a trace as text, from each encoding that traces are written in. A line at a time: traces are larger than
// memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

class LineReader {
 public:
  /// Bytes of a line that are kept; the rest of a longer one is left out.
  static constexpr std::size_t kLongest = 0x10000;

  /// Throws InputError for a file that cannot be read; "-" is standard input.
  explicit LineReader(const std::filesystem::path& file);

  /// The next line in UTF-8 without its end; false after the last one. Throws InputError for what is not text and for a
  /// file that cannot be read to its end.
  bool Next(std::string& line);

  /// The file's first bytes, as far as they are needed to recognise its kind.
  std::string_view Beginning();
  /// Of the line last read, from 1.
  std::uint64_t number() const { return number_; }
  bool is_utf16() const { return utf16_; }
  /// The first line that is not UTF-8 and was read by code page 1252; 0 without one.
  std::uint64_t first_in_code_page() const { return first_in_code_page_; }
  /// Whether the file ends within a line.
  bool ends_early() const { return ends_early_; }
  /// Lines that were longer than kLongest.
  std::uint64_t cut_lines() const { return cut_lines_; }

 private:
  struct Closer {
    void operator()(std::FILE* file) const {
      if (file != stdin) std::fclose(file);
    }
  };

  bool Fill();
  bool ReadRaw();
  void Keep(std::size_t from, std::size_t to);
  [[noreturn]] void Refuse(const std::string& problem, const std::string& next) const;

  std::string shown_;
  std::unique_ptr<std::FILE, Closer> file_;
  std::vector<char> buffer_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  bool begun_ = false;
  bool utf16_ = false;
  std::string raw_;  ///< the line's bytes in the file's encoding
  bool cut_ = false;
  std::uint64_t number_ = 0;
  std::uint64_t first_in_code_page_ = 0;
  std::uint64_t cut_lines_ = 0;
  bool ends_early_ = false;
};

}  // namespace cli
