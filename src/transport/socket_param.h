#ifndef VORTANE_TRANSPORT_SOCKET_PARAM_H
#define VORTANE_TRANSPORT_SOCKET_PARAM_H

#include <string>

enum SOCKET_EVENT {
    EVENT_CONNECT = 0,
    EVENT_REMOTE_DISCONNECT = 1,
    EVENT_LOCALE_DISCONNECT = 2,
    EVENT_NETWORK_ERROR = 3,
    EVENT_RECEIVE = 4,
    EVENT_SEND = 5,
    EVENT_RECEIVE_BUFF_FULL = 6,
    EVENT_RECONN_SERVER = 7,
    EVENT_UNKNOW = 8,
};

// One socket event as the socket layer hands it to its user. The record holds no data
// of its own: m_buff_addr is the address of the producer's pointer to the bytes, so
// that the layer owning the record can point it at other bytes. Record and bytes are
// good only for the length of the callback. On a received run the user reports in
// m_proc_len how many bytes, counted from the data pointer, it has finished with, and
// may tell in m_need_len how many bytes the unit that begins behind them needs, so
// that the layer offers it again as soon as they are there (0: not known).
class socket_param {
public:
    socket_param()
        : m_buff_addr(nullptr),
          m_buff_size(0),
          m_event_type(EVENT_UNKNOW),
          m_socket_id(0),
          m_proc_len(0),
          m_sock(0),
          m_need_len(0) {}
    socket_param(SOCKET_EVENT event, int id, const char** buff, unsigned int size, int sock)
        : m_buff_addr(buff),
          m_buff_size(size),
          m_event_type(event),
          m_socket_id(id),
          m_proc_len(0),
          m_sock(sock),
          m_need_len(0) {}
    // Copies carry everything but the alias.
    socket_param(const socket_param& other)
        : m_buff_addr(other.m_buff_addr),
          m_buff_size(other.m_buff_size),
          m_event_type(other.m_event_type),
          m_socket_id(other.m_socket_id),
          m_proc_len(other.m_proc_len),
          m_sock(other.m_sock),
          m_need_len(other.m_need_len) {}
    socket_param& operator=(const socket_param& other) {
        if (this == &other)
            return *this;
        m_buff_addr = other.m_buff_addr;
        m_buff_size = other.m_buff_size;
        m_event_type = other.m_event_type;
        m_socket_id = other.m_socket_id;
        m_proc_len = other.m_proc_len;
        m_sock = other.m_sock;
        m_need_len = other.m_need_len;
        return *this;
    }

    bool set_event_type(SOCKET_EVENT event_type) {
        m_event_type = event_type;
        return true;
    }
    SOCKET_EVENT get_event_type() { return m_event_type; }

    bool set_socket_id(int id) {
        m_socket_id = id;
        return true;
    }
    int get_socket_id() { return m_socket_id; }

    bool set_sock(int sock) {
        m_sock = sock;
        return true;
    }
    int get_socket() { return m_sock; }

    bool set_alias(std::string alias) {
        m_alias = alias;
        return true;
    }
    bool set_alias(const char* alias) {
        if (alias != nullptr)
            m_alias = alias;
        return true;
    }
    std::string get_alias() { return m_alias; }

    bool set_buff(const char** buff_addr, unsigned int size) {
        if (buff_addr == nullptr || size == 0)
            return false;
        m_buff_addr = buff_addr;
        m_buff_size = size;
        return true;
    }
    const char* get_buff_addr() { return m_buff_addr != nullptr ? *m_buff_addr : nullptr; }
    unsigned int get_buff_size() { return m_buff_size; }

    bool set_proc_len(unsigned int len) {
        m_proc_len = len;
        return true;
    }
    unsigned int get_proc_len() { return m_proc_len; }

    void set_need_len(unsigned int len) { m_need_len = len; }
    unsigned int get_need_len() { return m_need_len; }

private:
    const char** m_buff_addr;
    unsigned int m_buff_size;
    SOCKET_EVENT m_event_type;
    int m_socket_id;
    std::string m_alias;
    unsigned int m_proc_len;
    int m_sock;
    unsigned int m_need_len;
};

// The one callback through which the socket layer reports; its result is ignored.
typedef int (*socket_event_callback)(socket_param& param, void* caller);

#endif
