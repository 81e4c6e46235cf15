#include "session/session_words.h"

#include <cerrno>
#include <cstring>

namespace zulquery {
namespace detail {

std::string result_words(RESULT result) {
    switch (result) {
        case ZUL_RESULT_OK:
            return "done";
        case ZUL_RESULT_CONN_FAILED:
            return "cannot connect";
        case ZUL_RESULT_SEND_FAILED:
            return "the request could not be sent";
        case ZUL_RESULT_NOT_LOGGED_ON:
            return "not logged on";
        case ZUL_RESULT_NOT_CONNECTED:
            return "no open connection";
        case ZUL_RESULT_BAD_HANDLE:
            return "no client";
        case ZUL_RESULT_BAD_PASSWORD:
            return "the new password must have 8 to 32 letters, digits or '_', with at least "
                   "one letter and one digit";
        case ZUL_RESULT_NOT_SUPPORTED:
            return "servers of the hv27 generation do not offer this query";
        default:
            return "turned down by the library";
    }
}

// The library passes logon results on without a meaning of its own. 2 is what a server
// answers to a password whose digest does not match (the simulator does the same); other
// values are the server's own reasons, shown as numbers.
std::string logon_words(int result) {
    switch (result) {
        case ZUL_LOGON_ACCEPTED:
            return "accepted";
        case 2:
            return "user id or password not accepted";
        default:
            return "a reason of the server's own";
    }
}

std::string connect_reason(int error) {
    switch (error) {
        case 0:
            return "reason unknown";
        case ECONNREFUSED:
            return "connection refused: nothing listens on that port";
        case ETIMEDOUT:
            return "timed out: no answer from the server";
        case ECANCELED:
            return "given up: the connection was closed meanwhile";
        case EHOSTUNREACH:
            return "host unreachable";
        case ENETUNREACH:
            return "network unreachable";
        default: {
            char buf[256];
            // The GNU strerror_r returns its text, which need not be in buf.
            return strerror_r(error, buf, sizeof(buf));
        }
    }
}

}  // namespace detail
}  // namespace zulquery
