// Which calls of the Windows API there are to fail, how a failure of each shows, and what each plausibly fails with:
// the one list that faults on the command line, in stories and in sweeps are drawn from.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/error_names.h"
#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/faults.h"

namespace tablet {

/// How a caller sees that a call failed. The error is the last error unless noted otherwise.
enum class Failure {
  kNever,             ///< the call cannot fail
  kFalse,             ///< FALSE
  kNull,              ///< a null handle or pointer
  kInvalidHandle,     ///< INVALID_HANDLE_VALUE
  kZero,              ///< a count or length of 0
  kAllOnes,           ///< INVALID_FILE_ATTRIBUTES or INVALID_SET_FILE_POINTER: 0xFFFFFFFF
  kWaitFailed,        ///< WAIT_FAILED: 0xFFFFFFFF
  kInvalidTrace,      ///< INVALID_PROCESSTRACE_HANDLE
  kItsArgument,       ///< the block that was to be freed
  kStatus,            ///< the error itself, as the registry's calls return it (LSTATUS, ULONG, DWORD)
  kConfigRet,         ///< the error itself, a CONFIGRET
  kResult,            ///< the error itself as an HRESULT; a system error becomes 0x8007xxxx, S_FALSE is a success
  kAnswerOfFirmware,  ///< not a call: the status that the firmware driver returns with a request that succeeds
                      ///< (Pstatus)
  kNoMemory           ///< not a call: a request of the service for memory, which throws or returns null (allocation)
};

/// The name of Failure::kNoMemory. Only the service's library asks for it, not the service within the program.
inline constexpr std::string_view kAllocation = "allocation";

struct CatalogedCall {
  std::string_view name;  ///< Windows' own name, "Pstatus" or "allocation"
  Failure failure;
  std::vector<WinError> errors;  ///< the likeliest first; empty for calls that cannot fail
};

/// Every call of the stand-in, by area and name.
std::span<const CatalogedCall> FaultCatalog();

/// Null for a name that is not in the catalogue; names are as Windows writes them.
const CatalogedCall* FindCataloged(std::string_view name);

/// "FALSE", "INVALID_HANDLE_VALUE", "the error code": for people.
std::string_view DescribeFailure(Failure failure);

/// Which names the errors of a call that fails so have.
ErrorName::Family FamilyOf(Failure failure);

/// A fault as people write it: CALL[@WHEN][:ERROR].
///
///   CALL    a name of the catalogue
///   WHEN    which occurrence: "3", "3-5", "3+" (it and all later ones) or "all"; all without it
///   ERROR   a number (5, 0x80004005) or Windows' name for it; without it the first of the catalogue
///
/// Throws InputError: an unknown call or error (with what was probably meant), a call that cannot fail, a malformed
/// occurrence.
Fault ParseFault(std::string_view text);

/// The same fault as text again: "ReadFile@3:ERROR_CRC".
std::string WriteFault(const Fault& fault);

}  // namespace tablet
