// MD5 beside libgcrypt's and libmd's, which are portable C, and nettle's, which is assembler on x86-64.
#include <gcrypt.h>
#include <nettle/md5.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/ident/md5.h"
#include "bench/operations.h"

extern "C" void libmd_digest(uint8_t* digest, const void* data, size_t length);

namespace {

constexpr size_t kLong = 65536;
constexpr size_t kUuidText = 36;  // what the agent digests

void ours(uint8_t* digest, const char* data, size_t length) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, data, length);
  MD5Final(digest, &context);
}

void by_libgcrypt(uint8_t* digest, const char* data, size_t length) {
  gcry_md_hash_buffer(GCRY_MD_MD5, digest, data, length);
}

void by_libmd(uint8_t* digest, const char* data, size_t length) { libmd_digest(digest, data, length); }

void by_nettle(uint8_t* digest, const char* data, size_t length) {
  md5_ctx context;
  md5_init(&context);
  md5_update(&context, length, reinterpret_cast<const uint8_t*>(data));
  md5_digest(&context, kMd5DigestSize, digest);
}

}  // namespace

void add_md5(std::vector<Operation>& operations) {
  static std::string text(kLong, 'a');
  gcry_check_version(nullptr);
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  const struct {
    const char* name;
    void (*digest)(uint8_t*, const char*, size_t);
  } libraries[] = {
      {"nuvek", ours}, {"libgcrypt (C)", by_libgcrypt}, {"libmd (C)", by_libmd}, {"nettle (assembler)", by_nettle}};

  uint8_t expected[kMd5DigestSize];
  ours(expected, text.data(), kLong);
  for (const size_t length : {kLong, kUuidText}) {
    for (const auto& library : libraries) {
      uint8_t digest[kMd5DigestSize];
      library.digest(digest, text.data(), kLong);
      if (memcmp(digest, expected, sizeof digest) != 0) abort();  // a digest that is not MD5 has no speed
      operations.push_back({"MD5 of " + std::to_string(length) + " bytes", library.name, [library, length] {
                              uint8_t result[kMd5DigestSize];
                              library.digest(result, text.data(), length);
                              asm volatile("" : : "r"(result) : "memory");
                            }});
    }
  }
}
