#include "cli/world/kit_result.h"

#include <archive.h>
#include <archive_entry.h>

#include <nlohmann/json.hpp>

#include "cli/base/zip_file.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kEntry = "result.json";
constexpr std::size_t kMostBytes = 16 << 20;
constexpr std::size_t kReadBlock = 1 << 16;

tablet::InputError NoResult(const fs::path& file, const std::string& why) {
  return {file.string(), why, "name a file that vantord-check has written"};
}

/// The text of the document in the zip file.
std::string DocumentIn(const fs::path& file) {
  if (!fs::exists(file)) throw NoResult(file, "there is no such file");
  ZipReader const reader = OpenZip(file);
  if (!reader) throw NoResult(file, "is not a zip file");
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    if (std::string(archive_entry_pathname(entry)) != kEntry) continue;
    std::string text(kReadBlock, '\0');
    std::size_t size = 0;
    for (;;) {
      la_ssize_t const bytes = archive_read_data(reader.get(), text.data() + size, text.size() - size);
      if (bytes < 0) throw NoResult(file, std::string("is damaged: ") + archive_error_string(reader.get()));
      if (bytes == 0) break;
      size += static_cast<std::size_t>(bytes);
      if (size > kMostBytes) throw NoResult(file, "is too large for a result");
      if (size == text.size()) text.resize(2 * size);
    }
    text.resize(size);
    return text;
  }
  throw NoResult(file, std::string("has no ") + kEntry);
}

}  // namespace

KitResult ReadKitResult(const fs::path& file) {
  std::string const text = DocumentIn(file);
  KitResult result;
  try {
    auto const document = nlohmann::json::parse(text);
    if (document.at("schema") != 1) throw NoResult(file, "has a schema that this version does not know");
    result.machine = document.at("machine");
    result.date = document.at("date");
    for (const auto& step : document.at("steps")) {
      result.steps.push_back({step.at("name"), step.at("outcome"), step.at("texts")});
    }
    for (const auto& answer : document.at("answers")) result.answers[answer.at("question")] = answer.at("seen");
  } catch (const nlohmann::json::exception& error) {
    throw NoResult(file, std::string(kEntry) + " is not as vantord-check writes it: " + error.what());
  }
  return result;
}

}  // namespace cli
