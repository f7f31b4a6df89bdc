#include "sim/tablet/system/privileges.h"

#include <algorithm>
#include <array>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

struct Privilege {
  std::u16string_view name;
  bool held;  ///< by the local system account
};

constexpr std::uint32_t kFirstNumber = 2;

/// In the order of their numbers.
constexpr std::array<Privilege, 35> kPrivileges{{
    {u"SeCreateTokenPrivilege", false},
    {u"SeAssignPrimaryTokenPrivilege", true},
    {u"SeLockMemoryPrivilege", true},
    {u"SeIncreaseQuotaPrivilege", true},
    {u"SeMachineAccountPrivilege", false},
    {u"SeTcbPrivilege", true},
    {u"SeSecurityPrivilege", true},
    {u"SeTakeOwnershipPrivilege", true},
    {u"SeLoadDriverPrivilege", true},
    {u"SeSystemProfilePrivilege", true},
    {u"SeSystemtimePrivilege", true},
    {u"SeProfileSingleProcessPrivilege", true},
    {u"SeIncreaseBasePriorityPrivilege", true},
    {u"SeCreatePagefilePrivilege", true},
    {u"SeCreatePermanentPrivilege", true},
    {u"SeBackupPrivilege", true},
    {u"SeRestorePrivilege", true},
    {u"SeShutdownPrivilege", true},
    {u"SeDebugPrivilege", true},
    {u"SeAuditPrivilege", true},
    {u"SeSystemEnvironmentPrivilege", true},
    {u"SeChangeNotifyPrivilege", true},
    {u"SeRemoteShutdownPrivilege", false},
    {u"SeUndockPrivilege", true},
    {u"SeSyncAgentPrivilege", false},
    {u"SeEnableDelegationPrivilege", false},
    {u"SeManageVolumePrivilege", true},
    {u"SeImpersonatePrivilege", true},
    {u"SeCreateGlobalPrivilege", true},
    {u"SeTrustedCredManAccessPrivilege", false},
    {u"SeRelabelPrivilege", false},
    {u"SeIncreaseWorkingSetPrivilege", true},
    {u"SeTimeZonePrivilege", true},
    {u"SeCreateSymbolicLinkPrivilege", true},
    {u"SeDelegateSessionUserImpersonatePrivilege", true},
}};

}  // namespace

std::optional<std::uint32_t> Privileges::Number(std::u16string_view name) {
  auto const found =
      std::ranges::find_if(kPrivileges, [&](const Privilege& p) { return EqualIgnoringCase(p.name, name); });
  if (found == kPrivileges.end()) return std::nullopt;
  return kFirstNumber + static_cast<std::uint32_t>(found - kPrivileges.begin());
}

std::vector<std::string> Privileges::Names() {
  std::vector<std::string> names;
  for (const Privilege& privilege : kPrivileges) names.push_back(ToUtf8(privilege.name));
  return names;
}

bool Privileges::Set(ProcessId process, std::uint32_t number, bool enabled) {
  if (number < kFirstNumber || number - kFirstNumber >= kPrivileges.size()) return false;
  if (!kPrivileges[number - kFirstNumber].held || withheld_.contains(number)) return false;
  if (enabled) {
    enabled_[process].insert(number);
  } else {
    enabled_[process].erase(number);
  }
  return true;
}

bool Privileges::IsEnabled(ProcessId process, std::uint32_t number) const {
  auto const found = enabled_.find(process);
  return found != enabled_.end() && found->second.contains(number);
}

}  // namespace tablet
