#include "tablet/radio_proxy.h"

#include <fmt/format.h>

namespace tablet {

class RadioProxy::Connection final : public Object {
 public:
  explicit Connection(Client client) : client(std::move(client)) {}
  std::string_view kind() const override { return "radio connection"; }
  Client client;
  bool released = false;
};

RadioProxy::RadioProxy(const RadioDescription& description, Scheduler& scheduler, Journal& journal,
                       HandleTable& handles)
    : description_(description), scheduler_(scheduler), journal_(journal), handles_(handles) {}

bool RadioProxy::Connect(Client client, HandleValue& handle) {
  if (++attempts_ <= description_.failing_attempts) return false;
  journal_.Note(fmt::format("radio layer connected at attempt {}", attempts_));
  auto connection = std::make_shared<Connection>(std::move(client));
  handle = handles_.Add(connection);
  if (description_.notifications != 0) {
    scheduler_.Start(scheduler_.current_process(), "radio news", [connection, count = description_.notifications] {
      for (std::uint32_t i = 0; i < count && !connection->released; ++i) connection->client.on_notify();
    });
  }
  return true;
}

bool RadioProxy::Command(HandleValue handle, std::uint32_t value) {
  auto const connection = handles_.Get<Connection>(handle);
  if (!connection) return false;
  ++commands_;
  journal_.Note(fmt::format("radio layer receives the command with value {}", value));
  if (description_.answers == 0 && !description_.answers_null_context) return true;
  scheduler_.Start(scheduler_.current_process(), "radio", [this, connection] {
    scheduler_.Sleep(description_.answer_after);
    if (description_.answers_null_context && !connection->released) connection->client.on_result(false);
    for (std::uint32_t i = 0; i < description_.answers && !connection->released; ++i) {
      connection->client.on_result(true);
    }
  });
  return true;
}

bool RadioProxy::Release(HandleValue handle) {
  auto const connection = handles_.Get<Connection>(handle);
  if (!connection) return false;
  ++releases_;
  connection->released = true;
  handles_.Close(handle);
  journal_.Note("radio layer released");
  return true;
}

}  // namespace tablet
