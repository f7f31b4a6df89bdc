// What a trace consists of, however it was written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "sim/tablet/kernel/journal.h"

namespace cli {

/// One message of the service, or another event of JSON Lines.
struct TraceRecord {
  std::uint64_t line = 0;          ///< of the file, from 1
  std::optional<std::int64_t> at;  ///< milliseconds since 1970 by the trace's clock, or since power-on
  std::string stamp;               ///< the same as written; empty without
  std::optional<std::uint32_t> process;
  std::string thread;  ///< "0E40", or its name; empty where the prefix has none
  std::optional<std::uint64_t> sequence;
  bool is_own = false;  ///< of the service: the rest is set
  std::variant<tablet::TraceEvent, tablet::StatusEvent, tablet::Happening, tablet::DebuggerEvent, tablet::CallEvent>
      what;
};

}  // namespace cli
