// JSON text as a tree that knows the line of each key and value, so that messages can name the place.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tablet {

struct JsonNode {
  enum class Kind { kNull, kBoolean, kInteger, kReal, kText, kArray, kObject };
  struct Member;

  Kind kind = Kind::kNull;
  int line = 1;  ///< counted from 1: where the value ends, for objects and arrays where it begins
  bool boolean = false;
  std::int64_t integer = 0;
  double real = 0;
  std::string text;
  std::vector<JsonNode> items;
  std::vector<Member> members;  ///< in the order of the file
};

struct JsonNode::Member {
  std::string key;
  int line = 1;
  JsonNode value;
};

/// "a number", "an object": for messages.
std::string_view KindName(JsonNode::Kind kind);

/// Throws InputError ("file:line") for text that is not JSON, for keys given twice in one object, for whole numbers
/// beyond 64 bits, and for objects and lists more than 100 deep.
JsonNode ParseJsonWithLines(std::string_view text, const std::string& file_name);

/// The same for a file; throws InputError when it cannot be read.
JsonNode ReadJsonFile(const std::filesystem::path& file);

}  // namespace tablet
