#include "cli/base/digest.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

struct ContextCloser {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

void Check(int result) {
  if (result != 1) throw std::runtime_error("SHA-256 cannot be computed");
}

}  // namespace

std::string Sha256Of(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw tablet::InputError(file.string(), "cannot be read", "check its rights");
  std::unique_ptr<EVP_MD_CTX, ContextCloser> const context(EVP_MD_CTX_new());
  Check(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr));
  std::array<char, 65536> piece{};
  while (in.read(piece.data(), piece.size()) || in.gcount() > 0) {
    Check(EVP_DigestUpdate(context.get(), piece.data(), static_cast<std::size_t>(in.gcount())));
  }
  if (in.bad()) throw tablet::InputError(file.string(), "cannot be read", "check its rights");
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  Check(EVP_DigestFinal_ex(context.get(), digest.data(), &size));
  std::string text;
  for (unsigned i = 0; i < size; ++i) text += fmt::format("{:02x}", digest[i]);
  return text;
}

}  // namespace cli
