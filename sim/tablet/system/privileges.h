// The privileges of the simulated processes, which all run as the local system account.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// An open access to a process's token.
struct TokenAccess : Object {
  TokenAccess(ProcessId of, std::uint32_t with) : process(of), access(with) {}
  std::string_view kind() const override { return "token"; }
  ProcessId const process;
  std::uint32_t const access;  ///< the rights it was opened with
};

class Privileges {
 public:
  /// The number by which Windows knows a privilege ("SeDebugPrivilege", in any case); nothing for an unknown name.
  static std::optional<std::uint32_t> Number(std::u16string_view name);

  /// All that Windows knows, in the order of their numbers.
  static std::vector<std::string> Names();

  /// The account does not hold it.
  void Withhold(std::uint32_t number) { withheld_.insert(number); }
  /// Enables or disables one; false when the account does not hold it.
  bool Set(ProcessId process, std::uint32_t number, bool enabled);
  bool IsEnabled(ProcessId process, std::uint32_t number) const;

 private:
  std::map<ProcessId, std::set<std::uint32_t>> enabled_;
  std::set<std::uint32_t> withheld_;
};

}  // namespace tablet
