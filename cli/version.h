// Which program this is, for those who report what it did.
#pragma once

#include <string>

namespace cli {

/// Name, version, and the commit with its date in UTC: "vantord-tablet 1.0.0 (commit 0123abc of 2026-01-31)".
std::string VersionText();

}  // namespace cli
