#ifndef ZUL_SIM_ZUL_SIM_H
#define ZUL_SIM_ZUL_SIM_H

// zulsim: a query-port server to test client programs against, in-process or as the
// program zul_sim. It listens on 127.0.0.1, frames the requests of every client by id
// and size, logs them, and answers each from a data set of exact wire records. It can
// speak either server generation, refuse logons and chosen requests, push BP reports
// and cash notices, cut and delay its writes, and drop connections on command; as
// faults it can stop reading, close right behind the logon answer, flood a client and
// hold connects that it never accepts.
//
// Threads: start() creates an accept thread, a push thread (which also floods) and one
// thread per client; each client's requests are answered on that client's thread, in
// order. Every public operation may be called from any thread.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zulsim {

using Bytes = std::vector<unsigned char>;

// How the server cuts what it writes.
enum class WriteMode {
    whole,         // one write per message
    byte_by_byte,  // one write per byte
    split,         // each message in two writes, the first of write_param bytes
    chunks,        // an answer's bytes in writes of write_param bytes, across message ends
    coalesce,      // an answer's messages in one write (above 1 MiB: writes of about 1 MiB)
};

enum class AcceptMode {
    accept,         // serve every client
    close_at_once,  // accept, then close at once without a byte
    refuse,         // stop listening, so connects are refused; the port is taken up again
                    // when the mode changes back
    hold,           // listen but never accept, with the accept queue kept full: a connect
                    // hangs as it would towards a host that never answers, until the
                    // client gives up; see Simulator::wait_for_hold()
};

struct Options {
    uint16_t port = 0;  // 0: an ephemeral port, see Simulator::port()
    // Server generation. The built-in data is made for it at start(); after changing it
    // at run time, give matching data with set_data().
    bool hv27 = false;
    uint32_t user_id = 70123;

    // Logon: 0 accepts, anything else is the refusal's result code.
    uint32_t logon_result = 0;
    // Byte 51 of the logon answer; -1: 6 for hv27, 0 for the other generation.
    int version_flag = -1;
    // Empty: any password. Else the logon's m_password text must equal it (letter case
    // aside), or the logon is refused with bad_password_result.
    std::string password_digest;
    uint32_t bad_password_result = 2;
    uint32_t change_password_result = 0;

    // Request 75 is answered with 1063 records instead of the generation's 1075.
    bool exec_with_symbol = false;
    // Request id -> error id: such requests are answered by 1064 only.
    std::map<uint16_t, uint32_t> refusals;
    // Requests with these ids are logged and never answered; the connection stays open
    // (a server that has gone silent, for clients' timeouts).
    std::set<uint16_t> unanswered;
    // A single answer asked for an account that the data set doesn't have is refused
    // with this error id; a stream about such an account is empty.
    uint32_t unknown_account_error = 1;
    // An hv27 simulator refuses the requests that its generation does not offer (76, 79,
    // 81, 98) with 1064 and this error id.
    uint32_t not_offered_error = 2;

    WriteMode write_mode = WriteMode::whole;
    size_t write_param = 0;              // split point or chunk size
    std::chrono::milliseconds pause{0};  // after every write

    // Non-zero: every stream carries this many generated data records (benchmarks).
    size_t bulk_records = 0;
    // Non-zero: every client gets a BP report and a cash notice this often, the
    // accounts taken in turn.
    std::chrono::milliseconds push_interval{0};

    // One-shot drop rules, 0 meaning off. Each counts from the moment it is set, over
    // all clients; the client whose write reaches the count is dropped and the rule
    // goes back to 0.
    size_t drop_after_bytes = 0;     // this many more bytes are written, then drop
    size_t drop_after_messages = 0;  // this many more messages are written, then drop
    uint16_t drop_on_request = 0;    // drop a client that sends this request, unanswered

    AcceptMode accept_mode = AcceptMode::accept;

    // Faults of the link, for testing how a client copes with a server that misbehaves.
    // Stop reading: each client's thread reads no more after the request in hand, so
    // what the client sends piles up until its socket is full; false reads again.
    bool stop_reading = false;
    // Every logon is answered and the connection ended in the same write: answer and
    // end of stream arrive together.
    bool close_after_logon = false;
    // Non-zero: after its logon every client is sent BP reports (1093) at about this
    // many bytes per second, without end; a client that reads slower holds the server
    // up (TCP pushes back) but no report is dropped.
    size_t flood_rate = 0;
};

// One request as the server framed it.
struct ReceivedRequest {
    int connection = 0;  // serial number of the client connection, from 1
    uint16_t id = 0;
    std::string name;  // record name; "unknown" for an id without a record
    Bytes raw;         // the record's bytes; for an unknown id all bytes that were at hand
    // Every field but the reserved ones: numbers in decimal, texts up to their first
    // zero byte within the field.
    std::map<std::string, std::string> fields;

    std::string text(const std::string& field) const;
    long long number(const std::string& field) const;  // 0 if there is no such field
};

// The wire records the server answers with, per response id and account. A stream is
// kept whole, its closing record included; a single answer is one record. Account-less
// answers (1071, 1072, 1076) are kept under the account "".
class DataSet {
public:
    explicit DataSet(bool hv27 = false, uint32_t user_id = 70123);

    // The built-in data: three accounts ("ACCT-FULL-WIDE16", "ZQ7", "EMPTY-01"), every
    // field of every record with a value of its own, full-width texts without
    // terminator in every other record. See README.md.
    static DataSet standard(bool hv27 = false, uint32_t user_id = 70123);
    // Reads the text format of README.md. False with a message naming the line on error.
    static bool load(const std::string& path, bool hv27, uint32_t user_id, DataSet* out,
                     std::string* error);

    bool hv27() const { return m_hv27; }
    uint32_t user_id() const { return m_user_id; }
    // The accounts of the account list (1071), in its order.
    std::vector<std::string> accounts() const;

    // A request names at most 15 characters of an account; a stored 16-character
    // account answers to its first 15 as well.
    const std::vector<Bytes>* find(uint16_t response_id, const std::string& account) const;
    // What a request selects of the answer `response_id` about `account`: the records
    // whose selecting fields match the request's (security type, combination type and
    // hedge flag, symbol; a request's 0 or empty text matches every record), a stream's
    // closing record always. Empty if the data set has no such answer.
    std::vector<Bytes> select(uint16_t response_id, const std::string& account,
                              const Bytes& request) const;
    void set(uint16_t response_id, const std::string& account, std::vector<Bytes> messages);
    const std::map<std::pair<uint16_t, std::string>, std::vector<Bytes>>& all() const {
        return m_answers;
    }

    // The index-th record of an answer as a wire record type (no check of the type).
    template <class R>
    R record(uint16_t response_id, const std::string& account, size_t index) const;
    template <class R>
    static Bytes bytes_of(const R& record);

private:
    bool m_hv27;
    uint32_t m_user_id;
    std::map<std::pair<uint16_t, std::string>, std::vector<Bytes>> m_answers;
};

struct Stats {
    size_t writes = 0;    // send calls
    size_t bytes = 0;     // bytes written
    size_t messages = 0;  // messages handed to the writer
};

class Simulator {
public:
    explicit Simulator(Options options = Options());
    ~Simulator();  // stops
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Binds and listens, starts the threads. Serves DataSet::standard() for the
    // options' generation and user id unless set_data() came first.
    bool start(std::string* error = nullptr);
    // Closes every connection and joins every thread. Safe to call twice.
    void stop();
    uint16_t port() const;

    Options options() const;
    // Changes settings while running, e.g. configure([](Options& o) { o.pause = 5ms; }).
    // Answers already being written keep the write settings they began with.
    void configure(const std::function<void(Options&)>& change);

    DataSet data() const;
    void set_data(DataSet data);

    std::vector<ReceivedRequest> requests() const;
    bool wait_for_requests(size_t n, std::chrono::milliseconds timeout) const;
    void clear_requests();

    size_t accepted() const;     // connections accepted since start
    size_t connections() const;  // connections open now
    bool wait_for_accepted(size_t n, std::chrono::milliseconds timeout) const;
    // True once AcceptMode::hold is in place: from then on a connect hangs.
    bool wait_for_hold(std::chrono::milliseconds timeout) const;
    Stats stats() const;

    // Pushes to every open connection; "" takes the first account. Returns the number of
    // connections written to (0 also when the data set has no such record).
    size_t push_bp_report(const std::string& account = "");
    size_t push_cash_notice(const std::string& account = "");
    // Writes these bytes as one message to every open connection.
    size_t send_raw(const Bytes& bytes);
    void drop_connections();

private:
    struct Impl;
    std::unique_ptr<Impl> m;
};

template <class R>
R DataSet::record(uint16_t response_id, const std::string& account, size_t index) const {
    R r;
    const std::vector<Bytes>* msgs = find(response_id, account);
    if (msgs != nullptr && index < msgs->size() && (*msgs)[index].size() == sizeof(R)) {
        std::copy((*msgs)[index].begin(), (*msgs)[index].end(),
                  reinterpret_cast<unsigned char*>(&r));
    }
    return r;
}

template <class R>
Bytes DataSet::bytes_of(const R& record) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&record);
    return Bytes(p, p + sizeof(R));
}

}  // namespace zulsim

#endif
