#include "sim/tablet/registry/registry.h"

#include <algorithm>
#include <map>
#include <utility>

namespace tablet {

namespace {

/// Rights that change a key: set value, create sub-key, create link, delete, change security or owner.
constexpr std::uint32_t kWritingRights = 0xD0026;

/// The names of a path. Doubled and trailing separators count for nothing, as in Windows.
std::vector<std::u16string_view> Split(std::u16string_view path) {
  std::vector<std::u16string_view> names;
  while (!path.empty()) {
    std::size_t const length = std::min(path.find(u'\\'), path.size());
    if (length != 0) names.push_back(path.substr(0, length));
    path.remove_prefix(std::min(length + 1, path.size()));
  }
  return names;
}

std::u16string Join(std::u16string_view path, std::u16string_view name) {
  std::u16string joined(path);
  if (!joined.empty() && !name.empty()) joined += u'\\';
  joined += name;
  return joined;
}

}  // namespace

class RegistryKey {
 public:
  struct NamedValue {
    std::u16string name;
    RegistryValue data;
  };

  explicit RegistryKey(std::u16string name) : name(std::move(name)) {}

  std::shared_ptr<RegistryKey> Child(std::u16string_view child) const {
    auto const found = keys.find(FoldCase(child));
    if (found != keys.end()) return found->second;
    auto const link = links.find(FoldCase(child));
    return link == links.end() ? nullptr : Child(link->second.second);
  }

  std::shared_ptr<RegistryKey> MakeChild(std::u16string_view child) {
    auto const link = links.find(FoldCase(child));
    if (link != links.end()) child = link->second.second;
    std::shared_ptr<RegistryKey>& place = keys[FoldCase(child)];
    if (place == nullptr) place = std::make_shared<RegistryKey>(std::u16string(child));
    return place;
  }

  const RegistryValue* Value(std::u16string_view value) const {
    auto const found = values.find(FoldCase(value));
    return found == values.end() ? nullptr : &found->second.data;
  }

  void SetValue(std::u16string_view value, RegistryValue data) {
    auto const [place, added] = values.try_emplace(FoldCase(value), NamedValue{std::u16string(value), {}});
    place->second.data = std::move(data);
  }

  /// Handles that are still open on it, or on a key below it, find out.
  void MarkDeleted() {
    deleted = true;
    for (auto& [folded, child] : keys) child->MarkDeleted();
  }

  std::shared_ptr<RegistryKey> Copy() const {
    auto copy = std::make_shared<RegistryKey>(name);
    copy->values = values;
    copy->links = links;
    for (const auto& [folded, child] : keys) copy->keys.emplace(folded, child->Copy());
    return copy;
  }

  std::u16string name;                                          ///< as first written
  std::map<std::u16string, std::shared_ptr<RegistryKey>> keys;  ///< by folded name
  std::map<std::u16string, NamedValue> values;                  ///< by folded name
  bool deleted = false;

  /// Links to sub-keys, by folded name: the name, and the sub-key that it leads to.
  std::map<std::u16string, std::pair<std::u16string, std::u16string>> links;
};

class Registry::Implementation {
 public:
  std::shared_ptr<RegistryKey> Find(std::u16string_view path) const {
    std::shared_ptr<RegistryKey> key = root;
    for (std::u16string_view const name : Split(path)) {
      key = key->Child(name);
      if (key == nullptr) return nullptr;
    }
    return key;
  }

  std::shared_ptr<RegistryKey> Make(std::u16string_view path) {
    std::shared_ptr<RegistryKey> key = root;
    for (std::u16string_view const name : Split(path)) key = key->MakeChild(name);
    return key;
  }

  /// A folded path with the link in it, if any, replaced by its target: links lie right below the top keys.
  std::u16string Followed(const std::u16string& path) const {
    std::vector<std::u16string_view> const names = Split(path);
    std::shared_ptr<RegistryKey> const top = names.size() < 2 ? nullptr : root->Child(names[0]);
    auto const link = top == nullptr ? decltype(top->links)::iterator{} : top->links.find(std::u16string(names[1]));
    if (top == nullptr || link == top->links.end()) return path;
    std::u16string followed = Join(names[0], FoldCase(link->second.second));
    for (std::size_t i = 2; i < names.size(); ++i) followed = Join(followed, names[i]);
    return followed;
  }

  /// The strictest guard on the key of this path or on one above it, whether or not the keys exist.
  KeyGuard GuardOf(std::u16string_view path) const {
    std::u16string const folded = FoldCase(path);
    KeyGuard strictest = KeyGuard::kNone;
    for (const auto& [written, guard] : guards) {
      std::u16string const guarded = Followed(written);
      bool const below = guarded.empty() || folded.starts_with(guarded + u'\\');
      if (below || folded == guarded) strictest = std::max(strictest, guard);
    }
    return strictest;
  }

  /// Where a call's path leads: the deepest key that exists, its path, and the names that are missing below it.
  struct Place {
    std::shared_ptr<RegistryKey> key;
    std::u16string path;
    std::vector<std::u16string_view> missing;
  };

  WinError Locate(const OpenKey* base, std::u16string_view path, Place& out) const {
    if (base != nullptr && base->key()->deleted) return kKeyDeleted;
    if (path.starts_with(u'\\')) return kBadPathName;
    out.key = base == nullptr ? root : base->key();
    out.path = base == nullptr ? u"" : base->path();
    for (std::u16string_view const name : Split(path)) {
      if (name.size() > kLongestKeyName) return kInvalidParameter;
      std::shared_ptr<RegistryKey> const child = out.missing.empty() ? out.key->Child(name) : nullptr;
      if (child == nullptr) {
        out.missing.push_back(name);
      } else {
        out.key = child;
        out.path = Join(out.path, child->name);
      }
    }
    return kSuccess;
  }

  /// What the guards say to opening the key at a place, or to making it where something is missing.
  WinError Admit(const Place& place, std::uint32_t access) const {
    std::u16string whole = place.path;
    for (std::u16string_view const name : place.missing) whole = Join(whole, name);
    KeyGuard const guard = GuardOf(whole);
    bool const writes = (access & kWritingRights) != 0;
    if (guard == KeyGuard::kDenied || (guard == KeyGuard::kReadOnly && writes)) return kAccessDenied;
    return kSuccess;
  }

  std::shared_ptr<RegistryKey> root = std::make_shared<RegistryKey>(u"");
  std::vector<std::pair<std::u16string, KeyGuard>> guards;  ///< folded paths
};

namespace {

WinError Check(const OpenKey& key, std::uint32_t right) {
  if (key.key()->deleted) return kKeyDeleted;
  return (key.access() & right) == 0 ? kAccessDenied : kSuccess;
}

}  // namespace

Registry::Registry() : state_(std::make_unique<Implementation>()) {}
Registry::~Registry() = default;

WinError Registry::Create(const OpenKey* base, std::u16string_view path, std::uint32_t access,
                          std::shared_ptr<OpenKey>& out, bool& existed) {
  Implementation::Place place;
  if (WinError const error = state_->Locate(base, path, place); error != kSuccess) return error;
  existed = place.missing.empty();
  // A guarded key takes no new keys, whatever rights the caller asks for on the key it makes.
  std::uint32_t const needed = existed ? access : access | kKeyCreateSubKey;
  if (WinError const error = state_->Admit(place, needed); error != kSuccess) return error;
  for (std::u16string_view const name : place.missing) {
    place.key = place.key->MakeChild(name);
    place.path = Join(place.path, name);
  }
  out = std::make_shared<OpenKey>(place.key, place.path, access);
  return kSuccess;
}

WinError Registry::Open(const OpenKey* base, std::u16string_view path, std::uint32_t access,
                        std::shared_ptr<OpenKey>& out) {
  Implementation::Place place;
  if (WinError const error = state_->Locate(base, path, place); error != kSuccess) return error;
  if (WinError const error = state_->Admit(place, place.missing.empty() ? access : 0); error != kSuccess) return error;
  if (!place.missing.empty()) return kFileNotFound;
  out = std::make_shared<OpenKey>(place.key, place.path, access);
  return kSuccess;
}

WinError Registry::Query(const OpenKey& key, std::u16string_view value, RegistryValue& out) {
  WinError error = Check(key, kKeyQueryValue);
  RegistryValue data;
  if (error == kSuccess) {
    if (const RegistryValue* const found = key.key()->Value(value)) {
      data = *found;
    } else {
      error = kFileNotFound;
    }
  }
  if (on_query) on_query(key.path(), value, error, data);
  if (error == kSuccess) out = std::move(data);
  return error;
}

WinError Registry::Set(const OpenKey& key, std::u16string_view value, RegistryValue data) {
  if (WinError const error = Check(key, kKeySetValue); error != kSuccess) return error;
  key.key()->SetValue(value, std::move(data));
  return kSuccess;
}

WinError Registry::Delete(const OpenKey& key, std::u16string_view value) {
  if (WinError const error = Check(key, kKeySetValue); error != kSuccess) return error;
  return key.key()->values.erase(FoldCase(value)) == 0 ? kFileNotFound : kSuccess;
}

WinError Registry::SubKeys(const OpenKey& key, std::vector<std::u16string>& names) {
  if (WinError const error = Check(key, kKeyEnumerate); error != kSuccess) return error;
  names.clear();
  std::map<std::u16string, std::u16string> sorted;
  for (const auto& [folded, child] : key.key()->keys) sorted.emplace(folded, child->name);
  for (const auto& [folded, link] : key.key()->links) sorted.emplace(folded, link.first);
  for (const auto& [folded, name] : sorted) names.push_back(name);
  return kSuccess;
}

WinError Registry::Describe(const OpenKey& key, KeySummary& out) {
  if (WinError const error = Check(key, kKeyQueryValue); error != kSuccess) return error;
  out = {};
  for (const auto& [folded, child] : key.key()->keys) {
    ++out.sub_keys;
    out.longest_sub_key = std::max(out.longest_sub_key, child->name.size());
  }
  for (const auto& [folded, value] : key.key()->values) {
    ++out.values;
    out.longest_value_name = std::max(out.longest_value_name, value.name.size());
    out.longest_value_data = std::max(out.longest_value_data, value.data.data.size());
  }
  return kSuccess;
}

std::optional<RegistryValue> Registry::Get(std::u16string_view path, std::u16string_view value) const {
  std::shared_ptr<RegistryKey> const key = state_->Find(path);
  const RegistryValue* const found = key == nullptr ? nullptr : key->Value(value);
  return found == nullptr ? std::nullopt : std::optional(*found);
}

std::optional<std::u16string> Registry::GetText(std::u16string_view path, std::u16string_view value) const {
  std::optional<RegistryValue> const found = Get(path, value);
  if (!found || (found->type != kTypeText && found->type != kTypeExpandText)) return std::nullopt;
  return TextOf(*found);
}

std::optional<std::uint32_t> Registry::GetDword(std::u16string_view path, std::u16string_view value) const {
  std::optional<RegistryValue> const found = Get(path, value);
  if (!found || found->type != kTypeDword || found->data.size() != 4) return std::nullopt;
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = (number << 8) | found->data[i];
  return number;
}

void Registry::Put(std::u16string_view path, std::u16string_view value, RegistryValue data) {
  state_->Make(path)->SetValue(value, std::move(data));
}

void Registry::PutText(std::u16string_view path, std::u16string_view value, std::u16string_view text) {
  Put(path, value, TextValue(text));
}

void Registry::PutDword(std::u16string_view path, std::u16string_view value, std::uint32_t number) {
  Put(path, value, DwordValue(number));
}

void Registry::MakeKey(std::u16string_view path) { state_->Make(path); }

void Registry::RemoveKey(std::u16string_view path) {
  std::vector<std::u16string_view> const names = Split(path);
  if (names.empty()) {  // the hive itself stays, empty
    for (auto& [folded, child] : state_->root->keys) child->MarkDeleted();
    state_->root->keys.clear();
    state_->root->values.clear();
    return;
  }
  std::shared_ptr<RegistryKey> parent = state_->root;
  for (std::size_t i = 0; i + 1 < names.size() && parent != nullptr; ++i) parent = parent->Child(names[i]);
  std::shared_ptr<RegistryKey> const key = parent == nullptr ? nullptr : parent->Child(names.back());
  if (key == nullptr) return;
  if (parent->links.erase(FoldCase(names.back())) != 0) return;  // the link goes, not its target
  key->MarkDeleted();
  parent->keys.erase(FoldCase(names.back()));
}

void Registry::RemoveValue(std::u16string_view path, std::u16string_view value) {
  if (std::shared_ptr<RegistryKey> const key = state_->Find(path)) key->values.erase(FoldCase(value));
}

bool Registry::HasKey(std::u16string_view path) const { return state_->Find(path) != nullptr; }

std::vector<std::u16string> Registry::SubKeyNames(std::u16string_view path) const {
  std::vector<std::u16string> names;
  if (std::shared_ptr<RegistryKey> const key = state_->Find(path)) {
    for (const auto& [folded, child] : key->keys) names.push_back(child->name);
  }
  return names;
}

std::vector<std::u16string> Registry::ValueNames(std::u16string_view path) const {
  std::vector<std::u16string> names;
  if (std::shared_ptr<RegistryKey> const key = state_->Find(path)) {
    for (const auto& [folded, value] : key->values) names.push_back(value.name);
  }
  return names;
}

void Registry::Guard(std::u16string path, KeyGuard guard) {
  std::u16string whole;
  for (std::u16string_view const name : Split(path)) whole = Join(whole, name);
  state_->guards.emplace_back(FoldCase(whole), guard);
}

std::unique_ptr<Registry> Registry::Snapshot() const {
  auto copy = std::make_unique<Registry>();
  copy->state_->root = state_->root->Copy();
  return copy;
}

void Registry::ServeControlSet(std::u16string_view control_set) {
  constexpr std::u16string_view kLink = u"CurrentControlSet";
  state_->Make(u"SYSTEM")->links[FoldCase(kLink)] = {std::u16string(kLink), std::u16string(control_set)};
}

void Registry::Restore(const Registry& state) { state_->root = state.state_->root->Copy(); }

}  // namespace tablet
