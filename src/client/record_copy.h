#ifndef CLIENT_RECORD_COPY_H
#define CLIENT_RECORD_COPY_H

// The ways a wire text crosses into a public record. A wire text is bounded by its
// field and may fill it without a terminator; the public record is zeroed first.
// Every copy reads the wire field within its width only.

#include <cstddef>
#include <cstring>

namespace record_copy {

constexpr size_t min_of(size_t a, size_t b) {
    return a < b ? a : b;
}

// Account copy: the 16 wire bytes as they are, then a terminator in the 17th.
template <size_t N, size_t M>
inline void account_copy(char (&dst)[N], const char (&src)[M]) {
    static_assert(N == M + 1, "the public account id is one byte wider than the wire's");
    memcpy(dst, src, M);
    dst[M] = '\0';
}

// Bounded text: up to the first zero byte, never more than the public field holds;
// a text that fills the field keeps no terminator.
template <size_t N, size_t M>
inline void bounded_text(char (&dst)[N], const char (&src)[M]) {
    memcpy(dst, src, strnlen(src, min_of(N, M)));
}

// Whole field: every byte of the wire field, as it is.
template <size_t N, size_t M>
inline void whole_field(char (&dst)[N], const char (&src)[M]) {
    static_assert(M <= N, "the wire field must fit");
    memcpy(dst, src, M);
}

// Forced end: every byte that fits, then the last byte of the public field zeroed,
// so the text has at most N - 1 characters.
template <size_t N, size_t M>
inline void forced_end(char (&dst)[N], const char (&src)[M]) {
    memcpy(dst, src, min_of(N, M));
    dst[N - 1] = '\0';
}

// Limited text: up to the first zero byte, at most N - 1 characters, terminated.
template <size_t N, size_t M>
inline void limited_text(char (&dst)[N], const char (&src)[M]) {
    const size_t n = strnlen(src, min_of(M, N - 1));
    memcpy(dst, src, n);
    dst[n] = '\0';
}

}  // namespace record_copy

#endif
