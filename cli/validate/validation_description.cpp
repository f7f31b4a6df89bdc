// tablet.json: what is wrong with one key is told, the key is taken out of a copy, and the copy is read again.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/base/work_folder.h"
#include "cli/validate/validation.h"
#include "sim/tablet/base/json_source.h"
#include "sim/tablet/description/description.h"

namespace cli {

namespace {

using tablet::InputError;
using tablet::JsonNode;

/// Writes a tree so that every key and value stands in the line that it came from.
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

  /// Takes out what an error names, whose place begins with `read_as`. Answers the error as the user's file has it.
  /// `more`: something was taken out.
  InputError Trim(const InputError& error, const std::string& read_as, bool& more) {
    std::string rest = error.place();
    if (rest.starts_with(read_as)) rest = rest.substr(read_as.size());
    std::size_t const colon = rest.find(": ");
    std::string const key = colon == std::string::npos ? "" : rest.substr(colon + 2);
    std::vector<Step> const steps = StepsOf(key);
    InputError told(file_ + InOriginal(rest, steps), error.problem(), error.next());
    more = !key.empty() && Remove(steps);
    return told;
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

  bool Remove(const std::vector<Step>& steps) {
    JsonNode* node = &tree_;
    for (std::size_t i = 0; i < steps.size(); ++i) {
      if (steps[i].index) return i > 0 && RemoveItem(*node, ListOf(steps, i), *steps[i].index);
      bool const last = i + 1 == steps.size();
      auto const member = std::find_if(node->members.begin(), node->members.end(),
                                       [&](const JsonNode::Member& one) { return one.key == steps[i].name; });
      if (last && steps[i].name == "schema") return SetSchema();
      if (member == node->members.end()) return false;
      if (last) {
        node->members.erase(member);
        return true;
      }
      node = &member->value;
    }
    return false;
  }
  /// The whole item goes: what is left of it might be incomplete.
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
        problems.push_back(trimmer.Trim(error, copy.string(), more));
      }
    }
  } catch (const InputError& error) {
    problems.push_back(error);
  }
  return problems;
}

}  // namespace cli
