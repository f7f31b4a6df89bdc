// Records that the test programs write: one JSON object a line.
#pragma once

#include <cstdio>

/// Appends `line` to a file. Two programs must not share a file.
inline bool Note(const char* file, const char* line) {
  std::FILE* const note = std::fopen(file, "ab");
  if (note == nullptr) return false;
  bool const written = std::fprintf(note, "%s\n", line) > 0;
  return std::fclose(note) == 0 && written;
}
