#include "cli/boot/call_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <optional>

#include "sim/tablet/base/error_names.h"
#include "sim/tablet/base/text.h"
#include "sim/winapi/system_messages.h"

namespace cli {

std::string FirstQuoted(std::string_view args) {
  std::size_t const begin = args.find('"');
  std::size_t const end = begin == std::string_view::npos ? begin : args.find('"', begin + 1);
  return end == std::string_view::npos ? std::string{} : std::string(args.substr(begin + 1, end - begin - 1));
}

bool ContainsIgnoringCase(std::string_view text, std::string_view part) {
  auto const same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

bool EndsWithIgnoringCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && ContainsIgnoringCase(text.substr(text.size() - end.size()), end);
}

std::string NumberAndName(std::uint32_t error) {
  std::string_view const name = tablet::NameOfError(tablet::ErrorName::Family::kSystem, error);
  return name.empty() ? fmt::format("{}", error) : fmt::format("{} ({})", error, name);
}

std::string ErrorText(std::uint32_t error) {
  std::string const name = tablet::DescribeError(tablet::ErrorName::Family::kSystem, error);
  std::optional<std::u16string_view> const known = win32::SystemMessage(error);
  std::string const shown = (name.find('(') == std::string::npos ? "error " : "") + name;
  if (!known) return shown;
  std::string text = tablet::ToUtf8(*known);
  text.erase(text.find_last_not_of("\r\n") + 1);
  return fmt::format("{}, {}", shown, text);
}

}  // namespace cli
