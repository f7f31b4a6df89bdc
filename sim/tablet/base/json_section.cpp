#include "sim/tablet/base/json_section.h"

#include <fmt/format.h>

#include <algorithm>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"
#include "sim/tablet/base/text.h"

namespace tablet {

Section::Section(const JsonNode& node, std::string file, std::string name, std::span<const std::string_view> known)
    : node_(node), file_(std::move(file)), name_(std::move(name)) {
  if (node_.kind != JsonNode::Kind::kObject) {
    throw InputError(Place(node_.line, name_.empty() ? "the file" : name_),
                     fmt::format("must be an object, is {}", KindName(node_.kind)), "write { ... } here");
  }
  for (const JsonNode::Member& member : node_.members) {
    if (std::find(known.begin(), known.end(), member.key) != known.end()) continue;
    throw InputError(Place(member.line, Full(member.key)), "unknown key", SuggestOneOf(member.key, known));
  }
}

const JsonNode* Section::Find(std::string_view key) const {
  for (const JsonNode::Member& member : node_.members) {
    if (member.key == key) return &member.value;
  }
  return nullptr;
}

const JsonNode* Section::Find(std::string_view key, JsonNode::Kind kind) const {
  const JsonNode* value = Find(key);
  if (value != nullptr) Expect(*value, kind, key);
  return value;
}

const JsonNode& Section::Need(std::string_view key, JsonNode::Kind kind) const {
  const JsonNode* value = Find(key, kind);
  if (value != nullptr) return *value;
  throw InputError(Place(node_.line, Full(key)), "the key is missing", fmt::format("add \"{}\" here", key));
}

void Section::Expect(const JsonNode& value, JsonNode::Kind kind, std::string_view key) const {
  if (value.kind == kind) return;
  throw InputError(Place(value.line, Full(key)), fmt::format("must be {}, is {}", KindName(kind), KindName(value.kind)),
                   "correct the value");
}

bool Section::Flag(std::string_view key, bool without) const {
  const JsonNode* value = Find(key, JsonNode::Kind::kBoolean);
  return value == nullptr ? without : value->boolean;
}

std::int64_t Section::Number(std::string_view key, std::int64_t least, std::int64_t most, std::int64_t without) const {
  const JsonNode* value = Find(key, JsonNode::Kind::kInteger);
  if (value == nullptr) return without;
  if (value->integer < least || value->integer > most) {
    Refuse(*value, key, fmt::format("{} is out of range", value->integer),
           fmt::format("give a number from {} to {}", least, most));
  }
  return value->integer;
}

std::vector<const JsonNode*> Section::List(std::string_view key, JsonNode::Kind items) const {
  std::vector<const JsonNode*> list;
  const JsonNode* value = Find(key, JsonNode::Kind::kArray);
  if (value == nullptr) return list;
  for (std::size_t i = 0; i < value->items.size(); ++i) {
    Expect(value->items[i], items, fmt::format("{}[{}]", key, i));
    list.push_back(&value->items[i]);
  }
  return list;
}

std::vector<std::u16string> Section::Texts(std::string_view key) const {
  std::vector<std::u16string> texts;
  for (const JsonNode* item : List(key, JsonNode::Kind::kText)) texts.push_back(ToUtf16(item->text));
  return texts;
}

void Section::Refuse(const JsonNode& value, std::string_view key, const std::string& problem,
                     const std::string& next) const {
  throw InputError(Place(value.line, Full(key)), problem, next);
}

std::string Section::Place(int line, const std::string& what) const {
  return fmt::format("{}:{}: {}", file_, line, what);
}

std::string Section::Full(std::string_view key) const {
  return name_.empty() ? std::string(key) : fmt::format("{}.{}", name_, key);
}

}  // namespace tablet
