#ifndef CLIENT_QUERY_DECODER_H
#define CLIENT_QUERY_DECODER_H

// The receive side of the query port without the socket: the transport's receive path
// (its chunk pool, queue and hold buffer) fed from memory, handing whole messages to
// the client's translators on the feeding thread and keeping the head of a message cut
// by a read for the rest. Tests, the fuzz target and the benchmarks drive it.

#include <cstddef>

#include "transport/recv_path.h"

class CQueryClient;

// The message loop: hands every whole message at the head of the run to the client,
// one after the other, and returns the number of bytes they took. It stops at the
// first message that is not all there (0 from ProcReceiveMsg); an unknown id takes
// everything at hand.
unsigned int run_message_loop(CQueryClient& client, const unsigned char* data, unsigned int len);

// The client behind the transport's receive path, fed by one thread at a time. The
// client and its callbacks run on the feeding thread.
class query_decoder {
public:
    // capacity: the first size of the hold buffer, which grows to hold the longest
    // cut message and never shrinks.
    query_decoder(CQueryClient& client, unsigned int capacity);
    query_decoder(const query_decoder&) = delete;
    query_decoder& operator=(const query_decoder&) = delete;

    // Delivers every whole message of what was held and these len bytes, in order,
    // and keeps what is left, as the receive worker does with a chunk: bytes are read
    // where they lie, and only the cut tail is copied. False if the loop claimed more
    // bytes than it was offered (a framing fault; the claim is cut to what there was)
    // or the tail could not be kept.
    bool feed(const char* data, size_t len);
    // The same bytes as the transport receives them: read into chunks from its pool
    // (recv_chunk::CAPACITY at most each), queued, and drained.
    bool receive(const char* data, size_t len);
    // Bytes of a cut message, waiting for the rest.
    size_t held() const { return m_path.held(); }
    // Drops what is held: a new connection starts at a message boundary.
    void clear() { m_path.clear(); }
    recv_path& path() { return m_path; }

private:
    CQueryClient& m_client;
    recv_path m_path;
};

#endif
