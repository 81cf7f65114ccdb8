// libmd's MD5, in a file of its own: its names are the agent's, too.
#include <md5.h>

void libmd_digest(uint8_t* digest, const void* data, size_t length);

void libmd_digest(uint8_t* digest, const void* data, size_t length) {
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, data, length);
  MD5Final(digest, &context);
}
