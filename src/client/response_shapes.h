#ifndef CLIENT_RESPONSE_SHAPES_H
#define CLIENT_RESPONSE_SHAPES_H

// The shapes a response takes on its way to a callback, shared by the translators of
// every family: a stream message (a data record, or the closing record of its stream)
// and a single answer. Each builds the public record on the stack, lets a fill
// function map the wire fields into it, and fires the slot. Nothing is allocated.

#include <cstring>

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "protocol/msg_define.h"

namespace response_shapes {

// The option position record names its fields without the m_ prefix; every other
// stream record names them alike.
template <class Wire>
inline Int1 last_record_flag(const Wire& wire) {
    return wire.m_last_record_flag;
}
inline Int1 last_record_flag(const query_account_opt_position_resp& wire) {
    return wire.last_record_flag;
}

template <class Wire>
inline const AccountID& wire_account(const Wire& wire) {
    return wire.m_account_id;
}
inline const AccountID& wire_account(const query_account_opt_position_resp& wire) {
    return wire.account_id;
}

// The wire's account id as terminated text, for callbacks that take it beside the
// record. Lives as long as the translator's frame.
struct account_text {
    template <class Wire>
    explicit account_text(const Wire& wire) {
        record_copy::account_copy(m_text, wire_account(wire));
    }
    char m_text[sizeof(AccountID) + 1];
};

// A public record on the stack, all zero, filled from the wire unless it stands for a
// closing record.
template <class Public, class Wire>
Public built_record(const Wire& wire, void (*fill)(Public&, const Wire&), bool with_data) {
    Public record;
    memset(static_cast<void*>(&record), 0, sizeof(Public));
    if (with_data)
        fill(record, wire);
    return record;
}

// One message of a stream. A non-zero last-record flag, whatever its value, marks the
// closing record: it carries no data, so the caller gets an all-zero record with
// bFinish true. Otherwise the record is filled and goes out with bFinish false. The
// lead arguments (the account text, where the callback takes one) come before the
// record; the error id is always 0 here, refusals take another path.
template <class Public, class Wire, class Callback, class... Lead>
void stream_message(CQueryClient& client, const std::atomic<Callback>& slot, const Wire& wire,
                    void (*fill)(Public&, const Wire&), Lead... lead) {
    // An empty slot drops the message: nothing to build.
    if (slot.load() == nullptr)
        return;
    const bool finish = last_record_flag(wire) != 0;
    Public record = built_record(wire, fill, !finish);
    client.fire_event(slot, lead..., &record, finish, static_cast<ZUL_QueryErrorId>(0));
}

// A stream whose callback takes the account text of the wire record, the closing
// record's included.
template <class Public, class Wire, class Callback>
void account_stream_message(CQueryClient& client, const std::atomic<Callback>& slot,
                            const Wire& wire, void (*fill)(Public&, const Wire&)) {
    if (slot.load() == nullptr)
        return;
    const account_text account(wire);
    stream_message(client, slot, wire, fill, static_cast<const char*>(account.m_text));
}

// A single answer or a pushed message about one account: the callback gets the
// record's own terminated account id, the record, and the trailing arguments (the
// error id 0, except for the BP report, whose callback has none).
template <class Public, class Wire, class Callback, class... Tail>
void account_message(CQueryClient& client, const std::atomic<Callback>& slot, const Wire& wire,
                     void (*fill)(Public&, const Wire&), Tail... tail) {
    if (slot.load() == nullptr)
        return;
    Public record = built_record(wire, fill, true);
    client.fire_event(slot, static_cast<const char*>(record.m_Account), &record, tail...);
}

}  // namespace response_shapes

#endif
