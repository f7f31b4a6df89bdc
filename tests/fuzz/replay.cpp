// Runs a harness on files, without libFuzzer: replay FILE-OR-FOLDER...; a folder means the files in it. Exit code 0 if
// there was an input and no finding.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "tests/fuzz/harness.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Inputs(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

bool Replay(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  fuzzing::Bytes const bytes{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) {
    std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
    return false;
  }
  // Printed first: a finding aborts.
  std::fprintf(stderr, "%s\n", file.c_str());
  // A block of exactly this size, so that the sanitizers see every access outside.
  std::unique_ptr<std::uint8_t[]> const exact(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  return LLVMFuzzerTestOneInput(exact.get(), bytes.size()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& file : Inputs(argv[i])) {
      if (!Replay(file)) return 1;
      ++replayed;
    }
  }
  std::printf("%zu inputs\n", replayed);
  return replayed == 0 ? 1 : 0;
}
