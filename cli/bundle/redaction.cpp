#include "cli/bundle/redaction.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>
#include <stdexcept>

#include "cli/base/console.h"
#include "cli/bundle/bundle.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

bool IsWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }
char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return Lower(c); });
  return text;
}

/// Names of Windows' own: they identify no user.
bool IsCommonName(const std::string& lower) {
  static constexpr std::array<std::string_view, 12> kNames{
      "public", "default",       "default user", "all users",     "system",          "localsystem",
      "nobody", "administrator", "guest",        "local service", "network service", "windows"};
  return std::find(kNames.begin(), kNames.end(), lower) != kNames.end();
}

/// The kind of identifier that a registry value, or a firmware variable, of this name holds; empty for none.
std::string KindOfValue(const std::string& name) {
  static const std::array<std::pair<std::string_view, std::string_view>, 26> kNames{{
      {"computername", "computer"},
      {"activecomputername", "computer"},
      {"hostname", "computer"},
      {"nv hostname", "computer"},
      {"domain", "computer"},
      {"registeredowner", "user"},
      {"registeredorganization", "user"},
      {"defaultusername", "user"},
      {"defaultdomainname", "computer"},
      {"lastuseddomain", "computer"},
      {"lastusedusername", "user"},
      {"lastloggedonuser", "user"},
      {"lastloggedonsamuser", "user"},
      {"lastloggedondisplayname", "user"},
      {"loggedonuser", "user"},
      {"loggedonsamuser", "user"},
      {"loggedonusername", "user"},
      {"loggedondisplayname", "user"},
      {"username", "user"},
      {"profileimagepath", "user"},
      {"machineguid", "serial"},
      {"productid", "serial"},
      {"networkaddress", "serial"},
      {"msisdn", "serial"},
      {"assettag", "serial"},
      {"uuid", "serial"},
  }};
  std::string const lower = Lower(name);
  for (auto const& [known, kind] : kNames) {
    if (lower == known) return std::string(kind);
  }
  for (std::string_view const part : {"serial", "imei", "imsi", "iccid", "meid"}) {
    if (lower.find(part) != std::string::npos) return "serial";
  }
  return {};
}

/// Letters stay letters and digits digits; the number distinguishes replacements of one shape.
std::string ReplacementFor(std::string_view text, std::size_t number) {
  std::string out(text);
  for (std::size_t i = 0; i < out.size(); ++i) {
    bool const first_digit = i == 0 || std::isdigit(static_cast<unsigned char>(text[i - 1])) == 0;
    if (std::isdigit(static_cast<unsigned char>(out[i])) != 0) {
      out[i] = first_digit ? '1' : '0';
    } else if (IsWord(out[i])) {
      out[i] = 'x';
    } else if (static_cast<unsigned char>(out[i]) >= 0x80) {
      out[i] = '_';
    }
  }
  for (std::size_t i = out.size(); i-- > 0 && number != 0;) {
    if (!IsWord(out[i])) continue;
    std::size_t const base = out[i] == 'x' ? 25 : 9;
    char const zero = out[i] == 'x' ? 'a' : '1';
    out[i] = static_cast<char>(zero + number % base);
    number /= base;
  }
  return out;
}

/// Finds whole words in a row of characters that `at` gives, and replaces them by `put`.
template <typename At, typename Put>
bool ReplaceWord(std::size_t size, const std::string& word, At at, Put put) {
  bool found = false;
  for (std::size_t i = 0; i + word.size() <= size; ++i) {
    if (i != 0 && IsWord(at(i - 1)) && IsWord(word.front())) continue;
    std::size_t matched = 0;
    while (matched < word.size() && Lower(at(i + matched)) == word[matched]) ++matched;
    if (matched != word.size()) continue;
    if (i + matched < size && IsWord(at(i + matched)) && IsWord(word.back())) continue;
    for (std::size_t k = 0; k < word.size(); ++k) put(i + k, k);
    found = true;
    i += matched - 1;
  }
  return found;
}

char InCaseOf(char model, char c) {
  return std::isupper(static_cast<unsigned char>(model)) != 0 ? static_cast<char>(std::toupper(c)) : c;
}

/// In 8-bit text, and in 16-bit text at either alignment. Other characters than ASCII end a word.
template <typename Bytes>
bool ReplaceInBytes(Bytes& bytes, const std::string& word, const std::string& replacement) {
  bool found = ReplaceWord(
      bytes.size(), word, [&](std::size_t i) { return static_cast<char>(bytes[i]); },
      [&](std::size_t i, std::size_t k) {
        bytes[i] = static_cast<typename Bytes::value_type>(InCaseOf(static_cast<char>(bytes[i]), replacement[k]));
      });
  for (std::size_t first : {std::size_t{0}, std::size_t{1}}) {
    if (bytes.size() < first + 2) continue;
    auto const wide = [&](std::size_t i) {
      return bytes[first + 2 * i + 1] == 0 ? static_cast<char>(bytes[first + 2 * i]) : '\xFF';
    };
    found |= ReplaceWord((bytes.size() - first) / 2, word, wide, [&](std::size_t i, std::size_t k) {
      auto& byte = bytes[first + 2 * i];
      byte = static_cast<typename Bytes::value_type>(InCaseOf(static_cast<char>(byte), replacement[k]));
    });
  }
  return found;
}

}  // namespace

void Redaction::Learn(const std::string& kind, std::string_view text) {
  std::string const word = Lower(std::string(text));
  bool const letters = std::any_of(word.begin(), word.end(), [](char c) { return IsWord(c); });
  if (!letters || IsCommonName(word) || entries_.count(word) != 0) return;
  std::size_t number = entries_.size() + 1;
  auto const taken = [&](const std::string& replacement) {
    return entries_.count(replacement) != 0 || std::any_of(entries_.begin(), entries_.end(), [&](auto const& entry) {
             return entry.second.replacement == replacement;
           });
  };
  std::string replacement = ReplacementFor(word, number);
  for (std::size_t tries = 0; taken(replacement) && tries < 10'000; ++tries)
    replacement = ReplacementFor(word, ++number);
  entries_[word] = {kind, replacement};
}

void Redaction::LearnSids(std::string_view text) {
  // The three numbers of the computer, or of the account's owner, are what identifies; the last one counts accounts.
  static const std::regex kSid(R"(S-1-(?:5-21|12-1)-(\d+-\d+-\d+))", std::regex::icase);
  std::string const whole(text);
  for (std::sregex_iterator at(whole.begin(), whole.end(), kSid), end; at != end; ++at)
    Learn("security identifier", (*at)[1].str());
}

void Redaction::LearnDescription(const fs::path& file) {
  auto const description = nlohmann::json::parse(ReadTextFile(file), nullptr, false);
  for (auto const& session : description.value("sessions", nlohmann::json::array())) {
    if (session.contains("user") && session["user"].is_string()) Learn("user", session["user"].get<std::string>());
  }
  // \\?\CLASS#device#instance#{interface}: the instance is a serial number unless Windows has counted it.
  static const std::regex kLink(R"(\\\\\?\\[^#]+#[^#]+#([^#]{5,})#)");
  for (auto const& value : description.flatten()) {
    std::string const text = value.is_string() ? value.get<std::string>() : std::string{};
    LearnSids(text);
    std::smatch match;
    if (std::regex_search(text, match, kLink)) Learn("serial", match[1].str());
  }
}

void Redaction::LearnRegistry(const tablet::Registry& registry, const std::u16string& key) {
  LearnSids(tablet::ToUtf8(key));
  for (const std::u16string& name : registry.ValueNames(key)) {
    std::string const value_name = tablet::ToUtf8(name);
    auto const value = registry.GetText(key, name);
    LearnSids(value_name);
    if (!value) continue;
    std::string const text = tablet::ToUtf8(*value);
    LearnSids(text);
    std::string const kind = KindOfValue(value_name);
    if (kind.empty() || text.empty()) continue;
    // DOMAIN\user, and the last part of a profile's path.
    std::size_t const cut = text.rfind('\\');
    if (cut == std::string::npos) Learn(kind, text);
    if (cut != std::string::npos) Learn(kind, text.substr(cut + 1));
    if (kind == "user" && cut != std::string::npos && text.find(':') == std::string::npos && text[0] != '%')
      Learn("computer", text.substr(0, cut));
  }
  for (const std::u16string& child : registry.SubKeyNames(key))
    LearnRegistry(registry, key.empty() ? child : key + u"\\" + child);
}

void Redaction::LearnUsers(const fs::path& users) {
  if (!fs::is_directory(users)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(users)) {
    if (entry.is_directory()) Learn("user", entry.path().filename().string());
  }
}

Redaction Redaction::Of(const fs::path& tablet) {
  Redaction redaction;
  redaction.LearnDescription(tablet / "tablet.json");
  tablet::Registry registry;
  tablet::ReadRegistryFolder(tablet, registry);
  redaction.LearnRegistry(registry, u"");
  for (const fs::directory_entry& entry : fs::directory_iterator(tablet / "C")) {
    if (Lower(entry.path().filename().string()) == "users") redaction.LearnUsers(entry.path());
  }
  return redaction;
}

std::string Redaction::Redacted(std::string text) const {
  for (auto const& [word, entry] : entries_) ReplaceInBytes(text, word, entry.replacement);
  return text;
}

std::vector<std::uint8_t> Redaction::RedactedBytes(std::vector<std::uint8_t> bytes) const {
  for (auto const& [word, entry] : entries_) ReplaceInBytes(bytes, word, entry.replacement);
  return bytes;
}

nlohmann::ordered_json Redaction::Counts() const {
  nlohmann::ordered_json counts = nlohmann::ordered_json::object();
  for (const char* const kind : {"user", "security identifier", "computer", "serial"}) {
    counts[kind] =
        std::count_if(entries_.begin(), entries_.end(), [&](auto const& e) { return e.second.kind == kind; });
  }
  return counts;
}

void Redaction::ExpectNoneIn(const fs::path& folder) const {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::string const name = fs::relative(entry.path(), folder).string();
    std::string const text = entry.is_regular_file() ? ReadTextFile(entry.path()) : std::string{};
    if (Redacted(name) != name || Redacted(text) != text)
      throw std::runtime_error(
          fmt::format("\"{}\" of the bundle still holds an identifier; nothing was written", name));
  }
}

std::string Describe(const nlohmann::ordered_json& counts) {
  std::string text;
  for (auto const& [kind, count] : counts.items()) {
    if (count != 0) text += fmt::format("{}{}", text.empty() ? "" : ", ", Counted(count.get<std::size_t>(), kind));
  }
  return text.empty() ? "nothing that identifies was found" : text;
}

}  // namespace cli
