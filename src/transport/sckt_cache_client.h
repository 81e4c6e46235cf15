#ifndef VORTANE_TRANSPORT_SCKT_CACHE_CLIENT_H
#define VORTANE_TRANSPORT_SCKT_CACHE_CLIENT_H

#include <string>

#include "tools/stream_buffer.h"
#include "transport/linux_sckt_client.h"
#include "transport/sckt_param.h"

namespace CLIENT_SCKT_ONLY {

// The light client with a hold buffer on its event thread: each EVENT_RECEIVE shows
// every byte held, from the first one the user hasn't consumed, as one run. The user
// reports with set_proc_len what it has finished with; the rest, a partial message
// say, is offered again together with the next bytes. The user is called once per
// read, so it consumes all it can in that call. Every other event is passed on as
// it comes. All of it runs on the event thread, but for the EVENT_LOCALE_DISCONNECT
// of sock_close, and the user's callback holds up reading while it runs.
class sckt_cache_client : public sckt_client {
public:
    // `size`: first capacity of the hold buffer.
    explicit sckt_cache_client(unsigned int size);
    // Waits for the event thread to leave before the hold buffer goes.
    virtual ~sckt_cache_client();

    void set_epoll_max_wait_time(int max_wait_time);
    // `fun` must not be null: such an init is refused. The hold buffer starts empty on
    // every connection.
    bool sock_init(const std::string& ip, unsigned short port, sckt_event_callback fun,
                   void* user_param);

protected:
    static int cache_callback(sckt_param& out, void* para);
    int on_cache_callback(sckt_param& out);
    int call_user(sckt_param& param);

    void* m_caller;
    sckt_event_callback m_callback;
    VORTANE::TOOLS::stream_buffer m_buffer;
};

}  // namespace CLIENT_SCKT_ONLY

#endif
