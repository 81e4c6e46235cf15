#ifndef ZUL_FUZZ_MESSAGE_LOOP_DRIVER_H
#define ZUL_FUZZ_MESSAGE_LOOP_DRIVER_H

// Drives the client's message loop from memory, the way the transport's receive worker
// does: bytes arrive in pieces, are appended to a hold buffer, the loop is offered all
// bytes held and reports what it consumed, and the rest waits in front of the next
// piece. Shared by the libFuzzer target and the replay test of the ordinary suite.
//
// An input is laid out as
//   byte 0   control: bits 0-1 how the payload is cut (0 whole, 1 byte by byte,
//            2 in two pieces, 3 in small chunks); bit 2 server generation hv27;
//            bit 3 logger switch on
//   byte 1   parameter: the cut point as a share of the payload (n/255), or the chunk
//            size (1 + n % 32)
//   rest     the bytes "from the server"
//
// Every callback slot of the client is filled, and every callback reads every byte of
// what it is handed, so that a record or text that reaches past its memory shows up
// under AddressSanitizer.

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "protocol/msg_define.h"
#include "transport/socket_param.h"

namespace zul_fuzz {

enum feed_mode { FEED_WHOLE = 0, FEED_BYTES = 1, FEED_SPLIT = 2, FEED_CHUNKS = 3 };

const unsigned char CONTROL_MODE_MASK = 0x03;
const unsigned char CONTROL_HV27 = 0x04;
const unsigned char CONTROL_LOGGER = 0x08;
const size_t INPUT_HEADER_SIZE = 2;
const size_t MAX_CHUNK = 32;

// One input, decoded.
struct feed_plan {
    feed_mode mode = FEED_WHOLE;
    bool hv27 = false;
    bool logger = false;
    unsigned char param = 0;
    const unsigned char* payload = nullptr;
    size_t size = 0;
};

inline feed_plan plan_of(const uint8_t* data, size_t size) {
    feed_plan plan;
    if (size < INPUT_HEADER_SIZE)
        return plan;
    plan.mode = static_cast<feed_mode>(data[0] & CONTROL_MODE_MASK);
    plan.hv27 = (data[0] & CONTROL_HV27) != 0;
    plan.logger = (data[0] & CONTROL_LOGGER) != 0;
    plan.param = data[1];
    plan.payload = data + INPUT_HEADER_SIZE;
    plan.size = size - INPUT_HEADER_SIZE;
    return plan;
}

// The lengths of the pieces a payload of `size` bytes arrives in.
inline std::vector<size_t> pieces_of(feed_mode mode, unsigned char param, size_t size) {
    std::vector<size_t> pieces;
    if (size == 0)
        return pieces;
    switch (mode) {
        case FEED_WHOLE:
            pieces.push_back(size);
            break;
        case FEED_BYTES:
            pieces.assign(size, 1);
            break;
        case FEED_SPLIT: {
            const size_t first = size * param / 255;
            if (first > 0)
                pieces.push_back(first);
            if (size > first)
                pieces.push_back(size - first);
            break;
        }
        case FEED_CHUNKS: {
            const size_t chunk = 1 + param % MAX_CHUNK;
            for (size_t at = 0; at < size; at += chunk)
                pieces.push_back(size - at < chunk ? size - at : chunk);
            break;
        }
    }
    return pieces;
}

// What one run of the loop over an input came to.
struct loop_outcome {
    bool consumed_within_offer = true;  // false: the loop claimed more than it was offered
    size_t offers = 0;                  // calls of the loop
    size_t events = 0;                  // callbacks run
    uint64_t digest = 0;                // over every callback's slot and bytes, in order
    size_t left_over = 0;               // bytes still held at the end
};

// Folds the bytes that callbacks see into a digest; reading each byte is the point.
class event_sink {
public:
    void begin(int slot) {
        ++m_outcome.events;
        fold(&slot, sizeof(slot));
    }
    void fold(const void* p, size_t n) {
        const unsigned char* b = static_cast<const unsigned char*>(p);
        for (size_t i = 0; i < n; ++i) {
            m_outcome.digest ^= b[i];
            m_outcome.digest *= 1099511628211ULL;
        }
    }
    // A text handed to a callback is a C string: strlen must stop inside it.
    void absorb(const char* text) {
        if (text == nullptr) {
            fold("\0null", 5);
            return;
        }
        fold(text, strlen(text) + 1);
    }
    template <typename Record>
    void absorb(Record* record) {
        if (record == nullptr) {
            fold("\0null", 5);
            return;
        }
        fold(record, sizeof(Record));
    }
    template <typename Scalar,
              typename = typename std::enable_if<std::is_arithmetic<Scalar>::value>::type>
    void absorb(Scalar value) {
        fold(&value, sizeof(value));
    }

    loop_outcome m_outcome;
};

inline event_sink& sink_of(void* handle) {
    return *static_cast<event_sink*>(KQZUL_GetQueryUserParam(handle));
}

// One callback per slot, its parameters taken from the slot's type.
template <int Slot, typename Callback>
struct recorder;
template <int Slot, typename... Args>
struct recorder<Slot, void (*)(void*, Args...)> {
    static void call(void* handle, Args... args) {
        event_sink& sink = sink_of(handle);
        sink.begin(Slot);
        int expand[] = {0, (sink.absorb(args), 0)...};
        (void)expand;
    }
};

// Fills all 22 slots with Handler<n, slot type>::call, n counting the slots from 1.
template <template <int, typename> class Handler>
void register_every_slot(void* h) {
    KQZUL_SetQueryConnectionEvent(h, &Handler<1, KQZUL_QueryConnectionEvent>::call);
    KQZUL_SetQueryUserLogonEvent(h, &Handler<2, KQZUL_UserLogonEvent>::call);
    KQZUL_SetQueryChangePasswordEvent(h, &Handler<3, KQZUL_ChangePasswordEvent>::call);
    KQZUL_SetQueryUserAccountEvent(h, &Handler<4, KQZUL_QueryUserAccountEvent>::call);
    KQZUL_SetQueryAccountPositionEvent(h, &Handler<5, KQZUL_QueryAccountPositionEvent>::call);
    KQZUL_SetQueryAccountOptionPositionEvent(
        h, &Handler<6, KQZUL_QueryAccountOptionPositionEvent>::call);
    KQZUL_SetQueryAccountBPEvent(h, &Handler<7, KQZUL_QueryAccountBPEvent>::call);
    KQZUL_SetQueryAccountBPDetailEvent(h, &Handler<8, KQZUL_QueryAccountBPDetailEvent>::call);
    KQZUL_ReportAccountBPEvent(h, &Handler<9, KQZUL_AccountBPReportEvent>::call);
    KQZUL_NotifyAccountCashInOutEvent(h, &Handler<10, KQZUL_AccountCashInoutNotifyEvent>::call);
    KQZUL_SetQueryAccountRiskDataEvent(h, &Handler<11, KQZUL_QueryAccountRiskDataEvent>::call);
    KQZUL_SetQueryAccountSymbolRiskDataEvent(
        h, &Handler<12, KQZUL_QueryAccountSymbolRiskDataEvent>::call);
    KQZUL_SetQuerySymbolListEvent(h, &Handler<13, KQZUL_QuerySymbolEvent>::call);
    KQZUL_SetQueryAccountTradeMarginEvent(h,
                                          &Handler<14, KQZUL_QueryAccountTradeMarginEvent>::call);
    KQZUL_SetQueryAccountTradeFeeEvent(h, &Handler<15, KQZUL_QueryAccountTradeFeeEvent>::call);
    KQZUL_SetQueryTradeOrderEvent(h, &Handler<16, KQZUL_QueryTradeOrderEvent>::call);
    KQZUL_SetQueryTradeArbiOrderEvent(h, &Handler<17, KQZUL_QueryTradeArbiOrderEvent>::call);
    KQZUL_SetQueryTradeOrderExecEvent(h, &Handler<18, KQZUL_QueryTradeOrderExecEvent>::call);
    KQZUL_SetQueryTradeOrderExecEventEx(h, &Handler<19, KQZUL_QueryTradeOrderExecEventEx>::call);
    KQZUL_SetQueryTradeQuoteEvent(h, &Handler<20, KQZUL_QueryTradeQuoteEvent>::call);
    KQZUL_SetQueryComboPositionEvent(h, &Handler<21, KQZUL_QueryComboPositionEvent>::call);
    KQZUL_SetQueryComboRuleEvent(h, &Handler<22, KQZUL_QueryComboRuleEvent>::call);
}

// One client, reused for every input as a long-lived connection would be; each input
// starts like a new connection, with an empty hold buffer and a logon answer that sets
// the generation. The client's logs go to a folder of the driver's own under /tmp,
// emptied now and then so that a long fuzzing run does not fill the disk.
class message_loop_driver {
public:
    message_loop_driver() {
        char tmpl[] = "/tmp/zulq_fuzz_XXXXXX";
        if (mkdtemp(tmpl) != nullptr)
            m_log_dir = tmpl;
        // The client opens its logs in the working folder at once: let that be ours.
        std::error_code ec;
        const std::filesystem::path old = std::filesystem::current_path(ec);
        if (!m_log_dir.empty())
            std::filesystem::current_path(m_log_dir, ec);
        m_handle = KQZUL_CreateQuery(&m_sink);
        std::filesystem::current_path(old, ec);
        m_client = static_cast<CQueryClient*>(m_handle);
        register_every_slot<recorder>(m_handle);
    }
    ~message_loop_driver() {
        KQZUL_DestroyQuery(m_handle);
        if (!m_log_dir.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_log_dir, ec);
        }
    }
    message_loop_driver(const message_loop_driver&) = delete;
    message_loop_driver& operator=(const message_loop_driver&) = delete;

    loop_outcome run(const uint8_t* data, size_t size) {
        const feed_plan plan = plan_of(data, size);
        return feed(plan.payload, plan.size, plan.mode, plan.param, plan.hv27, plan.logger);
    }

    loop_outcome feed(const unsigned char* payload, size_t size, feed_mode mode,
                      unsigned char param, bool hv27, bool logger) {
        if (++m_runs % LOG_RESET_RUNS == 0)
            reset_logs();
        m_sink.m_outcome = loop_outcome();
        m_held.clear();
        m_client->SetLoggerSwitch(logger);
        query_logon_msg_resp logon;
        logon.m_reserved[0] = static_cast<char>(hv27 ? HV27_VERSION_FLAG : 0);
        deliver(reinterpret_cast<const unsigned char*>(&logon), sizeof(logon));
        m_held.clear();
        size_t at = 0;
        for (size_t piece : pieces_of(mode, param, size)) {
            deliver(payload + at, piece);
            at += piece;
        }
        m_sink.m_outcome.left_over = m_held.size();
        return m_sink.m_outcome;
    }

    CQueryClient& client() { return *m_client; }

private:
    static const unsigned LOG_RESET_RUNS = 4096;

    // Appends a piece to the hold buffer and offers the bytes held until the loop
    // consumes nothing or all of them, as socket_cache_client does.
    void deliver(const unsigned char* piece, size_t len) {
        if (len == 0)
            return;
        m_held.insert(m_held.end(), piece, piece + len);
        for (;;) {
            // A copy of exactly the bytes held, so that a read past them is caught.
            const size_t held = m_held.size();
            std::unique_ptr<char[]> exact(new char[held]);
            memcpy(exact.get(), m_held.data(), held);
            const char* bytes = exact.get();
            socket_param record(EVENT_RECEIVE, 0, &bytes, static_cast<unsigned int>(held), 0);
            CQueryClient::query_callback(record, m_client);
            ++m_sink.m_outcome.offers;
            size_t consumed = record.get_proc_len();
            if (consumed > held) {
                m_sink.m_outcome.consumed_within_offer = false;
                consumed = held;
            }
            if (consumed == 0)
                return;
            m_held.erase(m_held.begin(), m_held.begin() + static_cast<std::ptrdiff_t>(consumed));
            if (m_held.empty())
                return;
        }
    }

    void reset_logs() {
        if (m_log_dir.empty())
            return;
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(m_log_dir, ec))
            std::filesystem::remove(entry.path(), ec);
        m_client->SetLogDir(m_log_dir.c_str());
    }

    event_sink m_sink;
    std::string m_log_dir;
    void* m_handle = nullptr;
    CQueryClient* m_client = nullptr;
    std::vector<unsigned char> m_held;
    unsigned long m_runs = 0;
};

// The fuzz target's entry: one client for the whole process, as one connection lives
// through many reads.
inline loop_outcome fuzz_one_input(const uint8_t* data, size_t size) {
    static message_loop_driver driver;
    return driver.run(data, size);
}

}  // namespace zul_fuzz

#endif
