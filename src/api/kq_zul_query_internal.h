#ifndef API_KQ_ZUL_QUERY_INTERNAL_H
#define API_KQ_ZUL_QUERY_INTERNAL_H

#include <cstddef>

#include "ZulCommonDefine.h"

// The one way a caller's string enters a request record: the whole buffer is
// zeroed, then at most buf_len - 1 bytes are copied, so the field is always
// terminated and a longer source is cut without a report. p_src must not be null.
void copy_api_str(char* p_buff, size_t buf_len, const char* p_src);

// The rule for a new password: 8 to 32 characters of letters, digits and '_',
// with at least one letter and one digit.
bool passwd_check(const char* passwd);
// True for the exchange ids 100 to 108; no request of the query port carries one.
bool exchange_id_check(ZUL_ExchangeID exchangeID);

// Sleeps ms milliseconds; only KQZUL_ConnQueryServer pauses after a connect.
void sleep_milliseconds(int ms);

#endif
