#include "client/query_decoder.h"

#include <climits>

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
    : m_client(client), m_hold_buf(capacity) {}

bool query_decoder::feed(const char* data, size_t len) {
    if (len == 0)
        return true;
    bool within_offer = true;
    if (m_hold_buf.get_data_len() == 0) {
        const size_t taken = offer(data, len, &within_offer);
        if (taken < len)
            m_hold_buf.push_data(data + taken, len - taken);
        return within_offer;
    }
    // A failed growth loses these bytes, as a transport that cannot store a read does.
    m_hold_buf.push_data(data, len);
    const size_t taken = offer(m_hold_buf.get_data_ptr(), m_hold_buf.get_data_len(), &within_offer);
    if (taken > 0)
        m_hold_buf.pop_data(taken);
    return within_offer;
}

// A pass that took something is followed by another on what is left, which takes
// nothing but, with the trace on, traces the unfinished message once more: the
// transport offers its hold buffer that way, and the log shows every offer.
size_t query_decoder::offer(const char* data, size_t len, bool* within_offer) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data);
    size_t taken = 0;
    while (taken < len) {
        // The loop counts in unsigned int; a run longer than that is offered in parts.
        const size_t left = len - taken < UINT_MAX ? len - taken : UINT_MAX;
        size_t consumed =
            run_message_loop(m_client, bytes + taken, static_cast<unsigned int>(left));
        if (consumed == 0)
            break;
        if (consumed > left) {
            *within_offer = false;
            consumed = left;
        }
        taken += consumed;
    }
    return taken;
}
