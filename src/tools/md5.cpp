#include "tools/md5.h"

#include <cstdint>
#include <cstring>

namespace VORTANE {
namespace TOOLS {

namespace {

const unsigned char md5_padding[64] = {0x80};

uint32_t load_le32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void store_le32(uint32_t v, unsigned char* p) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

inline uint32_t rotl(uint32_t x, int n) {
    return (x << n) | (x >> (32 - n));
}

inline uint32_t md5_f(uint32_t x, uint32_t y, uint32_t z) {
    return z ^ (x & (y ^ z));
}
inline uint32_t md5_g(uint32_t x, uint32_t y, uint32_t z) {
    return y ^ (z & (x ^ y));
}
inline uint32_t md5_h(uint32_t x, uint32_t y, uint32_t z) {
    return x ^ y ^ z;
}
inline uint32_t md5_i(uint32_t x, uint32_t y, uint32_t z) {
    return y ^ (x | ~z);
}

}  // namespace

void md5_starts(md5_context* ctx) {
    ctx->total[0] = 0;
    ctx->total[1] = 0;
    ctx->state[0] = 0x67452301;
    ctx->state[1] = 0xEFCDAB89;
    ctx->state[2] = 0x98BADCFE;
    ctx->state[3] = 0x10325476;
}

// One step: a = b + ((a + f(b, c, d) + x[k] + t) <<< s).
#define MD5_STEP(f, a, b, c, d, k, s, t) \
    ((a) = (b) + rotl((a) + f((b), (c), (d)) + x[k] + (t), (s)))

void md5_process(md5_context* ctx, const unsigned char* data) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i)
        x[i] = load_le32(data + 4 * i);

    uint32_t a = static_cast<uint32_t>(ctx->state[0]);
    uint32_t b = static_cast<uint32_t>(ctx->state[1]);
    uint32_t c = static_cast<uint32_t>(ctx->state[2]);
    uint32_t d = static_cast<uint32_t>(ctx->state[3]);

    MD5_STEP(md5_f, a, b, c, d, 0, 7, 0xD76AA478);
    MD5_STEP(md5_f, d, a, b, c, 1, 12, 0xE8C7B756);
    MD5_STEP(md5_f, c, d, a, b, 2, 17, 0x242070DB);
    MD5_STEP(md5_f, b, c, d, a, 3, 22, 0xC1BDCEEE);
    MD5_STEP(md5_f, a, b, c, d, 4, 7, 0xF57C0FAF);
    MD5_STEP(md5_f, d, a, b, c, 5, 12, 0x4787C62A);
    MD5_STEP(md5_f, c, d, a, b, 6, 17, 0xA8304613);
    MD5_STEP(md5_f, b, c, d, a, 7, 22, 0xFD469501);
    MD5_STEP(md5_f, a, b, c, d, 8, 7, 0x698098D8);
    MD5_STEP(md5_f, d, a, b, c, 9, 12, 0x8B44F7AF);
    MD5_STEP(md5_f, c, d, a, b, 10, 17, 0xFFFF5BB1);
    MD5_STEP(md5_f, b, c, d, a, 11, 22, 0x895CD7BE);
    MD5_STEP(md5_f, a, b, c, d, 12, 7, 0x6B901122);
    MD5_STEP(md5_f, d, a, b, c, 13, 12, 0xFD987193);
    MD5_STEP(md5_f, c, d, a, b, 14, 17, 0xA679438E);
    MD5_STEP(md5_f, b, c, d, a, 15, 22, 0x49B40821);

    MD5_STEP(md5_g, a, b, c, d, 1, 5, 0xF61E2562);
    MD5_STEP(md5_g, d, a, b, c, 6, 9, 0xC040B340);
    MD5_STEP(md5_g, c, d, a, b, 11, 14, 0x265E5A51);
    MD5_STEP(md5_g, b, c, d, a, 0, 20, 0xE9B6C7AA);
    MD5_STEP(md5_g, a, b, c, d, 5, 5, 0xD62F105D);
    MD5_STEP(md5_g, d, a, b, c, 10, 9, 0x02441453);
    MD5_STEP(md5_g, c, d, a, b, 15, 14, 0xD8A1E681);
    MD5_STEP(md5_g, b, c, d, a, 4, 20, 0xE7D3FBC8);
    MD5_STEP(md5_g, a, b, c, d, 9, 5, 0x21E1CDE6);
    MD5_STEP(md5_g, d, a, b, c, 14, 9, 0xC33707D6);
    MD5_STEP(md5_g, c, d, a, b, 3, 14, 0xF4D50D87);
    MD5_STEP(md5_g, b, c, d, a, 8, 20, 0x455A14ED);
    MD5_STEP(md5_g, a, b, c, d, 13, 5, 0xA9E3E905);
    MD5_STEP(md5_g, d, a, b, c, 2, 9, 0xFCEFA3F8);
    MD5_STEP(md5_g, c, d, a, b, 7, 14, 0x676F02D9);
    MD5_STEP(md5_g, b, c, d, a, 12, 20, 0x8D2A4C8A);

    MD5_STEP(md5_h, a, b, c, d, 5, 4, 0xFFFA3942);
    MD5_STEP(md5_h, d, a, b, c, 8, 11, 0x8771F681);
    MD5_STEP(md5_h, c, d, a, b, 11, 16, 0x6D9D6122);
    MD5_STEP(md5_h, b, c, d, a, 14, 23, 0xFDE5380C);
    MD5_STEP(md5_h, a, b, c, d, 1, 4, 0xA4BEEA44);
    MD5_STEP(md5_h, d, a, b, c, 4, 11, 0x4BDECFA9);
    MD5_STEP(md5_h, c, d, a, b, 7, 16, 0xF6BB4B60);
    MD5_STEP(md5_h, b, c, d, a, 10, 23, 0xBEBFBC70);
    MD5_STEP(md5_h, a, b, c, d, 13, 4, 0x289B7EC6);
    MD5_STEP(md5_h, d, a, b, c, 0, 11, 0xEAA127FA);
    MD5_STEP(md5_h, c, d, a, b, 3, 16, 0xD4EF3085);
    MD5_STEP(md5_h, b, c, d, a, 6, 23, 0x04881D05);
    MD5_STEP(md5_h, a, b, c, d, 9, 4, 0xD9D4D039);
    MD5_STEP(md5_h, d, a, b, c, 12, 11, 0xE6DB99E5);
    MD5_STEP(md5_h, c, d, a, b, 15, 16, 0x1FA27CF8);
    MD5_STEP(md5_h, b, c, d, a, 2, 23, 0xC4AC5665);

    MD5_STEP(md5_i, a, b, c, d, 0, 6, 0xF4292244);
    MD5_STEP(md5_i, d, a, b, c, 7, 10, 0x432AFF97);
    MD5_STEP(md5_i, c, d, a, b, 14, 15, 0xAB9423A7);
    MD5_STEP(md5_i, b, c, d, a, 5, 21, 0xFC93A039);
    MD5_STEP(md5_i, a, b, c, d, 12, 6, 0x655B59C3);
    MD5_STEP(md5_i, d, a, b, c, 3, 10, 0x8F0CCC92);
    MD5_STEP(md5_i, c, d, a, b, 10, 15, 0xFFEFF47D);
    MD5_STEP(md5_i, b, c, d, a, 1, 21, 0x85845DD1);
    MD5_STEP(md5_i, a, b, c, d, 8, 6, 0x6FA87E4F);
    MD5_STEP(md5_i, d, a, b, c, 15, 10, 0xFE2CE6E0);
    MD5_STEP(md5_i, c, d, a, b, 6, 15, 0xA3014314);
    MD5_STEP(md5_i, b, c, d, a, 13, 21, 0x4E0811A1);
    MD5_STEP(md5_i, a, b, c, d, 4, 6, 0xF7537E82);
    MD5_STEP(md5_i, d, a, b, c, 11, 10, 0xBD3AF235);
    MD5_STEP(md5_i, c, d, a, b, 2, 15, 0x2AD7D2BB);
    MD5_STEP(md5_i, b, c, d, a, 9, 21, 0xEB86D391);

    ctx->state[0] = static_cast<uint32_t>(ctx->state[0] + a);
    ctx->state[1] = static_cast<uint32_t>(ctx->state[1] + b);
    ctx->state[2] = static_cast<uint32_t>(ctx->state[2] + c);
    ctx->state[3] = static_cast<uint32_t>(ctx->state[3] + d);
}

#undef MD5_STEP

void md5_update(md5_context* ctx, const unsigned char* input, unsigned long length) {
    if (length == 0)
        return;
    size_t left = ctx->total[0] & 0x3F;
    size_t fill = 64 - left;

    // total[0] keeps the low 32 bits of the byte count, total[1] counts their overflows.
    const uint64_t sum = (ctx->total[0] & 0xFFFFFFFFul) + (length & 0xFFFFFFFFul);
    ctx->total[0] = static_cast<unsigned long>(sum & 0xFFFFFFFFul);
    ctx->total[1] +=
        static_cast<unsigned long>((sum >> 32) + (static_cast<uint64_t>(length) >> 32));

    if (left != 0 && length >= fill) {
        memcpy(ctx->buffer + left, input, fill);
        md5_process(ctx, ctx->buffer);
        input += fill;
        length -= fill;
        left = 0;
    }
    while (length >= 64) {
        md5_process(ctx, input);
        input += 64;
        length -= 64;
    }
    if (length > 0)
        memcpy(ctx->buffer + left, input, length);
}

void md5_finish(md5_context* ctx, unsigned char* digest) {
    // The message length in bits, taken before the padding changes the count.
    const uint32_t high = static_cast<uint32_t>((ctx->total[0] >> 29) | (ctx->total[1] << 3));
    const uint32_t low = static_cast<uint32_t>(ctx->total[0] << 3);
    unsigned char msglen[8];
    store_le32(low, msglen);
    store_le32(high, msglen + 4);

    const unsigned long last = ctx->total[0] & 0x3F;
    const unsigned long padn = last < 56 ? 56 - last : 120 - last;
    md5_update(ctx, md5_padding, padn);
    md5_update(ctx, msglen, 8);

    for (int i = 0; i < 4; ++i)
        store_le32(static_cast<uint32_t>(ctx->state[i]), digest + 4 * i);
}

void encrypt_md5(const char* msg, int nLen, char* output) {
    if (output == nullptr)
        return;
    static const char hex_digits[] = "0123456789ABCDEF";
    md5_context ctx;
    unsigned char digest[16];
    md5_starts(&ctx);
    // A null text or a negative length digests nothing rather than reading wild memory.
    if (msg != nullptr && nLen > 0) {
        md5_update(&ctx, reinterpret_cast<const unsigned char*>(msg),
                   static_cast<unsigned long>(nLen));
    }
    md5_finish(&ctx, digest);
    for (int i = 0; i < 16; ++i) {
        output[2 * i] = hex_digits[digest[i] >> 4];
        output[2 * i + 1] = hex_digits[digest[i] & 0x0F];
    }
    output[32] = '\0';
}

}  // namespace TOOLS
}  // namespace VORTANE
