#ifndef API_KQ_ZUL_QUERY_INTERNAL_H
#define API_KQ_ZUL_QUERY_INTERNAL_H

#include <cstddef>

// The one way a caller's string enters a request record: the whole buffer is
// zeroed, then at most buf_len - 1 bytes are copied, so the field is always
// terminated and a longer source is cut without a report. p_src must not be null.
void copy_api_str(char* p_buff, size_t buf_len, const char* p_src);

// Sleeps ms milliseconds; only KQZUL_ConnQueryServer pauses after a connect.
void sleep_milliseconds(int ms);

#endif
