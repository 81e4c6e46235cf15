#ifndef VORTANE_TRANSPORT_SCKT_PARAM_H
#define VORTANE_TRANSPORT_SCKT_PARAM_H

#include <string>

namespace CLIENT_SCKT_ONLY {

// The events of the light client. There is no reconnection event, so the default
// value comes one place earlier than in the event-driven client's enumeration.
enum SOCKET_EVENT {
    EVENT_CONNECT = 0,
    EVENT_REMOTE_DISCONNECT = 1,
    EVENT_LOCALE_DISCONNECT = 2,
    EVENT_NETWORK_ERROR = 3,
    EVENT_RECEIVE = 4,
    EVENT_SEND = 5,
    EVENT_RECEIVE_BUFF_FULL = 6,
    EVENT_UNKNOW = 7,
};

// One event of the light client as its user sees it. Like the event-driven client's
// record it holds no data of its own: m_buff_addr is the address of the producer's
// pointer to the bytes, and record and bytes are good only during the callback. On a
// received run the user reports in m_proc_len how many bytes it has finished with.
class sckt_param {
public:
    sckt_param()
        : m_buff_addr(nullptr),
          m_buff_size(0),
          m_event_type(EVENT_UNKNOW),
          m_sckt_id(0),
          m_proc_len(0) {}
    sckt_param(SOCKET_EVENT event, int id, const char** buff, unsigned int size)
        : m_buff_addr(buff), m_buff_size(size), m_event_type(event), m_sckt_id(id), m_proc_len(0) {}
    // Copies carry everything but the alias.
    sckt_param(const sckt_param& other)
        : m_buff_addr(other.m_buff_addr),
          m_buff_size(other.m_buff_size),
          m_event_type(other.m_event_type),
          m_sckt_id(other.m_sckt_id),
          m_proc_len(other.m_proc_len) {}
    sckt_param& operator=(const sckt_param& other) {
        if (this == &other)
            return *this;
        m_buff_addr = other.m_buff_addr;
        m_buff_size = other.m_buff_size;
        m_event_type = other.m_event_type;
        m_sckt_id = other.m_sckt_id;
        m_proc_len = other.m_proc_len;
        return *this;
    }

    bool set_event_type(SOCKET_EVENT event_type) {
        m_event_type = event_type;
        return true;
    }
    SOCKET_EVENT get_event_type() { return m_event_type; }

    bool set_sckt_id(int id) {
        m_sckt_id = id;
        return true;
    }
    int get_sckt_id() { return m_sckt_id; }

    bool set_alias(std::string alias) {
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

private:
    const char** m_buff_addr;
    unsigned int m_buff_size;
    SOCKET_EVENT m_event_type;
    int m_sckt_id;
    std::string m_alias;
    unsigned int m_proc_len;
};

// The one callback of the light client; its result is ignored.
typedef int (*sckt_event_callback)(sckt_param& param, void* caller);

}  // namespace CLIENT_SCKT_ONLY

#endif
