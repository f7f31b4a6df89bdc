#include "kit/result/result.h"

#include <algorithm>

namespace kit {

namespace {

/// The length of the UTF-8 sequence at the front; 0 if there is none.
std::size_t Utf8Length(std::string_view text) {
  auto const first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return 1;
  std::size_t const length = first >= 0xF5 ? 0 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  if (length == 0 || text.size() < length) return 0;
  auto const second = static_cast<unsigned char>(text[1]);
  bool const odd = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                   (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  auto const follows = [](char one) { return (static_cast<unsigned char>(one) & 0xC0) == 0x80; };
  return !odd && std::ranges::all_of(text.substr(1, length - 1), follows) ? length : 0;
}

std::string Escaped(unsigned char one) {
  if (one == '\n') return "\\n";
  if (one == '\r') return "\\r";
  constexpr std::string_view kDigits = "0123456789abcdef";
  return {'\\', 'u', '0', '0', kDigits[one >> 4], kDigits[one & 15]};
}

/// Members of an object or items of a list, one a line.
class Lines {
 public:
  Lines(std::string& out, std::string indent) : out_(out), indent_(std::move(indent)) {}
  std::string& Next() {
    out_ += first_ ? "\n" : ",\n";
    first_ = false;
    return out_ += indent_;
  }

 private:
  std::string& out_;
  std::string indent_;
  bool first_ = true;
};

/// Writes one document.
class Writer {
 public:
  explicit Writer(const Redaction& redaction) : redaction_(redaction) {}

  std::string Text(std::string_view text) const { return Quoted(redaction_.Redacted(text)); }

  std::string List(const std::vector<std::string>& texts) const {
    std::string out = "[";
    for (const std::string& text : texts) out += (out.size() > 1 ? ", " : "") + Text(text);
    return out + "]";
  }

  std::string Steps(const std::vector<Step>& steps) const {
    std::string out = "[";
    Lines lines(out, "    ");
    for (const Step& step : steps) {
      lines.Next() += "{\"name\": " + Quoted(step.name) + ", \"outcome\": " + Quoted(step.outcome) +
                      ", \"texts\": " + List(step.texts) + "}";
    }
    return out + "\n  ]";
  }

  std::string Answers(const std::vector<Answer>& answers) const {
    std::string out = "[";
    Lines lines(out, "    ");
    for (const Answer& answer : answers) {
      lines.Next() += "{\"question\": " + Quoted(answer.question) + ", \"seen\": " + Text(answer.seen) +
                      ", \"step\": " + Quoted(answer.step) + "}";
    }
    return out + "\n  ]";
  }

  std::string Facts(const std::vector<Fact>& facts) const {
    std::string out = "{";
    Lines lines(out, "    ");
    for (const Fact& fact : facts) lines.Next() += Quoted(fact.first) + ": " + Text(fact.second);
    return out + "\n  }";
  }

  std::string Run(const std::vector<Fact>& run) const {
    std::string out = "[";
    Lines lines(out, "    ");
    for (const Fact& line : run) {
      lines.Next() += "{\"kind\": " + Quoted(line.first) + ", \"text\": " + Text(line.second) + "}";
    }
    return out + "\n  ]";
  }

 private:
  const Redaction& redaction_;
};

}  // namespace

void AddAnswer(Result& result, std::string_view question, std::string_view seen, std::string_view step) {
  auto const found = std::ranges::find(result.answers, question, &Answer::question);
  if (found == result.answers.end()) {
    result.answers.push_back({std::string(question), std::string(seen), std::string(step)});
  } else {
    found->seen += "; " + std::string(seen);
  }
}

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  while (!text.empty()) {
    std::size_t const length = Utf8Length(text);
    char const first = text[0];
    if (length == 0 || static_cast<unsigned char>(first) < 0x20 || first == 0x7F) {
      out += Escaped(static_cast<unsigned char>(first));
    } else {
      if (first == '"' || first == '\\') out += '\\';
      out += text.substr(0, length);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return out + '"';
}

std::string Document(const Result& result, const Redaction& redaction) {
  Writer const writer(redaction);
  std::string out = "{\n  \"schema\": 1,\n  \"version\": " + Quoted(result.version);
  out += ",\n  \"date\": " + Quoted(result.date);
  out += ",\n  \"machine\": " + Quoted(result.machine);
  out += ",\n  \"modes\": " + writer.List(result.modes);
  out += ",\n  \"facts\": " + writer.Facts(result.facts);
  out += ",\n  \"steps\": " + writer.Steps(result.steps);
  out += ",\n  \"answers\": " + writer.Answers(result.answers);
  out += ",\n  \"run\": " + writer.Run(result.run);
  return out + "\n}\n";
}

}  // namespace kit
