#ifndef VORTANE_TRANSPORT_LINUX_SOCKET_PARAM_H
#define VORTANE_TRANSPORT_LINUX_SOCKET_PARAM_H

#include "transport/socket_param.h"

// Lets the owner of a socket object take its log lines. The owner derives from it and
// passes it with socket_client::sock_set_context; the socket object doesn't own it.
class socket_context {
public:
    virtual ~socket_context();
    virtual void on_socket_write_info_msg(const char* msg, int len) = 0;
    virtual void on_socket_write_error_msg(const char* msg, int len) = 0;
    virtual void on_socket_write_bin_msg(const char* msg, int len) = 0;
};

// Failures of epoll_wait over the life of one socket_client, by kind.
struct epoll_error {
    epoll_error();

    int m_wait_error_EBADF;
    int m_wait_error_EFAULT;
    int m_wait_error_EINTR;
    int m_wait_error_EINVAL;
    int m_wait_error_UNDEF;
};

#endif
