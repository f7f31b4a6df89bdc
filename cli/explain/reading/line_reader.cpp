#include "cli/explain/reading/line_reader.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "cli/base/output_file.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::size_t kBuffer = 0x40000;
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

/// 0x80 to 0x9F of code page 1252; the five that it does not have are U+FFFD.
constexpr std::array<char16_t, 32> kCodePage{
    u'\u20AC', u'\uFFFD', u'\u201A', u'\u0192', u'\u201E', u'\u2026', u'\u2020', u'\u2021',
    u'\u02C6', u'\u2030', u'\u0160', u'\u2039', u'\u0152', u'\uFFFD', u'\u017D', u'\uFFFD',
    u'\uFFFD', u'\u2018', u'\u2019', u'\u201C', u'\u201D', u'\u2022', u'\u2013', u'\u2014',
    u'\u02DC', u'\u2122', u'\u0161', u'\u203A', u'\u0153', u'\uFFFD', u'\u017E', u'\u0178'};

std::string FromCodePage(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (char const byte : bytes) {
    auto const value = static_cast<unsigned char>(byte);
    bool const own = value >= 0x80 && value < 0xA0;
    text += own ? kCodePage[value - 0x80] : static_cast<char16_t>(value);
  }
  return tablet::ToUtf8(text);
}

std::string FromUtf16(std::string_view bytes) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto const low = static_cast<unsigned char>(bytes[2 * i]);
    auto const high = static_cast<unsigned char>(bytes[2 * i + 1]);
    text[i] = static_cast<char16_t>(low | high << 8);
  }
  return tablet::ToUtf8(text);
}

}  // namespace

LineReader::LineReader(const std::filesystem::path& file) : shown_(file.string()), buffer_(kBuffer) {
  if (file == kStandardStream) {
    shown_ = "standard input";
    file_.reset(stdin);
    return;
  }
  if (std::filesystem::is_directory(file)) Refuse("is a folder", "name the trace in it");
  file_.reset(std::fopen(file.c_str(), "rb"));
  if (!file_) Refuse(fmt::format("cannot be read: {}", std::strerror(errno)), "check the name");
}

void LineReader::Refuse(const std::string& problem, const std::string& next) const {
  std::string const place = number_ == 0 ? shown_ : fmt::format("{}:{}", shown_, number_);
  throw tablet::InputError(place, problem, next);
}

bool LineReader::Fill() {
  // What is left of the buffer is fewer bytes than a mark or half a character.
  std::move(buffer_.begin() + static_cast<std::ptrdiff_t>(at_), buffer_.begin() + static_cast<std::ptrdiff_t>(end_),
            buffer_.begin());
  end_ -= at_;
  at_ = 0;
  std::size_t const read = std::fread(buffer_.data() + end_, 1, buffer_.size() - end_, file_.get());
  if (read == 0 && std::ferror(file_.get()) != 0) Refuse("cannot be read to its end", "copy the trace again");
  end_ += read;
  return read != 0;
}

std::string_view LineReader::Beginning() {
  if (!begun_) {
    begun_ = true;
    Fill();
  }
  return {buffer_.data() + at_, end_ - at_};
}

void LineReader::Keep(std::size_t from, std::size_t to) {
  std::size_t const room = kLongest - raw_.size();
  cut_ = cut_ || to - from > room;
  raw_.append(buffer_.data() + from, std::min(to - from, room));
}

/// Reads up to the end of the line or the file; false where nothing is left.
bool LineReader::ReadRaw() {
  raw_.clear();
  cut_ = false;
  std::size_t const unit = utf16_ ? 2 : 1;
  bool any = false;
  for (;;) {
    if (end_ - at_ < unit && !Fill()) {
      // Half a character of UTF-16 may be left.
      any = any || end_ != at_;
      at_ = end_;
      ends_early_ = ends_early_ || any;
      return any;
    }
    any = true;
    std::size_t const whole = at_ + (end_ - at_) / unit * unit;
    std::size_t to = at_;
    if (utf16_) {
      while (to < whole && (buffer_[to] != '\n' || buffer_[to + 1] != '\0')) to += 2;
    } else {
      const void* const found = std::memchr(buffer_.data() + at_, '\n', whole - at_);
      to = found == nullptr ? whole : static_cast<std::size_t>(static_cast<const char*>(found) - buffer_.data());
    }
    Keep(at_, to);
    at_ = to;
    if (to == whole) continue;
    at_ += unit;
    return true;
  }
}

bool LineReader::Next(std::string& line) {
  if (number_ == 0) {
    std::string_view const start = Beginning();
    utf16_ = start.starts_with(kUtf16Mark);
    if (start.starts_with(kUtf16BigMark)) Refuse("is UTF-16 with the high byte first", "convert the trace to UTF-8");
    if (utf16_) at_ += kUtf16Mark.size();
    if (start.starts_with(kUtf8Mark)) at_ += kUtf8Mark.size();
  }
  if (!ReadRaw()) return false;
  ++number_;
  cut_lines_ += cut_ ? 1 : 0;
  if (utf16_) {
    line = FromUtf16(raw_);
  } else {
    auto const valid = utf8::find_invalid(raw_.begin(), raw_.end());
    // A long line may be cut within a character.
    bool const is_utf8 = valid == raw_.end() || (cut_ && raw_.end() - valid < 4);
    if (!is_utf8 && first_in_code_page_ == 0) first_in_code_page_ = number_;
    line = is_utf8 ? std::string(raw_.begin(), valid) : FromCodePage(raw_);
  }
  if (line.find('\0') != std::string::npos) {
    Refuse("is no text: it has bytes of 0", "give the text that tracefmt writes, in UTF-8 or in UTF-16 with its mark");
  }
  if (line.ends_with('\r')) line.pop_back();
  return true;
}

}  // namespace cli
