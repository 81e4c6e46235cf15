// The outbound path: every byte the client sends leaves through SendMsgToZul, on
// the calling thread.

#include <chrono>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "transport/socket_cache_client.h"

namespace {

const unsigned char ORDER_MSG_FIRST_BYTE = 10;
const unsigned char CANCEL_MSG_FIRST_BYTE = 11;
const int ORDER_UNIT_BYTES = 100;
const int CANCEL_UNIT_BYTES = 44;
// How long one message may wait for a peer that has stopped reading.
const std::chrono::milliseconds SEND_STALL_LIMIT(5000);

}  // namespace

int CQueryClient::SendMsgToZul(const char* /*p_data_flag*/, const char* p_data, int nLen,
                               enSendDirection sd) {
    // Shared: the transport can't be deleted under this send. The wire mutex keeps
    // the bytes of two messages from interleaving on the socket.
    std::shared_lock<transport_rw_lock> use(m_transport_lock);
    socket_cache_client* transport = m_asyncQueryClient;
    if (sd != SD_QUERY_TCP || transport == nullptr || !transport->is_connected()) {
        m_txt_logger.write_txt("send_error", "tcp client disconn.");
        return -1;
    }
    // An empty message has no first byte to read, so it passes the limiter.
    if (nLen > 0) {
        const unsigned char kind = static_cast<unsigned char>(p_data[0]);
        if (kind == ORDER_MSG_FIRST_BYTE && !m_clt_fc.CheckAndUpdate(true, nLen / ORDER_UNIT_BYTES))
            return -2;
        if (kind == CANCEL_MSG_FIRST_BYTE &&
            !m_clt_fc.CheckAndUpdate(false, nLen / CANCEL_UNIT_BYTES))
            return -2;
    }
    std::lock_guard<std::mutex> wire(m_wire_mutex);
    int nCount = 0;
    std::chrono::steady_clock::time_point give_up{};
    while (nCount < nLen) {
        const int nSend = transport->sock_send(p_data + nCount, nLen - nCount);
        if (nSend < 0) {
            m_txt_logger.write_txt("send_error", "tcp client send data error.");
            return -1;
        }
        if (nSend == 0) {
            // Socket buffer full: wait for room instead of spinning, but not for a
            // peer that never reads again. A close from another thread ends the wait.
            const auto now = std::chrono::steady_clock::now();
            if (give_up == std::chrono::steady_clock::time_point{})
                give_up = now + SEND_STALL_LIMIT;
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(give_up - now).count();
            const int room = transport->wait_writable(left > 0 ? static_cast<int>(left) : 0);
            if (room == 1)
                continue;
            m_txt_logger.write_txt("send_error", "tcp client send data error.");
            // The message cannot go whole: were the link kept, the server would frame
            // the next one from the middle of this one. It ends, reported as a remote
            // end, so that auto reconnect repairs it.
            if (room == 0)
                transport->fail_link();
            return -1;
        }
        if (m_bLoggerSwitch)
            m_bin_logger.write_bin('0', p_data + nCount, nSend);
        nCount += nSend;
    }
    return nCount;
}

bool CQueryClient::ChangeFCParam(Int4 order_count, Int4 cxl_count) {
    return m_clt_fc.change_fc_param(order_count, cxl_count);
}
