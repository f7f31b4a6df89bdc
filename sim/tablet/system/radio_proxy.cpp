#include "sim/tablet/system/radio_proxy.h"

#include <fmt/format.h>

namespace tablet {

class RadioProxy::Connection final : public Object {
 public:
  explicit Connection(Client client) : client_(std::move(client)) {}
  std::string_view kind() const override { return "radio connection"; }

  void Result(bool with_context) {
    Deliver([&] { client_.on_result(with_context); });
  }
  void News(bool with_context) {
    Deliver([&] { client_.on_notify(with_context); });
  }
  void Release() { released_ = true; }
  bool running() const { return running_ != 0; }

 private:
  template <typename Callback>
  void Deliver(const Callback& callback) {
    if (released_) return;
    ++running_;
    callback();
    HappensBefore(this);
    --running_;
  }

  Client client_;
  bool released_ = false;
  std::uint32_t running_ = 0;  ///< callbacks on their way
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
    scheduler_.Start(
        scheduler_.current_process(), "radio news",
        [connection, count = description_.notifications, with_context = !description_.notifications_null_context] {
          OutsideProduct const outside;
          for (std::uint32_t i = 0; i < count; ++i) connection->News(with_context);
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
    OutsideProduct const outside;
    scheduler_.Sleep(description_.answer_after);
    if (description_.answers_null_context) connection->Result(false);
    for (std::uint32_t i = 0; i < description_.answers; ++i) connection->Result(true);
  });
  return true;
}

bool RadioProxy::Release(HandleValue handle) {
  auto const connection = handles_.Get<Connection>(handle);
  if (!connection) return false;
  ++releases_;
  connection->Release();
  handles_.Close(handle);
  scheduler_.Wait(kForever, [connection] { return !connection->running(); });
  HappensAfter(connection.get());
  journal_.Note("radio layer released");
  return true;
}

}  // namespace tablet
