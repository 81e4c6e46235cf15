#include "transport/linux_socket_param.h"

socket_context::~socket_context() {}

epoll_error::epoll_error()
    : m_wait_error_EBADF(0),
      m_wait_error_EFAULT(0),
      m_wait_error_EINTR(0),
      m_wait_error_EINVAL(0),
      m_wait_error_UNDEF(0) {}
