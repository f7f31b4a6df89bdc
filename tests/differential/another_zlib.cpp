// zlib as somebody else might have written it: loaded in front of the real one, it does what zlib.h promises and
// nothing that zlib only happens to do. A test that passes with zlib and fails with this relies on an accident.
//
// Faster libraries with zlib's interface differ in just these ways: they copy in large steps, past what they have
// produced; their texts and their internal state are their own; a check value of a raw stream is nobody's business.
#include <dlfcn.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// The function behind the one of this name here.
template <typename Function>
Function* Real(const char* name) {
  void* const found = ::dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    std::fprintf(stderr, "another_zlib: no zlib behind it has %s\n", name);
    std::abort();
  }
  return reinterpret_cast<Function*>(found);
}

/// What zlib.h leaves open of a stream after a call. The room behind the output belongs to the library until it says
/// otherwise.
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

/// In two parts, as libraries do that work on several streams at once.
uLong crc32(uLong crc, const Bytef* buffer, uInt length) {
  static auto* const real = Real<decltype(crc32)>("crc32");
  if (buffer == nullptr || length < 2) return real(crc, buffer, length);
  uInt const half = length / 2;
  static auto* const combine = Real<decltype(crc32_combine)>("crc32_combine");
  return combine(real(crc, buffer, half), real(0, buffer + half, length - half), static_cast<z_off_t>(length - half));
}

/// zlib.h lists it among its undocumented functions: others need not have it.
const z_crc_t* get_crc_table() {
  std::fprintf(stderr, "another_zlib: get_crc_table is not documented, and there is none here\n");
  std::abort();
}

}  // extern "C"
