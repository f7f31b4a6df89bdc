// An object of a JSON file whose keys are known, read so that every message names file, line and key.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/json_source.h"

namespace tablet {

class Section {
 public:
  /// `name` is the section's place among the file's keys, empty for the whole. Throws InputError for what is not an
  /// object and for keys that are not `known`. Refers to `node`.
  Section(const JsonNode& node, std::string file, std::string name, std::span<const std::string_view> known);

  const JsonNode* Find(std::string_view key) const;
  // These throw InputError when the value is of another kind, or out of range, or missing where it is needed.
  const JsonNode* Find(std::string_view key, JsonNode::Kind kind) const;
  const JsonNode& Need(std::string_view key, JsonNode::Kind kind) const;
  bool Flag(std::string_view key, bool without) const;
  std::int64_t Number(std::string_view key, std::int64_t least, std::int64_t most, std::int64_t without) const;
  std::vector<const JsonNode*> List(std::string_view key, JsonNode::Kind items) const;
  std::vector<std::u16string> Texts(std::string_view key) const;

  [[noreturn]] void Refuse(const JsonNode& value, std::string_view key, const std::string& problem,
                           const std::string& next) const;
  const std::string& file() const { return file_; }
  /// The key with the section's name in front.
  std::string Full(std::string_view key) const;

 private:
  void Expect(const JsonNode& value, JsonNode::Kind kind, std::string_view key) const;
  std::string Place(int line, const std::string& what) const;

  const JsonNode& node_;
  std::string file_;
  std::string name_;
};

}  // namespace tablet
