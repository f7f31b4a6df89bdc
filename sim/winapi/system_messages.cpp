#include "sim/winapi/system_messages.h"

#include <algorithm>

namespace win32 {

namespace {

struct Message {
  tablet::WinError error;
  std::u16string_view text;
};

// The errors that the stand-in gives, ordered by number.
constexpr Message kMessages[] = {
    {0, u"The operation completed successfully.\r\n"},
    {1, u"Incorrect function.\r\n"},
    {2, u"The system cannot find the file specified.\r\n"},
    {3, u"The system cannot find the path specified.\r\n"},
    {5, u"Access is denied.\r\n"},
    {6, u"The handle is invalid.\r\n"},
    {8, u"Not enough memory resources are available to process this command.\r\n"},
    {9, u"The storage control block address is invalid.\r\n"},
    {10, u"The environment is incorrect.\r\n"},
    {18, u"There are no more files.\r\n"},
    {24, u"The program issued a command but the command length is incorrect.\r\n"},
    {32, u"The process cannot access the file because it is being used by another process.\r\n"},
    {38, u"Reached the end of the file.\r\n"},
    {80, u"The file exists.\r\n"},
    {87, u"The parameter is incorrect.\r\n"},
    {112, u"There is not enough space on the disk.\r\n"},
    {122, u"The data area passed to a system call is too small.\r\n"},
    {123, u"The filename, directory name, or volume label syntax is incorrect.\r\n"},
    {131, u"An attempt was made to move the file pointer before the beginning of the file.\r\n"},
    {145, u"The directory is not empty.\r\n"},
    {183, u"Cannot create a file when that file already exists.\r\n"},
    {203, u"The system could not find the environment option that was entered.\r\n"},
    {206, u"The filename or extension is too long.\r\n"},
    {234, u"More data is available.\r\n"},
    {259, u"No more data is available.\r\n"},
    {267, u"The directory name is invalid.\r\n"},
    {1018, u"Illegal operation attempted on a registry key that has been marked for deletion.\r\n"},
    {1061, u"The service cannot accept control messages at this time.\r\n"},
    {1062, u"The service has not been started.\r\n"},
    {1063, u"The service process could not connect to the service controller.\r\n"},
    {1083, u"The executable program that this service is configured to run in does not implement the service.\r\n"},
    {1113, u"No mapping for the Unicode character exists in the target multi-byte code page.\r\n"},
    {1117, u"The request could not be performed because of an I/O device error.\r\n"},
    {1300, u"Not all privileges or groups referenced are assigned to the caller.\r\n"},
    {1313, u"A specified privilege does not exist.\r\n"},
    {1812, u"The specified image file did not contain a resource section.\r\n"},
    {1813, u"The specified resource type cannot be found in the image file.\r\n"},
};

}  // namespace

std::optional<std::u16string_view> SystemMessage(tablet::WinError error) {
  auto const found = std::lower_bound(std::begin(kMessages), std::end(kMessages), error,
                                      [](const Message& message, tablet::WinError e) { return message.error < e; });
  if (found == std::end(kMessages) || found->error != error) return std::nullopt;
  return found->text;
}

}  // namespace win32
