#include <windows.h>
// windows.h stands first, as everywhere.
#include "cli/archive/archive_trial.h"

#include <charconv>
#include <memory>
#include <utility>

#include "cli/boot/call_text.h"
#include "sim/tablet/base/text.h"
#include "vantord/modem/image_selector.h"

namespace cli {

namespace {

constexpr WCHAR kTargetFolder[] = TEXT("c:\\windows\\system32\\");

/// Follows the extraction by its calls and messages.
class Follower {
 public:
  Follower(Trial& trial, std::string archive) : trial_(trial), archive_(std::move(archive)) {}

  void OnCall(const tablet::CallEvent& call) {
    if (call.name == "_vsnwprintf") return OnMessage(call.args);
    if (!trial_.opened) return;
    // The first question about attributes is the service's own, for the whole target; folders on the way come later.
    if (call.name == "GetFileAttributesW" && !within_) {
      trial_.entries.push_back({FirstQuoted(call.args), {}, 0, std::nullopt});
      within_ = true;
    } else if (call.name == "CreateFileW" && within_) {
      trial_.entries.back().created = FirstQuoted(call.args);
      if (call.result == "0xffffffffffffffff") trial_.entries.back().create_error = call.last_error;
    }
  }

 private:
  void OnMessage(std::string_view text) {
    constexpr std::string_view kStatus = ":269 : Unzipping status ";
    if (EndsWithIgnoringCase(text, ":247 : Unzipping " + archive_)) trial_.opened = true;
    std::size_t const at = text.find(kStatus);
    if (at == std::string_view::npos || !within_) return;
    std::uint32_t code = 0;
    std::from_chars(text.data() + at + kStatus.size(), text.data() + text.size(), code, 16);
    trial_.entries.back().code = code;
    within_ = false;
  }

  Trial& trial_;
  std::string archive_;
  bool within_ = false;
};

}  // namespace

void Try(tablet::Tablet& machine, const std::string& archive, Trial& trial) {
  auto const follower = std::make_shared<Follower>(trial, archive);
  machine.journal().WantCalls(true);
  machine.journal().Listen([follower, &trial](const tablet::Event& event) {
    if (trial.ended) return;
    if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) follower->OnCall(*call);
  });
  std::u16string const path = tablet::ToUtf16(archive);
  machine.scheduler().Start(1, "lint", [&] {
    CImageSelector selector;
    trial.complete = selector.UnzipBinary(path.c_str(), kTargetFolder) != 0;
    trial.ended = true;
  });
  machine.scheduler().Wait(tablet::kForever, [&] { return trial.ended; });
  if (const auto& halt = machine.scheduler().halted(); !trial.ended && halt) trial.not_modelled = halt->message;
}

}  // namespace cli
