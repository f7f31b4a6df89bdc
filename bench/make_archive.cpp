// Makes an archive for the measurements: make_archive FILE SEED FILES FOLDERS LEAST MOST deflated|stored
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "bench/archives.h"

int main(int count, char** arguments) {
  if (count != 8) {
    std::fputs("usage: make_archive FILE SEED FILES FOLDERS LEAST MOST deflated|stored\n", stderr);
    return 2;
  }
  auto const number = [&](int i) { return static_cast<std::uint32_t>(std::strtoul(arguments[i], nullptr, 10)); };
  try {
    bench::WriteArchive(arguments[1], {.seed = number(2),
                                       .files = number(3),
                                       .folders = number(4),
                                       .least = number(5),
                                       .most = number(6),
                                       .stored = std::string_view(arguments[7]) == "stored"});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_archive: %s\n", error.what());
    return 1;
  }
  return 0;
}
