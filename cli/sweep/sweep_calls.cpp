#include "cli/sweep/sweep_calls.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <map>
#include <memory>

#include "cli/base/service_facts.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

struct Freer {
  void operator()(char* text) const { std::free(text); }
};

/// The name without its arguments: "CVantord::StopWorker"; empty for what the linker does not know.
std::string LookUpFunction(void* address) {
  Dl_info about{};
  if (::dladdr(address, &about) == 0 || about.dli_sname == nullptr) return {};
  int status = 0;
  std::unique_ptr<char, Freer> const plain(abi::__cxa_demangle(about.dli_sname, nullptr, nullptr, &status));
  std::string name = status == 0 && plain ? plain.get() : about.dli_sname;
  return name.substr(0, name.find('('));
}

/// The same. A look-up goes through every name of the program, and a run asks for few addresses again and again.
const std::string& FunctionAt(void* address) {
  static std::map<void*, std::string> known;
  auto const [entry, is_new] = known.try_emplace(address);
  if (is_new) entry->second = LookUpFunction(address);
  return entry->second;
}

/// The simulation, the libraries, and the service's owners of handles and memory: not the function that asks.
bool IsMachinery(std::string_view function) {
  for (std::string_view const start : {"cli::", "tablet::", "win32::", "std::", "handle_kinds::", "Owner<",
                                       "AllocateHeap", "AllocateLocal", "operator new"}) {
    if (function.starts_with(start)) return true;
  }
  return false;
}

}  // namespace

CallRecorder::CallRecorder(TabletRun& run) : run_(run) {
  run.machine().faults().on_ask = [this, others = run.machine().faults().on_ask](std::string_view name) {
    if (others) others(name);
    Begin(name);
  };
  run.machine().journal().WantCalls(true);
  run.machine().journal().Listen([this](const tablet::Event& event) {
    if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) End(*call);
  });
}

void CallRecorder::Begin(std::string_view name) {
  tablet::Tablet& machine = run_.machine();
  KnownCall call;
  call.name = name;
  auto count = counts_.find(name);
  if (count == counts_.end()) count = counts_.emplace(name, 0).first;
  call.occurrence = ++count->second;
  call.number = machine.scheduler().calls();
  call.thread = machine.scheduler().current_name();
  call.heard = machine.trace().IsRegistered(*tablet::Guid::Parse(service_facts::kTraceProvider));

  std::array<void*, 24> stack{};
  int const depth = ::backtrace(stack.data(), static_cast<int>(stack.size()));
  std::uint64_t site = 0xCBF29CE484222325ULL;
  bool after_call = false;
  auto const is_entry = [allocates = name == tablet::kAllocation, name](const std::string& function) {
    return allocates ? function.starts_with("operator new") : function == name;
  };
  for (int i = 0; i < depth; ++i) {
    auto const address = reinterpret_cast<std::uintptr_t>(stack[static_cast<std::size_t>(i)]);
    site = (site ^ address) * 0x100000001B3ULL;
    if (!call.function.empty()) continue;
    const std::string& function = FunctionAt(stack[static_cast<std::size_t>(i)]);
    if (after_call && !function.empty() && !IsMachinery(function)) call.function = function;
    after_call = after_call || is_entry(function);
  }
  call.site = site;
  open_[call.thread].push_back(calls_.size());
  calls_.push_back(std::move(call));
}

void CallRecorder::End(const tablet::CallEvent& ended) {
  std::vector<std::size_t>& open = open_[run_.machine().scheduler().current_name()];
  while (!open.empty()) {
    KnownCall& call = calls_[open.back()];
    open.pop_back();
    if (call.name != ended.name) continue;  // a reply of the driver, which has no end of its own
    call.args = ended.args;
    return;
  }
}

nlohmann::json ToJson(const std::vector<KnownCall>& calls) {
  nlohmann::json list = nlohmann::json::array();
  for (const KnownCall& call : calls) {
    list.push_back(
        {call.name, call.occurrence, call.number, call.site, call.function, call.thread, call.args, call.heard});
  }
  return list;
}

std::vector<KnownCall> CallsFrom(const nlohmann::json& document) {
  std::vector<KnownCall> calls;
  for (const nlohmann::json& row : document) {
    calls.push_back({.name = row[0],
                     .occurrence = row[1],
                     .number = row[2],
                     .site = row[3],
                     .function = row[4],
                     .thread = row[5],
                     .args = row[6],
                     .heard = row[7]});
  }
  return calls;
}

}  // namespace cli
