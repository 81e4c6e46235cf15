#ifndef ZUL_SESSION_SESSION_WORDS_H
#define ZUL_SESSION_SESSION_WORDS_H

// Words for the numbers that failures carry, so that a message says what happened and
// keeps the number beside it.

#include <string>

#include "ZulCommonDefine.h"

namespace zulquery {
namespace detail {

// What a result code of the plain face means: "no open connection" for 7.
std::string result_words(RESULT result);
// What a logon result means.
std::string logon_words(int result);
// Why a connect failed, from its errno: "connection refused", "timed out", ...
std::string connect_reason(int error);

}  // namespace detail
}  // namespace zulquery

#endif
