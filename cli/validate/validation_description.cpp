// tablet.json: the problem of one key is reported, the key is taken out of a copy, and the copy is read again.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "cli/base/work_folder.h"
#include "cli/validate/validation.h"
#include "sim/tablet/base/json_source.h"
#include "sim/tablet/description/description.h"

namespace cli {

namespace {

using tablet::InputError;
using tablet::JsonNode;

/// Writes a tree so that every key and value is in the line that it came from.
class LineWriter {
 public:
  std::string Write(const JsonNode& node) {
    Put(node);
    return std::move(text_);
  }

 private:
  void ComeTo(int line) {
    for (; line_ < line; ++line_) text_ += '\n';
  }
  void Put(const JsonNode& node) {
    if (node.kind == JsonNode::Kind::kObject) {
      ComeTo(node.line);
      text_ += '{';
      for (const JsonNode::Member& member : node.members) {
        if (&member != &node.members.front()) text_ += ',';
        ComeTo(member.line);
        text_ += nlohmann::json(member.key).dump() + ":";
        Put(member.value);
      }
      text_ += '}';
    } else if (node.kind == JsonNode::Kind::kArray) {
      ComeTo(node.line);
      text_ += '[';
      for (const JsonNode& item : node.items) {
        if (&item != &node.items.front()) text_ += ',';
        Put(item);
      }
      text_ += ']';
    } else {
      ComeTo(node.line);
      text_ += Scalar(node).dump();
    }
  }
  static nlohmann::json Scalar(const JsonNode& node) {
    switch (node.kind) {
      case JsonNode::Kind::kBoolean:
        return node.boolean;
      case JsonNode::Kind::kInteger:
        return node.integer;
      case JsonNode::Kind::kReal:
        return node.real;
      case JsonNode::Kind::kText:
        return node.text;
      default:
        return nullptr;
    }
  }

  std::string text_;
  int line_ = 1;
};

/// A key's way from the top: "timeline[2].event" is timeline, 2, event.
struct Step {
  std::string name;
  std::optional<std::size_t> index;
};

std::vector<Step> StepsOf(std::string_view key) {
  std::vector<Step> steps;
  std::string name;
  auto const end_name = [&] {
    if (!name.empty()) steps.push_back({std::exchange(name, {}), std::nullopt});
  };
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (key[i] == '.') {
      end_name();
    } else if (key[i] == '[') {
      end_name();
      std::size_t index = 0;
      std::from_chars(key.data() + i + 1, key.data() + key.size(), index);
      steps.push_back({{}, index});
      i = std::min(key.find(']', i), key.size());
    } else {
      name += key[i];
    }
  }
  end_name();
  return steps;
}

/// One description and what was taken out of it.
class Trimmer {
 public:
  Trimmer(JsonNode tree, std::string file) : tree_(std::move(tree)), file_(std::move(file)) {}

  std::string Text() const { return LineWriter().Write(tree_); }

  /// Takes out what an error names, whose place begins with `read_as`; a bad number becomes 1, so that what comes after
  /// it is checked too. Returns the error as the user's file has it, nothing for a key that was changed before. `more`:
  /// something has changed.
  std::optional<InputError> Trim(const InputError& error, const std::string& read_as, bool& more) {
    std::string rest = error.place();
    if (rest.starts_with(read_as)) rest = rest.substr(read_as.size());
    std::size_t const colon = rest.find(": ");
    std::string const key = colon == std::string::npos ? "" : rest.substr(colon + 2);
    std::vector<Step> const steps = StepsOf(key);
    std::string const original = InOriginal(rest, steps);
    std::size_t const name = std::min(original.find(": "), original.size());
    bool const again = name != original.size() && !taken_.insert(original.substr(name)).second;
    auto const says = [&](std::string_view part) { return error.problem().find(part) != std::string::npos; };
    // What lacks a key, or the right one, goes as a whole.
    std::size_t const depth = steps.size() - ((again || says("is missing")) && steps.size() > 1 ? 1 : 0);
    std::vector<Step> const target(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(depth));
    bool const number = !again && (says("must be a whole number") || says("is out of range"));
    more = !key.empty() && (number ? SetOne(target) : Remove(target));
    if (again) return std::nullopt;
    return InputError(file_ + original, error.problem(), error.next());
  }

 private:
  /// The items taken out of a list before count in the user's file.
  std::string InOriginal(std::string place, const std::vector<Step>& steps) const {
    if (steps.size() < 2 || !steps[steps.size() > 2 && !steps[1].index ? 2 : 1].index) return place;
    std::size_t const at = steps[1].index ? 1 : 2;
    auto const removed = removed_.find(ListOf(steps, at));
    if (removed == removed_.end()) return place;
    std::size_t index = *steps[at].index;
    for (std::size_t const one : removed->second) index += one <= index ? 1 : 0;
    std::size_t const open = place.find('[');
    return place.substr(0, open + 1) + std::to_string(index) + place.substr(place.find(']', open));
  }
  static std::string ListOf(const std::vector<Step>& steps, std::size_t at) {
    std::string list;
    for (std::size_t i = 0; i < at; ++i) list += steps[i].name + ".";
    return list;
  }

  /// What the steps lead to; null when that does not exist.
  JsonNode* Find(const std::vector<Step>& steps) {
    JsonNode* node = &tree_;
    for (const Step& step : steps) {
      if (step.index) {
        if (*step.index >= node->items.size()) return nullptr;
        node = &node->items[*step.index];
      } else {
        auto const member = std::ranges::find(node->members, step.name, &JsonNode::Member::key);
        if (member == node->members.end()) return nullptr;
        node = &member->value;
      }
    }
    return node;
  }
  bool SetOne(const std::vector<Step>& steps) {
    if (steps.size() == 1 && steps[0].name == "schema") return SetSchema();
    JsonNode* const node = Find(steps);
    if (node == nullptr) return false;
    int const line = node->line;
    *node = {};
    node->kind = JsonNode::Kind::kInteger;
    node->line = line;
    node->integer = 1;
    return true;
  }
  bool Remove(std::vector<Step> steps) {
    if (steps.empty()) return false;
    Step const last = steps.back();
    if (last.name == "schema" && steps.size() == 1) return SetSchema();
    steps.pop_back();
    JsonNode* const node = Find(steps);
    if (node == nullptr) return false;
    if (last.index) return RemoveItem(*node, ListOf(steps, steps.size()), *last.index);
    return std::erase_if(node->members, [&](const JsonNode::Member& one) { return one.key == last.name; }) != 0;
  }
  bool RemoveItem(JsonNode& list, const std::string& name, std::size_t index) {
    if (index >= list.items.size()) return false;
    list.items.erase(list.items.begin() + static_cast<std::ptrdiff_t>(index));
    std::vector<std::size_t>& removed = removed_[name];
    for (std::size_t const one : removed) index += one <= index ? 1 : 0;
    removed.insert(std::upper_bound(removed.begin(), removed.end(), index), index);
    return true;
  }
  /// The one key that must be there.
  bool SetSchema() {
    std::erase_if(tree_.members, [](const JsonNode::Member& one) { return one.key == "schema"; });
    JsonNode::Member schema{"schema", tree_.line, {}};
    schema.value.kind = JsonNode::Kind::kInteger;
    schema.value.line = tree_.line;
    schema.value.integer = 1;
    tree_.members.insert(tree_.members.begin(), std::move(schema));
    return true;
  }

  JsonNode tree_;
  std::string file_;
  std::map<std::string, std::vector<std::size_t>> removed_;  ///< by list: places in the user's file, ascending
  std::set<std::string> taken_;                              ///< ": KEY", as the user's file has it
};

}  // namespace

std::vector<InputError> ProblemsOfDescription(const std::filesystem::path& file) {
  std::vector<InputError> problems;
  try {
    JsonNode tree = tablet::ReadJsonFile(file);
    Trimmer trimmer(std::move(tree), file.string());
    WorkFolder const work = WorkFolder::Temporary();
    std::filesystem::path const copy = work.path() / "tablet.json";
    for (bool more = true; more;) {
      std::ofstream(copy, std::ios::binary | std::ios::trunc) << trimmer.Text();
      try {
        tablet::ReadDescription(copy);
        break;
      } catch (const InputError& error) {
        if (auto problem = trimmer.Trim(error, copy.string(), more)) problems.push_back(*std::move(problem));
      }
    }
  } catch (const InputError& error) {
    problems.push_back(error);
  }
  return problems;
}

}  // namespace cli
