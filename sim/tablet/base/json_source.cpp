#include "sim/tablet/base/json_source.h"

#include <fmt/format.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "sim/tablet/base/input_error.h"

namespace tablet {

namespace {

/// Objects and lists within one another: a tree is taken down by calls as deep as it is.
constexpr std::size_t kDeepest = 100;

/// The parser's place. It reads one character past a number; the line is that of the last character that is not white
/// space.
struct Position {
  int line = 1;
  int line_of_last_mark = 1;

  void Pass(char c) {
    if (c == '\n') {
      ++line;
    } else if (c != ' ' && c != '\t' && c != '\r') {
      line_of_last_mark = line;
    }
  }
};

/// Reads characters and counts lines for its shared position.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, Position* position) : at_(at), position_(position) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    position_->Pass(*at_++);
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator const before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  Position* position_;
};

/// Builds the tree from the parser's events.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  TreeBuilder(const Position& position, std::string file) : position_(position), file_(std::move(file)) {}

  JsonNode Take() { return std::move(root_); }

  bool null() override { return Add(New(JsonNode::Kind::kNull)); }
  bool boolean(bool value) override {
    JsonNode node = New(JsonNode::Kind::kBoolean);
    node.boolean = value;
    return Add(std::move(node));
  }
  bool number_integer(number_integer_t value) override {
    JsonNode node = New(JsonNode::Kind::kInteger);
    node.integer = value;
    return Add(std::move(node));
  }
  bool number_unsigned(number_unsigned_t value) override {
    if (value > static_cast<number_unsigned_t>(INT64_MAX)) {
      throw InputError(Place(), fmt::format("the number {} is too large", value), "give a smaller one");
    }
    return number_integer(static_cast<number_integer_t>(value));
  }
  bool number_float(number_float_t value, const string_t& spelling) override {
    bool const whole = spelling.find_first_of(".eE") == string_t::npos;
    if (whole) throw InputError(Place(), fmt::format("the number {} is too large", spelling), "give a smaller one");
    JsonNode node = New(JsonNode::Kind::kReal);
    node.real = value;
    return Add(std::move(node));
  }
  bool string(string_t& value) override {
    JsonNode node = New(JsonNode::Kind::kText);
    node.text = value;
    return Add(std::move(node));
  }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return Open(JsonNode::Kind::kObject); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override { return Open(JsonNode::Kind::kArray); }
  bool end_array() override { return Close(); }
  bool key(string_t& value) override {
    for (const JsonNode::Member& member : open_.back().members) {
      if (member.key != value) continue;
      throw InputError(fmt::format("{}: {}", Place(), value),
                       fmt::format("the key is given twice, first in line {}", member.line), "keep one of them");
    }
    open_.back().members.push_back({value, position_.line_of_last_mark, {}});
    return true;
  }
  bool parse_error(std::size_t, const std::string& last_token, const nlohmann::detail::exception&) override {
    throw InputError(Place(),
                     last_token.empty() ? "this is not JSON: the text ends too early"
                                        : fmt::format("this is not JSON: unexpected \"{}\"", last_token),
                     "look for a missing comma, quote or brace here or just before");
  }

 private:
  JsonNode New(JsonNode::Kind kind) const {
    JsonNode node;
    node.kind = kind;
    node.line = position_.line_of_last_mark;
    return node;
  }
  std::string Place() const { return fmt::format("{}:{}", file_, position_.line_of_last_mark); }

  bool Add(JsonNode node) {
    if (open_.empty()) {
      root_ = std::move(node);
    } else if (open_.back().kind == JsonNode::Kind::kArray) {
      open_.back().items.push_back(std::move(node));
    } else {
      open_.back().members.back().value = std::move(node);
    }
    return true;
  }
  bool Open(JsonNode::Kind kind) {
    if (open_.size() == kDeepest) {
      throw InputError(Place(), fmt::format("objects and lists more than {} deep", kDeepest), "nest them less deeply");
    }
    open_.push_back(New(kind));
    return true;
  }
  bool Close() {
    JsonNode done = std::move(open_.back());
    open_.pop_back();
    return Add(std::move(done));
  }

  const Position& position_;
  std::string file_;
  std::vector<JsonNode> open_;
  JsonNode root_;
};

}  // namespace

std::string_view KindName(JsonNode::Kind kind) {
  switch (kind) {
    case JsonNode::Kind::kNull:
      return "null";
    case JsonNode::Kind::kBoolean:
      return "true or false";
    case JsonNode::Kind::kInteger:
      return "a whole number";
    case JsonNode::Kind::kReal:
      return "a number with a fraction";
    case JsonNode::Kind::kText:
      return "a text";
    case JsonNode::Kind::kArray:
      return "a list";
    case JsonNode::Kind::kObject:
      return "an object";
  }
  return "nothing";
}

JsonNode ParseJsonWithLines(std::string_view text, const std::string& file_name) {
  Position position;
  TreeBuilder builder(position, file_name);
  CountingIterator const begin(text.data(), &position);
  CountingIterator const end(text.data() + text.size(), &position);
  nlohmann::json::sax_parse(begin, end, &builder);
  return builder.Take();
}

JsonNode ReadJsonFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) throw InputError(file.string(), "the file cannot be read", "check its name and its rights");
  return ParseJsonWithLines(text.view(), file.string());
}

}  // namespace tablet
