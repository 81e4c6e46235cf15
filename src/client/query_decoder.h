#ifndef CLIENT_QUERY_DECODER_H
#define CLIENT_QUERY_DECODER_H

// The receive side of the query port without the socket: bytes go in as they were
// read, whole messages come out to the client's translators, and the head of a
// message cut by the read waits for the rest. Tests, the fuzz target and the
// benchmarks drive it from memory.

#include <cstddef>

#include "tools/stream_buffer.h"

class CQueryClient;

// The message loop: hands every whole message at the head of the run to the client,
// one after the other, and returns the number of bytes they took. It stops at the
// first message that is not all there (0 from ProcReceiveMsg); an unknown id takes
// everything at hand.
unsigned int run_message_loop(CQueryClient& client, const unsigned char* data, unsigned int len);

// The hold buffer and the message loop as one unit, fed bytes by one thread at a
// time. The client and its callbacks are run on the feeding thread.
class query_decoder {
public:
    // capacity: the first size of the hold buffer, which grows to hold the longest
    // cut message and never shrinks.
    query_decoder(CQueryClient& client, unsigned int capacity);
    query_decoder(const query_decoder&) = delete;
    query_decoder& operator=(const query_decoder&) = delete;

    // Delivers every whole message of what was held and these len bytes, in order,
    // and keeps what is left. Bytes that nothing holds yet are read where they lie;
    // only the cut tail is copied. False if the loop claimed more bytes than it was
    // offered (a framing fault; the claim is cut to what there was).
    bool feed(const char* data, size_t len);
    // Bytes of a cut message, waiting for the rest.
    size_t held() const { return m_hold_buf.get_data_len(); }
    // Drops what is held: a new connection starts at a message boundary.
    void clear() { m_hold_buf.clear(); }

private:
    // Offers the run to the loop as the transport does, again after every pass that
    // took something, until a pass takes nothing or nothing is left; the bytes taken.
    size_t offer(const char* data, size_t len, bool* within_offer);

    CQueryClient& m_client;
    VORTANE::TOOLS::stream_buffer m_hold_buf;
};

#endif
