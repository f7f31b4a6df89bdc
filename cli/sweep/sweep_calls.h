// The calls of a run as it goes when nothing fails: what a sweep makes fail, one after the other.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/boot/tablet_run.h"

namespace cli {

/// One call of the Windows API, one reply of the firmware driver, or one request of the service for memory.
struct KnownCall {
  std::string name;
  std::uint32_t occurrence = 0;  ///< of this name, from 1
  std::uint64_t number = 0;      ///< of the run's calls, from 1; that of the last call for what is not one
  std::uint64_t site = 0;        ///< the chain of callers: the same for the same line in the same loop
  std::string function;          ///< of the service that made the call, as the linker knows it
  std::string thread;
  std::string args;
  bool heard = false;  ///< a trace session listens to the service's messages
};

/// Watches a run and keeps its calls, in the order in which they begin.
class CallRecorder {
 public:
  /// Makes the run's journal record calls. Outlives the run.
  explicit CallRecorder(TabletRun& run);
  CallRecorder(const CallRecorder&) = delete;
  CallRecorder& operator=(const CallRecorder&) = delete;

  std::vector<KnownCall> Take() { return std::move(calls_); }

 private:
  void Begin(std::string_view name);
  void End(const tablet::CallEvent& call);

  TabletRun& run_;
  std::vector<KnownCall> calls_;
  std::map<std::string, std::uint32_t, std::less<>> counts_;
  std::map<std::string, std::vector<std::size_t>> open_;  ///< by thread: calls that have not ended
};

nlohmann::json ToJson(const std::vector<KnownCall>& calls);
std::vector<KnownCall> CallsFrom(const nlohmann::json& document);

}  // namespace cli
