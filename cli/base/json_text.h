// JSON documents as the program prints them.
#pragma once

#include <nlohmann/json.hpp>

#include "cli/base/console.h"
#include "cli/base/escape.h"

namespace cli {

/// Texts come from the service and from files: what is no UTF-8 is replaced.
inline void PrintJson(Console& console, const nlohmann::ordered_json& document) {
  console.Document(EscapedJson(document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) + "\n");
}

}  // namespace cli
