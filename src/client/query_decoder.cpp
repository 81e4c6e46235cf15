#include "client/query_decoder.h"

#include <cstring>

#include "client/QueryClient.h"

unsigned int run_message_loop(CQueryClient& client, const unsigned char* data, unsigned int len) {
    unsigned int nProcCount = 0;
    while (nProcCount != len) {
        const int nProc = client.ProcReceiveMsg(data + nProcCount, len - nProcCount);
        if (nProc <= 0)
            break;
        nProcCount += static_cast<unsigned int>(nProc);
    }
    return nProcCount;
}

query_decoder::query_decoder(CQueryClient& client, unsigned int capacity)
    : m_client(client), m_path(capacity) {}

bool query_decoder::feed(const char* data, size_t len) {
    return m_path.feed(data, len, CQueryClient::query_callback, &m_client) == recv_path::TAKEN_UP;
}

bool query_decoder::receive(const char* data, size_t len) {
    // Every read of the piece is queued before the consumer takes the queue up: a batch.
    for (size_t at = 0; at < len;) {
        recv_chunk* chunk = m_path.new_chunk();
        if (chunk == nullptr)
            return false;
        const size_t n = len - at < recv_chunk::CAPACITY ? len - at : recv_chunk::CAPACITY;
        memcpy(chunk->data(), data + at, n);
        chunk->set_len(n);
        m_path.push(chunk);
        at += n;
    }
    const recv_path::control control = {nullptr, nullptr, nullptr, nullptr};
    return m_path.drain(CQueryClient::query_callback, &m_client, control) == recv_path::TAKEN_UP;
}
