#include "kit/result/questions.h"

#include <algorithm>
#include <iterator>

namespace kit {

namespace {

constexpr Question kQuestions[] = {
    {"archive-always", "The attributes of a file after SetFileAttributesW without the archive bit.", "6; 128",
     Mode::kPlain},
    {"best-fit", "A character outside of code page 1252 with a similar one in it: does it become that one?", "33; 63",
     Mode::kPlain},
    {"cm-notify-present", "Does a registration for device interfaces report those that are there already?", "no",
     Mode::kPlain},
    {"cm-unregister-twice", "What CM_Unregister_Notification returns for a registration that has ended.", "19",
     Mode::kPlain},
    {"control-after-stop", "A control for a service that has accepted a stop and is STOP_PENDING.", "1061",
     Mode::kService},
    {"control-while-starting", "A control other than a stop for a service that is START_PENDING.", "1061",
     Mode::kService},
    {"device-no-count", "A device's request without an overlapped structure and without a place for the count.",
     "succeeds", Mode::kPlain},
    {"device-record-size", "Enumerating a device interface into a record with a wrong size.", "1784", Mode::kPlain},
    {"empty-desktop", "CreateProcessAsUserW from a service with an empty desktop name.", "starts", Mode::kService},
    {"enable-asynchronous", "After EnableTraceEx2 with time-out 0: is the provider enabled when the call returns?",
     "yes", Mode::kService},
    {"enable-second-session", "Which of two sessions that enable a classic provider gets its next message?",
     "the second", Mode::kService},
    {"enable-unknown-session", "What EnableTraceEx2 returns for an unknown session.", "6", Mode::kPlain},
    {"failure-actions-null", "Failure actions set again with null texts and no array: what is kept?",
     "86400; text; 2 actions", Mode::kService},
    {"february-29", "February 29 of a common year as a file time.", "87", Mode::kPlain},
    {"find-closed", "FindClose on a search that is closed.", nullptr, Mode::kPlain},
    {"first-status", "Check point and wait hint of a started service before its first report.", "0; 2000",
     Mode::kService},
    {"folder-on-no-drive", "Making a folder on a drive that does not exist.", "3", Mode::kPlain},
    {"heap-last-error", "The last error after a HeapAlloc that failed; it was 77 before.", "77", Mode::kPlain},
    {"long-key-name", "Creating a registry key whose name has 256 characters.", "87", Mode::kPlain},
    {"long-paths", "A folder's path of 248 characters; a file's of 260.", "206; 3", Mode::kPlain},
    {"making-the-root", "Making the folder C:\\.", "5", Mode::kPlain},
    {"pattern-dot", "What a search for *. finds.", "., .., plain", Mode::kPlain},
    {"pattern-question-mark", "What searches for a???.? and ? find.", "ab.c; nothing", Mode::kPlain},
    {"power-setting-first", "Is the present value of a power setting sent when a service registers for it?", "no",
     Mode::kService},
    {"preshutdown-by-hand", "ControlService with the preshutdown code.", nullptr, Mode::kService},
    {"read-only-and-hidden", "The attributes of a file made read-only and hidden.", "35", Mode::kPlain},
    {"read-only-as-root", "Opening a read-only file for writing, in three ways.", "5; 5; 5", Mode::kPlain},
    {"registry-deep-key", "Creating 600 keys, each below the last: how many can be made?", nullptr, Mode::kPlain},
    {"registry-long-value-name", "Setting a value whose name has 16384 characters.", "0", Mode::kPlain},
    {"renaming-case", "The name of a file moved onto its own name in other letters.", "A.dmp", Mode::kPlain},
    {"replacing-attributes", "The attributes of a file that CREATE_ALWAYS replaced with read-only requested.", "33",
     Mode::kPlain},
    {"replacing-case", "The name of a file that CREATE_ALWAYS replaced under a name in other letters.", "Name.bin",
     Mode::kPlain},
    {"replacing-hidden", "CREATE_ALWAYS for a hidden file without that bit in the request.", "5", Mode::kPlain},
    {"reserved-names", "Whether NUL, COM1.txt and aux.bin in a folder are devices or files.", nullptr, Mode::kPlain},
    {"search-in-a-file", "A search in a file as if it were a folder.", "267", Mode::kPlain},
    {"serial-controls", "A control that a service's handler sends to another service.", "0 at once", Mode::kService},
    {"serial-start", "A StartService for another service from inside a handler.", "0 at once", Mode::kService},
    {"session-counts", "What a started session reports of its buffers, requested with 2 at least and 0 at most.",
     "2; 22", Mode::kService},
    {"set-times-right", "SetFileTime through a handle that only reads.", "5", Mode::kPlain},
    {"set-times-stay", "Whether a time that was set stays when the same handle writes later.", "yes", Mode::kPlain},
    {"sharing-while-replacing", "CREATE_ALWAYS with the right to read for a file that a reader holds open.", "32; x",
     Mode::kPlain},
    {"short-names", "What a search for *.dmp finds beside modem.dmpx.", "nothing", Mode::kPlain},
    {"status-after-stopped", "A status reported after STOPPED.", nullptr, Mode::kService},
    {"stop-that-fails", "A control for a service that went back to RUNNING after a stop.", "1061", Mode::kService},
    {"stop-while-starting", "A stop for a service that is START_PENDING and does not accept it.", "1052",
     Mode::kService},
    {"streams", "Creating a file whose name has a colon: ab:c.", "123", Mode::kPlain},
    {"system-messages", "The system's text of error 2.", "The system cannot find the file specified.\r\n",
     Mode::kPlain},
    {"truncating-a-reader", "TRUNCATE_EXISTING without the right to write.", "87", Mode::kPlain},
    {"unregister-callback", "Does UnregisterTraceGuids call the callback of an enabled provider?", "no",
     Mode::kService},
    {"utf8-default-character", "WideCharToMultiByte to UTF-8 with a place for the default character: result, error.",
     "0; 87", Mode::kPlain},
    {"utf8-replacements", "How many characters three kinds of damaged UTF-8 become.", "1; 1; 1", Mode::kPlain},
    {"version-size", "GetFileVersionInfoSizeW: twice the resource's length, and how much more.", "4", Mode::kPlain},
};

}  // namespace

std::span<const Question> Questions() { return kQuestions; }

const Question* FindQuestion(std::string_view name) {
  auto const* const found =
      std::ranges::find_if(kQuestions, [name](const Question& question) { return question.name == name; });
  return found == std::end(kQuestions) ? nullptr : found;
}

}  // namespace kit
