// The Windows error numbers that the tablet's parts give. The tablet knows no Windows header; these are its own names.
#pragma once

#include <cstdint>

namespace tablet {

using WinError = std::uint32_t;

inline constexpr WinError kSuccess = 0;
inline constexpr WinError kInvalidFunction = 1;
inline constexpr WinError kFileNotFound = 2;
inline constexpr WinError kPathNotFound = 3;
inline constexpr WinError kAccessDenied = 5;
inline constexpr WinError kInvalidHandle = 6;
inline constexpr WinError kNotEnoughMemory = 8;
inline constexpr WinError kNoMoreFiles = 18;
inline constexpr WinError kSharingViolation = 32;
inline constexpr WinError kFileExists = 80;
inline constexpr WinError kInvalidParameter = 87;
inline constexpr WinError kDiskFull = 112;
inline constexpr WinError kInsufficientBuffer = 122;
inline constexpr WinError kInvalidName = 123;
inline constexpr WinError kNegativeSeek = 131;
inline constexpr WinError kDirNotEmpty = 145;
inline constexpr WinError kBadPathName = 161;
inline constexpr WinError kAlreadyExists = 183;
inline constexpr WinError kBadExeFormat = 193;
inline constexpr WinError kEnvironmentVariableNotFound = 203;
inline constexpr WinError kFilenameTooLong = 206;
inline constexpr WinError kMoreData = 234;
inline constexpr WinError kNoMoreItems = 259;
inline constexpr WinError kDirectory = 267;
inline constexpr WinError kKeyDeleted = 1018;
inline constexpr WinError kInvalidServiceControl = 1052;
inline constexpr WinError kServiceRequestTimeout = 1053;
inline constexpr WinError kServiceCannotAcceptControl = 1061;
inline constexpr WinError kServiceNotActive = 1062;
inline constexpr WinError kControllerConnectFailed = 1063;
inline constexpr WinError kIoDevice = 1117;
inline constexpr WinError kBadTokenType = 1349;
inline constexpr WinError kResourceDataNotFound = 1812;
inline constexpr WinError kResourceTypeNotFound = 1813;

}  // namespace tablet
