#include "sim/tablet/base/error_names.h"

#include <fmt/format.h>

#include <algorithm>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

using Family = ErrorName::Family;

constexpr ErrorName kNames[] = {
    {Family::kSystem, 1, "ERROR_INVALID_FUNCTION"},
    {Family::kSystem, 2, "ERROR_FILE_NOT_FOUND"},
    {Family::kSystem, 3, "ERROR_PATH_NOT_FOUND"},
    {Family::kSystem, 4, "ERROR_TOO_MANY_OPEN_FILES"},
    {Family::kSystem, 5, "ERROR_ACCESS_DENIED"},
    {Family::kSystem, 6, "ERROR_INVALID_HANDLE"},
    {Family::kSystem, 8, "ERROR_NOT_ENOUGH_MEMORY"},
    {Family::kSystem, 13, "ERROR_INVALID_DATA"},
    {Family::kSystem, 17, "ERROR_NOT_SAME_DEVICE"},
    {Family::kSystem, 18, "ERROR_NO_MORE_FILES"},
    {Family::kSystem, 19, "ERROR_WRITE_PROTECT"},
    {Family::kSystem, 21, "ERROR_NOT_READY"},
    {Family::kSystem, 22, "ERROR_BAD_COMMAND"},
    {Family::kSystem, 23, "ERROR_CRC"},
    {Family::kSystem, 24, "ERROR_BAD_LENGTH"},
    {Family::kSystem, 31, "ERROR_GEN_FAILURE"},
    {Family::kSystem, 32, "ERROR_SHARING_VIOLATION"},
    {Family::kSystem, 33, "ERROR_LOCK_VIOLATION"},
    {Family::kSystem, 38, "ERROR_HANDLE_EOF"},
    {Family::kSystem, 39, "ERROR_HANDLE_DISK_FULL"},
    {Family::kSystem, 80, "ERROR_FILE_EXISTS"},
    {Family::kSystem, 87, "ERROR_INVALID_PARAMETER"},
    {Family::kSystem, 112, "ERROR_DISK_FULL"},
    {Family::kSystem, 121, "ERROR_SEM_TIMEOUT"},
    {Family::kSystem, 122, "ERROR_INSUFFICIENT_BUFFER"},
    {Family::kSystem, 123, "ERROR_INVALID_NAME"},
    {Family::kSystem, 126, "ERROR_MOD_NOT_FOUND"},
    {Family::kSystem, 131, "ERROR_NEGATIVE_SEEK"},
    {Family::kSystem, 145, "ERROR_DIR_NOT_EMPTY"},
    {Family::kSystem, 161, "ERROR_BAD_PATHNAME"},
    {Family::kSystem, 183, "ERROR_ALREADY_EXISTS"},
    {Family::kSystem, 193, "ERROR_BAD_EXE_FORMAT"},
    {Family::kSystem, 203, "ERROR_ENVVAR_NOT_FOUND"},
    {Family::kSystem, 206, "ERROR_FILENAME_EXCED_RANGE"},
    {Family::kSystem, 234, "ERROR_MORE_DATA"},
    {Family::kSystem, 259, "ERROR_NO_MORE_ITEMS"},
    {Family::kSystem, 267, "ERROR_DIRECTORY"},
    {Family::kSystem, 299, "ERROR_PARTIAL_COPY"},
    {Family::kSystem, 317, "ERROR_MR_MID_NOT_FOUND"},
    {Family::kSystem, 995, "ERROR_OPERATION_ABORTED"},
    {Family::kSystem, 998, "ERROR_NOACCESS"},
    {Family::kSystem, 1008, "ERROR_NO_TOKEN"},
    {Family::kSystem, 1016, "ERROR_REGISTRY_IO_FAILED"},
    {Family::kSystem, 1018, "ERROR_KEY_DELETED"},
    {Family::kSystem, 1052, "ERROR_INVALID_SERVICE_CONTROL"},
    {Family::kSystem, 1053, "ERROR_SERVICE_REQUEST_TIMEOUT"},
    {Family::kSystem, 1055, "ERROR_SERVICE_DATABASE_LOCKED"},
    {Family::kSystem, 1056, "ERROR_SERVICE_ALREADY_RUNNING"},
    {Family::kSystem, 1058, "ERROR_SERVICE_DISABLED"},
    {Family::kSystem, 1060, "ERROR_SERVICE_DOES_NOT_EXIST"},
    {Family::kSystem, 1061, "ERROR_SERVICE_CANNOT_ACCEPT_CTRL"},
    {Family::kSystem, 1062, "ERROR_SERVICE_NOT_ACTIVE"},
    {Family::kSystem, 1063, "ERROR_FAILED_SERVICE_CONTROLLER_CONNECT"},
    {Family::kSystem, 1068, "ERROR_SERVICE_DEPENDENCY_FAIL"},
    {Family::kSystem, 1069, "ERROR_SERVICE_LOGON_FAILED"},
    {Family::kSystem, 1072, "ERROR_SERVICE_MARKED_FOR_DELETE"},
    {Family::kSystem, 1083, "ERROR_SERVICE_NOT_IN_EXE"},
    {Family::kSystem, 1113, "ERROR_NO_UNICODE_TRANSLATION"},
    {Family::kSystem, 1115, "ERROR_SHUTDOWN_IN_PROGRESS"},
    {Family::kSystem, 1117, "ERROR_IO_DEVICE"},
    {Family::kSystem, 1167, "ERROR_DEVICE_NOT_CONNECTED"},
    {Family::kSystem, 1168, "ERROR_NOT_FOUND"},
    {Family::kSystem, 1300, "ERROR_NOT_ALL_ASSIGNED"},
    {Family::kSystem, 1313, "ERROR_NO_SUCH_PRIVILEGE"},
    {Family::kSystem, 1314, "ERROR_PRIVILEGE_NOT_HELD"},
    {Family::kSystem, 1346, "ERROR_BAD_IMPERSONATION_LEVEL"},
    {Family::kSystem, 1349, "ERROR_BAD_TOKEN_TYPE"},
    {Family::kSystem, 1392, "ERROR_FILE_CORRUPT"},
    {Family::kSystem, 1450, "ERROR_NO_SYSTEM_RESOURCES"},
    {Family::kSystem, 1455, "ERROR_COMMITMENT_LIMIT"},
    {Family::kSystem, 1460, "ERROR_TIMEOUT"},
    {Family::kSystem, 1722, "RPC_S_SERVER_UNAVAILABLE"},
    {Family::kSystem, 1784, "ERROR_INVALID_USER_BUFFER"},
    {Family::kSystem, 1812, "ERROR_RESOURCE_DATA_NOT_FOUND"},
    {Family::kSystem, 1813, "ERROR_RESOURCE_TYPE_NOT_FOUND"},
    {Family::kConfigurationManager, 0x02, "CR_OUT_OF_MEMORY"},
    {Family::kConfigurationManager, 0x03, "CR_INVALID_POINTER"},
    {Family::kConfigurationManager, 0x04, "CR_INVALID_FLAG"},
    {Family::kConfigurationManager, 0x13, "CR_FAILURE"},
    {Family::kConfigurationManager, 0x1A, "CR_BUFFER_SMALL"},
    {Family::kConfigurationManager, 0x1D, "CR_REGISTRY_ERROR"},
    {Family::kConfigurationManager, 0x1F, "CR_INVALID_DATA"},
    {Family::kConfigurationManager, 0x32, "CR_NO_CM_SERVICES"},
    {Family::kConfigurationManager, 0x33, "CR_ACCESS_DENIED"},
    {Family::kConfigurationManager, 0x34, "CR_CALL_NOT_IMPLEMENTED"},
    {Family::kConfigurationManager, 0x37, "CR_NO_SUCH_DEVICE_INTERFACE"},
    {Family::kResult, 0x00000001, "S_FALSE"},
    {Family::kResult, 0x80004004, "E_ABORT"},
    {Family::kResult, 0x80004005, "E_FAIL"},
    {Family::kResult, 0x80070005, "E_ACCESSDENIED"},
    {Family::kResult, 0x80070006, "E_HANDLE"},
    {Family::kResult, 0x8007000E, "E_OUTOFMEMORY"},
    {Family::kResult, 0x80070057, "E_INVALIDARG"},
};

}  // namespace

std::span<const ErrorName> ErrorNames() { return kNames; }

std::optional<WinError> ErrorNumber(std::string_view name) {
  auto const found = std::ranges::find_if(
      kNames, [&](const ErrorName& known) { return EqualIgnoringCase(ToUtf16(known.name), ToUtf16(name)); });
  if (found == std::end(kNames)) return std::nullopt;
  return found->number;
}

std::string_view NameOfError(Family family, WinError number) {
  auto const found = std::ranges::find_if(
      kNames, [&](const ErrorName& known) { return known.family == family && known.number == number; });
  return found == std::end(kNames) ? std::string_view{} : found->name;
}

std::string DescribeError(Family family, WinError number) {
  constexpr WinError kFirstResult = 0x80000000;
  std::string const digits = number >= kFirstResult ? fmt::format("{:#x}", number) : fmt::format("{}", number);
  std::string_view const name = NameOfError(family, number);
  return name.empty() ? digits : fmt::format("{} ({})", name, digits);
}

}  // namespace tablet
