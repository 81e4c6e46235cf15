#ifndef ZUL_PROTOCOL_ZUL_DEFINE_H
#define ZUL_PROTOCOL_ZUL_DEFINE_H

// Value sets shared by the wire records and the public records.

// The public header ZulQueryDefine.h declares the same enumeration; whichever of the
// two is included first declares it, under this one guard.
#ifndef ZUL_SEC_TYPE_DEFINED
#define ZUL_SEC_TYPE_DEFINED
// Values of m_sec_type (requests) and m_instrument_type (symbol and order records).
enum zul_sec_type {
    SEC_TYPE_STOCK = 1,
    SEC_TYPE_OPTION = 2,
    SEC_TYPE_FUTURE = 3,
    SEC_TYPE_ARBI = 4,
    SEC_TYPE_F = 5,
};
#endif

// The server's position directions. The client passes the direction bytes on as they
// come; only the fee records give 1 a meaning of its own.
enum position_direction {
    DORVIN_POSITION_LONG = 1,
    DORVIN_POSITION_SHORT = 2,
};

#endif
