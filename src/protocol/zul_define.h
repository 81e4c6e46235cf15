#ifndef ZUL_PROTOCOL_ZUL_DEFINE_H
#define ZUL_PROTOCOL_ZUL_DEFINE_H

// Value sets shared by the wire records and the public records.

// zul_sec_type, the values of m_sec_type and m_instrument_type, is public: one
// declaration serves both.
#include "ZulCommonDefine.h"

// The server's position directions. The client passes the direction bytes on as they
// come; only the fee records give 1 a meaning of its own.
enum position_direction {
    DORVIN_POSITION_LONG = 1,
    DORVIN_POSITION_SHORT = 2,
};

#endif
