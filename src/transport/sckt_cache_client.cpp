#include "transport/sckt_cache_client.h"

namespace CLIENT_SCKT_ONLY {

sckt_cache_client::sckt_cache_client(unsigned int size)
    : m_caller(nullptr), m_callback(nullptr), m_buffer(size) {}

sckt_cache_client::~sckt_cache_client() {
    // The event thread calls into this object: it must be gone before the members.
    end_event_thread();
}

void sckt_cache_client::set_epoll_max_wait_time(int max_wait_time) {
    sckt_client::set_epoll_max_wait_time(max_wait_time);
}

bool sckt_cache_client::sock_init(const std::string& ip, unsigned short port,
                                  sckt_event_callback fun, void* user_param) {
    // The base sees only cache_callback and can't refuse a null user callback. The
    // user's fields are read by the event thread: none may run while they change.
    if (fun == nullptr || !ready_for_init())
        return false;
    m_callback = fun;
    m_caller = user_param;
    // What an earlier connection left is no part of the new stream.
    m_buffer.clear();
    return sckt_client::sock_init(ip, port, cache_callback, this);
}

int sckt_cache_client::cache_callback(sckt_param& out, void* para) {
    return static_cast<sckt_cache_client*>(para)->on_cache_callback(out);
}

int sckt_cache_client::on_cache_callback(sckt_param& out) {
    if (out.get_event_type() != EVENT_RECEIVE)
        return call_user(out);
    if (!m_buffer.push_data(out.get_buff_addr(), out.get_buff_size())) {
        sckt_param full(EVENT_RECEIVE_BUFF_FULL, out.get_sckt_id(), nullptr, 0);
        return call_user(full);
    }
    // The record now shows the whole held run instead of this read's bytes.
    const char* held = m_buffer.get_data_ptr();
    unsigned int held_len = static_cast<unsigned int>(m_buffer.get_data_len());
    out.set_buff(&held, held_len);
    call_user(out);
    unsigned int consumed = out.get_proc_len();
    // More than was offered breaks the user's contract; popping it would break the
    // buffer, so take what there is.
    if (consumed > held_len)
        consumed = held_len;
    m_buffer.pop_data(consumed);
    return 0;
}

int sckt_cache_client::call_user(sckt_param& param) {
    if (m_callback != nullptr)
        m_callback(param, m_caller);
    return 0;
}

}  // namespace CLIENT_SCKT_ONLY
