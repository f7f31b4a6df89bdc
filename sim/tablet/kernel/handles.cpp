#include "sim/tablet/kernel/handles.h"

#include <algorithm>
#include <utility>

namespace tablet {

HandleValue HandleTable::Add(std::shared_ptr<Object> object) {
  HandleValue const handle = next_;
  next_ += 4;
  entries_.push_back({handle, scheduler_.current_process(), std::move(object)});
  return handle;
}

std::vector<HandleTable::Entry>::const_iterator HandleTable::Search(HandleValue handle) const {
  auto const at = std::lower_bound(entries_.begin(), entries_.end(), handle,
                                   [](const Entry& entry, HandleValue value) { return entry.handle < value; });
  return at != entries_.end() && at->handle == handle ? at : entries_.end();
}

std::shared_ptr<Object> HandleTable::Find(HandleValue handle) const {
  auto const entry = Search(handle);
  return entry == entries_.end() ? nullptr : entry->object;
}

OpenFile* HandleTable::SearchFile(HandleValue handle) const {
  auto const entry = Search(handle);
  if (entry == entries_.end()) return nullptr;
  last_file_ = entry->object->AsFile();
  last_ = handle;
  return last_file_;
}

bool HandleTable::Close(HandleValue handle) {
  auto const entry = Search(handle);
  if (entry == entries_.end()) return false;
  ForgetLast();
  entries_.erase(entry);
  return true;
}

void HandleTable::CloseAllOf(ProcessId process) {
  ForgetLast();
  std::erase_if(entries_, [&](const Entry& entry) { return entry.process == process; });
}

std::vector<std::string> HandleTable::OpenKinds(ProcessId process) const {
  std::vector<std::string> kinds;
  for (const Entry& entry : entries_) {
    if (entry.process == process) kinds.emplace_back(entry.object->kind());
  }
  return kinds;
}

}  // namespace tablet
