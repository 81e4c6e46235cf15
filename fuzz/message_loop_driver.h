#ifndef ZUL_FUZZ_MESSAGE_LOOP_DRIVER_H
#define ZUL_FUZZ_MESSAGE_LOOP_DRIVER_H

// Drives the client's receive side from memory: bytes arrive in pieces and go to the
// client's decoder (query_decoder: the hold buffer and the message loop), which hands
// whole messages to the translators and keeps the cut tail for the next piece. Shared
// by the libFuzzer target and the replay test of the ordinary suite.
//
// An input is laid out as
//   byte 0   control: bits 0-1 how the payload is cut (0 whole, 1 byte by byte,
//            2 in two pieces, 3 in small chunks); bit 2 server generation hv27;
//            bit 3 logger switch on, with the payload whole or in two pieces (the
//            logs are closed otherwise); bit 4 link up: "conn ok" comes before the bytes
//            and "local disconnected" after them, so that a logon answer with result
//            0 logs the client on; bit 5 auto reconnect on, so that such a logon
//            starts the reconnect thread
//   byte 1   parameter: the cut point as a share of the payload (n/255), or the chunk
//            size (1 + n % 32)
//   rest     the bytes "from the server"
//
// Every callback slot of the client is filled, and every callback reads every byte of
// what it is handed, so that a record or text that reaches past its memory shows up
// under AddressSanitizer. Each piece is fed from a heap block of exactly its size, so
// that a read past a piece that the decoder offers where it lies is caught as well.

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>

#include "client/QueryClient.h"
#include "client/query_decoder.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "protocol/msg_define.h"
#include "transport/socket_param.h"

namespace zul_fuzz {

enum feed_mode { FEED_WHOLE = 0, FEED_BYTES = 1, FEED_SPLIT = 2, FEED_CHUNKS = 3 };

const unsigned char CONTROL_MODE_MASK = 0x03;
const unsigned char CONTROL_HV27 = 0x04;
const unsigned char CONTROL_LOGGER = 0x08;
const unsigned char CONTROL_LINK_UP = 0x10;
const unsigned char CONTROL_AUTO_RECONNECT = 0x20;
const size_t INPUT_HEADER_SIZE = 2;
const size_t MAX_CHUNK = 32;

// One input, decoded.
struct feed_plan {
    feed_mode mode = FEED_WHOLE;
    bool hv27 = false;
    bool logger = false;
    bool link_up = false;
    bool auto_reconnect = false;
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
    // The trace costs system calls at every offer, and byte by byte or in small chunks
    // an input makes hundreds of offers: the switch is honoured for the other two cuts.
    plan.logger =
        (data[0] & CONTROL_LOGGER) != 0 && (plan.mode == FEED_WHOLE || plan.mode == FEED_SPLIT);
    plan.link_up = (data[0] & CONTROL_LINK_UP) != 0;
    plan.auto_reconnect = (data[0] & CONTROL_AUTO_RECONNECT) != 0;
    plan.param = data[1];
    plan.payload = data + INPUT_HEADER_SIZE;
    plan.size = size - INPUT_HEADER_SIZE;
    return plan;
}

// The length of the piece that begins `at` bytes into a payload of `size` bytes
// (less than size). Computed as the pieces go, so that feeding allocates nothing.
inline size_t piece_at(feed_mode mode, unsigned char param, size_t size, size_t at) {
    const size_t rest = size - at;
    switch (mode) {
        case FEED_BYTES:
            return 1;
        case FEED_SPLIT: {
            const size_t first = size * param / 255;
            return at < first ? first - at : rest;
        }
        case FEED_CHUNKS: {
            const size_t chunk = 1 + param % MAX_CHUNK;
            return rest < chunk ? rest : chunk;
        }
        case FEED_WHOLE:
        default:
            return rest;
    }
}

// What one run of the loop over an input came to.
struct loop_outcome {
    bool consumed_within_offer = true;  // false: the loop claimed more than it was offered
    size_t events = 0;                  // callbacks run
    uint64_t digest = 0;                // over every callback's slot and bytes, in order
    size_t left_over = 0;               // bytes still held at the end
    bool logged_on = false;             // the client was logged on after the bytes
};

// Folds the bytes that callbacks see into a digest; reading each byte is the point.
class event_sink {
public:
    void begin(int slot) {
        ++m_outcome.events;
        fold(&slot, sizeof(slot));
    }
    // Eight bytes at a time, then the rest one by one.
    void fold(const void* p, size_t n) {
        const unsigned char* b = static_cast<const unsigned char*>(p);
        size_t i = 0;
        for (; i + sizeof(uint64_t) <= n; i += sizeof(uint64_t)) {
            uint64_t word;
            memcpy(&word, b + i, sizeof(word));
            mix(word);
        }
        for (; i < n; ++i)
            mix(b[i]);
    }
    void mix(uint64_t value) {
        m_outcome.digest ^= value;
        m_outcome.digest *= 1099511628211ULL;
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

// One client for the whole process, as one connection lives through many reads; each
// input starts like a new connection, with an empty hold buffer and a logon answer
// that sets the generation. The client's logs go to a folder of the driver's own
// under /tmp, emptied now and then so that a long fuzzing run does not fill the disk.
//
// The reconnect thread, once a logon has started it, runs for the rest of the process
// and acts only on a link that the server ended. The driver never reports such an
// end (an input with the link up ends with a local close, which is never repaired),
// so the thread only watches, and no input waits for it.
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
        m_decoder.reset(new query_decoder(*m_client, HOLD_BUFFER_SIZE));
        register_every_slot<recorder>(m_handle);
    }
    ~message_loop_driver() {
        m_decoder.reset();
        KQZUL_DestroyQuery(m_handle);
        if (!m_log_dir.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_log_dir, ec);
        }
    }
    message_loop_driver(const message_loop_driver&) = delete;
    message_loop_driver& operator=(const message_loop_driver&) = delete;

    loop_outcome run(const uint8_t* data, size_t size) { return feed(plan_of(data, size)); }

    loop_outcome feed(const feed_plan& plan) {
        if (++m_runs % LOG_RESET_RUNS == 0)
            reset_logs();
        m_sink.m_outcome = loop_outcome();
        m_decoder->clear();
        m_client->SetLoggerSwitch(plan.logger);
        keep_logs_open(plan.logger);
        m_client->SetAutoReconnect(plan.auto_reconnect);
        if (plan.link_up)
            report(EVENT_CONNECT);
        query_logon_msg_resp logon;
        logon.m_reserved[0] = static_cast<char>(plan.hv27 ? HV27_VERSION_FLAG : 0);
        deliver(reinterpret_cast<const unsigned char*>(&logon), sizeof(logon));
        m_decoder->clear();
        for (size_t at = 0; at < plan.size;) {
            const size_t piece = piece_at(plan.mode, plan.param, plan.size, at);
            deliver(plan.payload + at, piece);
            at += piece;
        }
        m_sink.m_outcome.left_over = m_decoder->held();
        m_sink.m_outcome.logged_on = m_client->IsLogon();
        if (plan.link_up)
            report(EVENT_LOCALE_DISCONNECT);
        return m_sink.m_outcome;
    }

    CQueryClient& client() { return *m_client; }

private:
    static const unsigned LOG_RESET_RUNS = 4096;
    static const unsigned HOLD_BUFFER_SIZE = 8192;

    // A piece as it would come off the socket, at the very end of a heap block: a read
    // past it runs into the block's end. The block is kept from piece to piece and
    // grows to the largest.
    void deliver(const unsigned char* piece, size_t len) {
        if (len == 0)
            return;
        if (len > m_block_size) {
            m_block.reset(new char[len]);
            m_block_size = len;
        }
        char* at = m_block.get() + (m_block_size - len);
        memcpy(at, piece, len);
        if (!m_decoder->feed(at, len))
            m_sink.m_outcome.consumed_within_offer = false;
    }

    // Every line costs a system call, and the lines written with the switch off (an
    // unknown id, a refusal) come at almost every byte of noise: the logs are open only
    // for inputs with the switch on, and closed loggers drop their lines.
    void keep_logs_open(bool open) {
        if (open == m_logs_open)
            return;
        m_logs_open = open;
        if (open) {
            m_client->m_txt_logger.open((m_log_dir + "/fuzz.log").c_str());
            m_client->m_bin_logger.open((m_log_dir + "/fuzz.bin").c_str());
        } else {
            m_client->m_txt_logger.close();
            m_client->m_bin_logger.close();
        }
    }

    // A connection event, through the client's socket callback as the transport
    // reports it.
    void report(SOCKET_EVENT event) {
        socket_param record(event, 0, nullptr, 0, 0);
        CQueryClient::query_callback(record, m_client);
    }

    void reset_logs() {
        if (m_log_dir.empty())
            return;
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(m_log_dir, ec))
            std::filesystem::remove(entry.path(), ec);
        if (m_logs_open) {
            m_logs_open = false;
            keep_logs_open(true);
        }
    }

    event_sink m_sink;
    std::string m_log_dir;
    void* m_handle = nullptr;
    CQueryClient* m_client = nullptr;
    std::unique_ptr<query_decoder> m_decoder;
    std::unique_ptr<char[]> m_block;
    size_t m_block_size = 0;
    bool m_logs_open = true;
    unsigned long m_runs = 0;
};

// The one driver of the process, made at its first use.
inline message_loop_driver& shared_driver() {
    static message_loop_driver driver;
    return driver;
}

// The fuzz target's entry: one client for the whole process, as one connection lives
// through many reads.
inline loop_outcome fuzz_one_input(const uint8_t* data, size_t size) {
    return shared_driver().run(data, size);
}

}  // namespace zul_fuzz

#endif
