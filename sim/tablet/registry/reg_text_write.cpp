#include <fmt/format.h>

#include <algorithm>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/registry/reg_text.h"

namespace tablet {

namespace {

constexpr const char* kFirstLine = "Windows Registry Editor Version 5.00\n";
constexpr std::size_t kLineLength = 80;  ///< lines of bytes are broken to stay within it, as Windows' own exports are

/// Whether a line of text can hold it: no line breaks, no zeros, no half surrogate pairs.
bool FitsALine(std::u16string_view text) {
  return text.find_first_of(std::u16string_view(u"\r\n\0", 3)) == text.npos && ToUtf16(ToUtf8(text)) == text;
}

void RequireLine(std::u16string_view name) {
  if (FitsALine(name)) return;
  throw InputError("registry", "the name \"" + ToUtf8(name) + "\" cannot be written as registry text",
                   "names there hold no line breaks, zeros or half surrogate pairs");
}

std::string Quote(std::u16string_view text) {
  std::string quoted = "\"";
  for (char const c : ToUtf8(text)) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string Bytes(std::string line, const std::vector<std::uint8_t>& bytes) {
  std::string done;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bool const last = i + 1 == bytes.size();
    if (line.size() + (last ? 2 : 4) > kLineLength && i != 0) {
      done += line + "\\\n";
      line = "  ";
    }
    line += fmt::format("{:02x}{}", bytes[i], last ? "" : ",");
  }
  return done + line;
}

/// `start`, the form and the data. Every value has a form that gives back its very bytes.
std::string WithData(std::string start, const RegistryValue& value) {
  if (value.type == kTypeText && FitsALine(TextOf(value)) && TextValue(TextOf(value)) == value) {
    return start + Quote(TextOf(value));
  }
  if (value.type == kTypeDword && value.data.size() == 4) {
    return start +
           fmt::format("dword:{:02x}{:02x}{:02x}{:02x}", value.data[3], value.data[2], value.data[1], value.data[0]);
  }
  std::string const form = value.type == kTypeBinary ? "hex:" : fmt::format("hex({:x}):", value.type);
  return Bytes(start + form, value.data);
}

std::string Start(std::u16string_view value) {
  RequireLine(value);
  return value.empty() ? "@=" : Quote(value) + '=';
}

std::string Section(std::u16string_view key, bool removed) {
  RequireLine(key);
  return fmt::format("\n[{}HKEY_LOCAL_MACHINE{}{}]\n", removed ? "-" : "", key.empty() ? "" : "\\", ToUtf8(key));
}

void WriteKey(const Registry& registry, const std::u16string& path, std::string& out) {
  std::vector<std::u16string> const values = registry.ValueNames(path);
  if (!path.empty() || !values.empty()) out += Section(path, false);
  for (const std::u16string& value : values) out += WithData(Start(value), *registry.Get(path, value)) + '\n';
  for (const std::u16string& child : registry.SubKeyNames(path)) {
    WriteKey(registry, path.empty() ? child : path + u'\\' + child, out);
  }
}

}  // namespace

std::string WriteRegText(const Registry& registry) {
  std::string out = kFirstLine;
  WriteKey(registry, u"", out);
  return out;
}

std::string WriteRegChanges(const std::vector<RegistryChange>& changes) {
  std::string out = kFirstLine;
  const std::u16string* section = nullptr;  // the key that values are written into
  for (const RegistryChange& change : changes) {
    if (change.kind == RegistryChange::Kind::kKeyRemoved) {
      out += Section(change.key, true);
      section = nullptr;
      continue;
    }
    if (section == nullptr || *section != change.key) out += Section(change.key, false);
    section = &change.key;
    if (change.kind == RegistryChange::Kind::kKeyAdded) continue;
    out += change.after ? WithData(Start(change.value), *change.after) : Start(change.value) + '-';
    out += '\n';
  }
  return out;
}

std::string ToExportForm(std::string_view utf8_text) {
  std::string out = "\xFF\xFE";
  char16_t before = 0;
  auto const put = [&](char16_t unit) {
    out += static_cast<char>(unit & 0xFF);
    out += static_cast<char>(unit >> 8);
  };
  for (char16_t const unit : ToUtf16(utf8_text)) {
    if (unit == u'\n' && before != u'\r') put(u'\r');
    put(unit);
    before = unit;
  }
  return out;
}

}  // namespace tablet
