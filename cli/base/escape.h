// Text from archives, tablets and the service, made harmless for a terminal and for a line.
#pragma once

#include <string>
#include <string_view>

namespace cli {

/// Control characters and bytes that are not UTF-8 as \x1b, characters that turn or break a line as \u202e; all else
/// as it is.
std::string Escaped(std::string_view text);

/// The same for a JSON document, which writes the control characters below 0x20 itself.
std::string EscapedJson(std::string_view document);

/// For a text of XML or HTML. What XML cannot hold becomes U+FFFD.
std::string XmlText(std::string_view text);

}  // namespace cli
