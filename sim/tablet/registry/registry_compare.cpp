#include <set>

#include "sim/tablet/registry/registry.h"

namespace tablet {

namespace {

struct NameOrder {
  bool operator()(const std::u16string& left, const std::u16string& right) const {
    return LessIgnoringCase(left, right);
  }
};
using Names = std::set<std::u16string, NameOrder>;

/// The names of both states, each once; where the cases differ, as the later state has it.
Names Merge(const std::vector<std::u16string>& before, const std::vector<std::u16string>& after) {
  Names names(after.begin(), after.end());
  names.insert(before.begin(), before.end());
  return names;
}

class Comparison {
 public:
  Comparison(const Registry& before, const Registry& after) : before_(before), after_(after) {}

  std::vector<RegistryChange> Run() {
    CompareKey(u"");
    return std::move(changes_);
  }

 private:
  using Kind = RegistryChange::Kind;

  void CompareKey(const std::u16string& path) {
    CompareValues(path);
    for (const std::u16string& name : Merge(before_.SubKeyNames(path), after_.SubKeyNames(path))) {
      std::u16string const child = path.empty() ? name : path + u'\\' + name;
      if (!after_.HasKey(child)) {  // what was below it goes with it
        changes_.push_back({Kind::kKeyRemoved, child, {}, {}, {}});
        continue;
      }
      if (!before_.HasKey(child)) changes_.push_back({Kind::kKeyAdded, child, {}, {}, {}});
      CompareKey(child);
    }
  }

  void CompareValues(const std::u16string& path) {
    for (const std::u16string& name : Merge(before_.ValueNames(path), after_.ValueNames(path))) {
      std::optional<RegistryValue> old_data = before_.Get(path, name);
      std::optional<RegistryValue> new_data = after_.Get(path, name);
      if (old_data == new_data) continue;
      Kind const kind = !old_data ? Kind::kValueAdded : new_data ? Kind::kValueChanged : Kind::kValueRemoved;
      changes_.push_back({kind, path, name, std::move(old_data), std::move(new_data)});
    }
  }

  const Registry& before_;
  const Registry& after_;
  std::vector<RegistryChange> changes_;
};

}  // namespace

std::vector<RegistryChange> Registry::Compare(const Registry& before, const Registry& after) {
  return Comparison(before, after).Run();
}

}  // namespace tablet
