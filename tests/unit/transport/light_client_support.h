#ifndef ZUL_TESTS_TRANSPORT_LIGHT_CLIENT_SUPPORT_H
#define ZUL_TESTS_TRANSPORT_LIGHT_CLIENT_SUPPORT_H

// The light clients against the loopback server, their events kept by the same
// event_recorder as the event-driven clients'.

#include <sys/socket.h>

#include <chrono>
#include <string>
#include <thread>

#include "loopback_server.h"
#include "transport/linux_sckt_client.h"
#include "transport/sckt_param.h"

namespace transport_test {

namespace lc = CLIENT_SCKT_ONLY;

static_assert(static_cast<int>(lc::EVENT_RECEIVE_BUFF_FULL) == EVENT_RECEIVE_BUFF_FULL &&
                  static_cast<int>(lc::EVENT_RECEIVE) == EVENT_RECEIVE &&
                  static_cast<int>(lc::EVENT_LOCALE_DISCONNECT) == EVENT_LOCALE_DISCONNECT,
              "the recorder reads light-client events as the event-driven client's");

// A light-client callback that hands the event to an event_recorder and passes its
// consumed length back.
inline int light_to_recorder(lc::sckt_param& param, void* recorder) {
    const char* data = param.get_buff_addr();
    socket_param copy(static_cast<SOCKET_EVENT>(param.get_event_type()), param.get_sckt_id(), &data,
                      param.get_buff_size(), 0);
    int result = event_recorder::callback(copy, recorder);
    param.set_proc_len(copy.get_proc_len());
    return result;
}

// A light client of type C with a recorder, connected to its own loopback server.
template <typename C>
struct light_session {
    template <typename... Args>
    explicit light_session(consume_policy policy, Args... client_args)
        : rec(policy), client(client_args...) {
        // Keeps closes, which wait for the event loop, quick.
        client.set_epoll_max_wait_time(5);
    }
    // Connects and accepts; false if either failed.
    bool open() {
        return client.sock_init(LOOPBACK, server.port(), light_to_recorder, &rec) &&
               (peer = server.accept_peer()) != -1;
    }

    loopback_server server;
    event_recorder rec;
    C client;
    int peer = -1;
};

// `n` bytes of a repeating alphabet.
inline std::string pattern(size_t n) {
    std::string s(n, ' ');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>('a' + i % 26);
    return s;
}

// A window in which a call that must not come would have come.
inline void quiet_window() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

// True once the far side reads the end of the connection (0, or a reset).
inline bool peer_sees_end(int peer) {
    return wait_until([peer] {
        char byte;
        ssize_t n = recv(peer, &byte, 1, MSG_DONTWAIT);
        return n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
    });
}

}  // namespace transport_test

#endif
