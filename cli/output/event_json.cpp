#include "cli/output/event_json.h"

#include "cli/base/json_text.h"

namespace cli {

using nlohmann::ordered_json;

namespace {

struct Fields {
  ordered_json& out;

  void operator()(const tablet::TraceEvent& message) const {
    if (!message.function.empty()) out["function"] = message.function;
    if (message.line) out["line"] = *message.line;
    out["text"] = message.text;
    out["guid"] = message.guid;
  }
  void operator()(const tablet::StatusEvent& status) const {
    out["state"] = status.state;
    out["controls_accepted"] = status.controls_accepted;
    out["exit_code"] = status.exit_code;
    out["check_point"] = status.check_point;
  }
  void operator()(const tablet::Happening& happening) const { out["text"] = happening.text; }
  void operator()(const tablet::DebuggerEvent& debugger) const { out["text"] = debugger.text; }
  void operator()(const tablet::CallEvent& call) const {
    out["name"] = call.name;
    out["args"] = call.args;
    out["result"] = call.result;
    out["last_error"] = call.last_error;
  }
};

}  // namespace

ordered_json ToJson(const tablet::Event& event, std::uint64_t seq) {
  ordered_json out{{"seq", seq},
                   {"time_ms", event.time.count()},
                   {"thread", event.thread},
                   {"kind", tablet::KindOf(event)},
                   {"call", event.call}};
  std::visit(Fields{out}, event.what);
  return out;
}

void EventFile::Write(const tablet::Event& event) {
  if (!with_calls_ && std::holds_alternative<tablet::CallEvent>(event.what)) return;
  out_.Write(JsonText(ToJson(event, ++seq_)) + '\n');
}

}  // namespace cli
