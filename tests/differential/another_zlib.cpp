// A wrapper, loaded before zlib, that guarantees only what zlib.h documents. A test that passes with zlib and fails
// with this relies on undocumented behaviour.
//
// Faster libraries with zlib's interface differ in these ways: they write past the output in large steps; messages and
// internal state are their own; the check value of a raw stream is undefined.
#include <dlfcn.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// The next library's function of this name.
template <typename Function>
Function* Real(const char* name) {
  void* const found = ::dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    std::fprintf(stderr, "another_zlib: zlib has no %s\n", name);
    std::abort();
  }
  return reinterpret_cast<Function*>(found);
}

/// Overwrites what zlib.h leaves undefined after a call, the rest of the output buffer included.
void Disturb(z_stream& stream) {
  if (stream.next_out != nullptr && stream.avail_out != 0) std::memset(stream.next_out, 0xA5, stream.avail_out);
  stream.msg = nullptr;
  stream.data_type = 0x5A;
  stream.adler = 0xDEAD;
  stream.reserved = 0xBEEF;
}

}  // namespace

extern "C" {

int inflateInit2_(z_streamp stream, int window_bits, const char* version, int stream_size) {
  static auto* const real = Real<decltype(inflateInit2_)>("inflateInit2_");
  int const code = real(stream, window_bits, version, stream_size);
  if (code == Z_OK) Disturb(*stream);
  return code;
}

int inflate(z_streamp stream, int flush) {
  static auto* const real = Real<decltype(inflate)>("inflate");
  int const code = real(stream, flush);
  if (code != Z_STREAM_ERROR) Disturb(*stream);
  return code;
}

/// In two parts, as parallel implementations do.
uLong crc32(uLong crc, const Bytef* buffer, uInt length) {
  static auto* const real = Real<decltype(crc32)>("crc32");
  if (buffer == nullptr || length < 2) return real(crc, buffer, length);
  uInt const half = length / 2;
  static auto* const combine = Real<decltype(crc32_combine)>("crc32_combine");
  return combine(real(crc, buffer, half), real(0, buffer + half, length - half), static_cast<z_off_t>(length - half));
}

/// Undocumented in zlib.h: other libraries need not have it.
const z_crc_t* get_crc_table() {
  std::fprintf(stderr, "another_zlib: get_crc_table is undocumented and not available\n");
  std::abort();
}

}  // extern "C"
