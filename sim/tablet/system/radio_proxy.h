// The radio interface layer's proxy, played by description. It calls its clients back on threads of its own.
#pragma once

#include <cstdint>
#include <functional>

#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/journal.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

struct RadioDescription {
  static constexpr std::uint32_t kAlways = UINT32_MAX;

  std::uint32_t failing_attempts = 0;       ///< how many connections fail before one succeeds
  std::uint32_t notifications = 0;          ///< unsolicited news sent once connected
  std::uint32_t answers = 1;                ///< completions sent for the command: 0 never, 2 twice
  Millis answer_after{0};                   ///< from the command to its first completion
  bool answers_null_context = false;        ///< a completion without the client's context comes before the others
  bool notifications_null_context = false;  ///< the news come without the client's context
};

class RadioProxy {
 public:
  /// What a client gave when it connected.
  struct Client {
    std::function<void(bool with_context)> on_result;
    std::function<void(bool with_context)> on_notify;
  };

  RadioProxy(const RadioDescription& description, Scheduler& scheduler, Journal& journal, HandleTable& handles);

  /// False when this attempt fails.
  bool Connect(Client client, HandleValue& handle);
  /// False for a handle that is not connected.
  bool Command(HandleValue handle, std::uint32_t value);
  /// Ends the connection: waits for a callback that runs, drops those that are still to come.
  bool Release(HandleValue handle);

  std::uint32_t attempts() const { return attempts_; }
  std::uint32_t commands() const { return commands_; }
  std::uint32_t releases() const { return releases_; }

 private:
  class Connection;

  RadioDescription description_;
  Scheduler& scheduler_;
  Journal& journal_;
  HandleTable& handles_;
  std::uint32_t attempts_ = 0;
  std::uint32_t commands_ = 0;
  std::uint32_t releases_ = 0;
};

}  // namespace tablet
