#include "tablet/handles.h"

#include <utility>

namespace tablet {

HandleValue HandleTable::Add(std::shared_ptr<Object> object) {
  HandleValue const handle = next_;
  next_ += 4;
  entries_.emplace(handle, Entry{scheduler_.current_process(), std::move(object)});
  return handle;
}

std::shared_ptr<Object> HandleTable::Find(HandleValue handle) const {
  auto const entry = entries_.find(handle);
  return entry == entries_.end() ? nullptr : entry->second.object;
}

Object* HandleTable::Look(HandleValue handle) const {
  if (handle == looked_at_ && handle != 0) return seen_;
  auto const entry = entries_.find(handle);
  if (entry == entries_.end()) return nullptr;
  looked_at_ = handle;
  seen_ = entry->second.object.get();
  return seen_;
}

bool HandleTable::Close(HandleValue handle) {
  looked_at_ = 0;
  return entries_.erase(handle) != 0;
}

void HandleTable::CloseAllOf(ProcessId process) {
  looked_at_ = 0;
  std::erase_if(entries_, [&](const auto& entry) { return entry.second.process == process; });
}

std::vector<std::string> HandleTable::OpenKinds(ProcessId process) const {
  std::vector<std::string> kinds;
  for (const auto& [handle, entry] : entries_) {
    if (entry.process == process) kinds.emplace_back(entry.object->kind());
  }
  return kinds;
}

}  // namespace tablet
