#ifndef VORTANE_TOOLS_MD5_H
#define VORTANE_TOOLS_MD5_H

namespace VORTANE {
namespace TOOLS {

// State of one MD5 digest; the caller owns it, usually on the stack.
struct md5_context {
    unsigned long total[2];    // bytes taken in: low 32 bits, and their overflows
    unsigned long state[4];    // chaining values; only the low 32 bits count
    unsigned char buffer[64];  // the bytes of a block that isn't full yet
};

void md5_starts(md5_context* ctx);
// Folds one 64-byte block into the state.
void md5_process(md5_context* ctx, const unsigned char* data);
void md5_update(md5_context* ctx, const unsigned char* input, unsigned long length);
// Pads and writes the 16 bytes of the digest.
void md5_finish(md5_context* ctx, unsigned char* digest);

// The digest of the first nLen bytes of msg as 32 upper-case hex digits and a
// terminator: output needs 33 bytes, and all 33 are written.
void encrypt_md5(const char* msg, int nLen, char* output);

}  // namespace TOOLS
}  // namespace VORTANE

#endif
