// JSON documents as the program prints them.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/base/console.h"
#include "cli/base/escape.h"

namespace cli {

/// A document as text, in one line without `indent`. Its texts come from the service and from files: what is not UTF-8
/// is replaced.
template <typename Document>
std::string JsonText(const Document& document, int indent = -1) {
  return document.dump(indent, ' ', false, Document::error_handler_t::replace);
}

inline void PrintJson(Console& console, const nlohmann::ordered_json& document) {
  console.Document(EscapedJson(JsonText(document, 2)) + "\n");
}

/// Null in place of what is missing.
template <typename Value>
nlohmann::ordered_json OrNull(const std::optional<Value>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}
/// Null in place of an empty text.
inline nlohmann::ordered_json OrNull(const std::string& text) {
  return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

}  // namespace cli
