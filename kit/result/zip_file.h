// Writes a zip file in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kit {

class ZipFile {
 public:
  /// Adds a file, deflated. `name` is ASCII with '/' between folders. Throws std::runtime_error if zlib fails.
  void Add(std::string_view name, std::string_view data);
  /// The whole file; nothing can be added after this. Entries have no time: the same content gives the same bytes.
  std::string Finish();

 private:
  std::string bytes_;
  std::string directory_;
  std::uint16_t entries_ = 0;
};

}  // namespace kit
