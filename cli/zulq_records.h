#ifndef ZULQ_RECORDS_H
#define ZULQ_RECORDS_H

// One description per public record: its fields in order, each with the column name
// it is printed under, its kind, offset and width. Every output format is driven by
// these descriptions alone.

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

namespace zulq {

enum class FieldKind {
    signed_int,
    unsigned_int,
    real,
    text,       // char array: up to its first zero byte, never past its width
    character,  // a single char such as the call/put letter
    timestamp,  // ZUL_Nanosecond: seconds in the high half, nanoseconds in the low half
};

struct FieldDesc {
    std::string column;  // the field's name without its "m_" prefix
    FieldKind kind;
    size_t offset;
    size_t width;
};

struct RecordDesc {
    const char* type;  // the public type's name
    size_t size;
    std::vector<FieldDesc> fields;
};

template <class T>
constexpr FieldKind kind_of() {
    if constexpr (std::is_array_v<T>) {
        return FieldKind::text;
    } else if constexpr (std::is_same_v<T, char>) {
        return FieldKind::character;
    } else if constexpr (std::is_floating_point_v<T>) {
        return FieldKind::real;
    } else if constexpr (std::is_same_v<T, ZUL_Nanosecond>) {
        // ZUL_Nanosecond is the only unsigned 64-bit type in the public records, so
        // the type alone marks a timestamp.
        return FieldKind::timestamp;
    } else if constexpr (std::is_signed_v<T>) {
        return FieldKind::signed_int;
    } else {
        return FieldKind::unsigned_int;
    }
}

FieldDesc make_field(const char* member, FieldKind kind, size_t offset, size_t width);

#define ZULQ_FIELD(R, f) \
    ::zulq::make_field(#f, ::zulq::kind_of<decltype(R::f)>(), offsetof(R, f), sizeof(R::f))

// Defined for every public record that a callback delivers.
template <class R>
const RecordDesc& record_desc();

// Every description, for checks that walk them all.
std::vector<const RecordDesc*> all_record_descs();

}  // namespace zulq

#endif
