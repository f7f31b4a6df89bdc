#include "kit/result/redaction.h"

#include <algorithm>

namespace kit {

namespace {

constexpr std::string_view kAccount = "S-1-5-21-";

char Lower(char one) { return one >= 'A' && one <= 'Z' ? static_cast<char>(one + ('a' - 'A')) : one; }

bool SameLetters(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::ranges::equal(left, right, [](char a, char b) { return Lower(a) == Lower(b); });
}

/// Bytes beyond ASCII are parts of letters.
bool IsOfAWord(char one) {
  return (Lower(one) >= 'a' && Lower(one) <= 'z') || (one >= '0' && one <= '9') ||
         static_cast<unsigned char>(one) > 127;
}

/// Whether `size` characters at `at` are a whole word: no letter continues them on either side.
bool IsWhole(std::string_view text, std::size_t at, std::size_t size) {
  bool const before = at > 0 && IsOfAWord(text[at - 1]) && IsOfAWord(text[at]);
  bool const after = at + size < text.size() && IsOfAWord(text[at + size]) && IsOfAWord(text[at + size - 1]);
  return !before && !after;
}

}  // namespace

void Redaction::Hide(std::string secret, std::string replacement) {
  if (secret.size() < 2) return;
  secrets_.emplace_back(std::move(secret), std::move(replacement));
  // A path is replaced before the user's name in it.
  std::ranges::stable_sort(secrets_, [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
}

std::string Redaction::Redacted(std::string_view text) const {
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    if (SameLetters(text.substr(at, kAccount.size()), kAccount)) {
      out += "<account>";
      at = std::min(text.find_first_not_of("0123456789-", at + kAccount.size()), text.size());
      continue;
    }
    auto const found = std::ranges::find_if(secrets_, [&](const auto& secret) {
      return SameLetters(text.substr(at, secret.first.size()), secret.first) && IsWhole(text, at, secret.first.size());
    });
    if (found == secrets_.end()) {
      out.push_back(text[at++]);
    } else {
      out += found->second;
      at += found->first.size();
    }
  }
  return out;
}

}  // namespace kit
