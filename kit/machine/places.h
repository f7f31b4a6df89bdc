// What the kit touches on a machine: one folder, one key, two services and two trace sessions, all under its own names.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace kit {

inline constexpr const WCHAR* kKey = L"Software\\VantordCheck";  ///< below HKEY_CURRENT_USER
inline constexpr const WCHAR* kFirstService = L"VantordCheckA";
inline constexpr const WCHAR* kSecondService = L"VantordCheckB";
inline constexpr const WCHAR* kFirstSession = L"VantordCheck-1";
inline constexpr const WCHAR* kSecondSession = L"VantordCheck-2";

/// The folder, without a backslash at its end: "vantord-check" in the user's folder for temporary files.
const std::wstring& Folder();
/// The path of this program.
std::wstring OwnPath();

std::string ToUtf8(const std::wstring& text);
std::wstring ToWide(const std::string& text);

/// Removes a folder with all that is in it, whatever its length and its attributes. True if it is gone.
bool RemoveFolder(const std::wstring& folder);
/// Removes everything listed above that exists, also what an earlier run left. Each line of the result names something
/// that could not be removed. Services and sessions need an administrator; without one, those that exist are named.
std::string CleanUp();

/// A file read whole; empty if it cannot be read. Others may be writing to it.
std::string ReadFileText(const std::wstring& path);
/// Replaces a file. False on failure.
bool WriteFileText(const std::wstring& path, const std::string& text);
/// Appends to a file that others may append to.
void AppendText(const std::wstring& path, const std::string& text);

/// What `value` becomes as a field of a line of notes: no tabs and no line ends; and back.
std::string Field(const std::string& value);
std::string FromField(const std::string& field);
/// The values of a line's first `count` fields, which tabs separate; missing ones are empty.
std::vector<std::string> Fields(const std::string& line, std::size_t count);

}  // namespace kit
