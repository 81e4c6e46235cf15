#ifndef ZUL_QUERY_SESSION_H
#define ZUL_QUERY_SESSION_H

// A blocking session on top of the plain face: connect and log on, then one call per
// query that sends the request and returns the whole answer, or hands it over record by
// record. Refusals, lost connections and silences become exceptions of one type,
// zulquery::Error.
//
// Threads. A query runs on the thread that calls it; the records are copied on the
// library's receive thread and handed to the caller's callbacks on the calling thread,
// never on a library thread. One query at a time per session: a second caller waits for
// its turn. Any number of sessions may live in one process. A waiting call wakes at
// least every 50 ms to run Options::poll and to notice interrupt(). The library's threads
// block every asynchronous signal: signals reach the caller's threads only.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

namespace zulquery {

namespace detail {
class SessionCore;
}

// The library's version, "5.2.4.16".
ZUL_API const char* version();

class ZUL_API Error : public std::runtime_error {
public:
    enum class Kind {
        cannot_connect,   // the host has no IPv4 address or the connect failed; code 1
        logon_refused,    // code: the server's logon result
        refused,          // the server refused the query; code: its error id (for a
                          // password change: the server's result code)
        connection_lost,  // the connection ended (or the session was closed) before the
                          // answer was whole; code: the connection event or result code
        timeout,          // the server was silent for longer than Options::timeout; code 0
        not_offered,      // not offered by the server's generation (hv27); code 23
        rejected,         // the library turned the request down; code: its result code
        interrupted,      // interrupt() or Options::poll ended the wait; code 0
    };

    Error(Kind kind, int code, const std::string& message);
    ~Error() override;

    Kind kind() const noexcept { return m_kind; }
    int code() const noexcept { return m_code; }

private:
    Kind m_kind;
    int m_code;
};

// The name of a kind: "cannot_connect", "logon_refused", ...
ZUL_API const char* kind_name(Error::Kind kind);

struct Options {
    // Longest silence of the server in seconds: before the logon answer, before the first
    // record of an answer and between two records. 0 or less: no limit.
    double timeout = 10.0;
    // Folder of the library's logs, made (mode 0700) if missing. It may hold only
    // letters, digits, '_', '-' and '/'. Empty: the working folder.
    std::string log_dir;
    // The binary log and the message trace.
    bool logger = false;
    // After a drop the library connects again every 2 s and the session logs on again with
    // the same user and password. A query that finds the session between the two waits up
    // to `timeout` for the new logon.
    bool auto_reconnect = false;
    // Runs on a waiting thread after every batch of records and at least every 50 ms;
    // returning true ends the wait with Error::Kind::interrupted. For example a check for
    // a pending signal. Threads waiting at once (for their turn, or in next_push) may run
    // it at once. An exception it throws ends the call and passes to the caller.
    std::function<bool()> poll;
    // Pushed events kept for next_push(); beyond that the oldest are dropped.
    size_t push_limit = 10000;
};

// A BP report or a cash notice that the server pushed without a request.
struct Push {
    enum class Kind { bp_report, cash };
    Kind kind = Kind::bp_report;
    ZUL_AccountBP bp{};           // for bp_report
    ZUL_AccountCashInout cash{};  // for cash
};

// A per-record callback: runs on the calling thread, one record at a time, in the order
// of the stream. An exception it throws ends the query and passes to the caller.
template <class R>
using Each = std::function<void(const R&)>;

class ZUL_API Session {
public:
    // Makes the client (its logs open at once) but does not connect. host is a name or
    // dotted IPv4 text. std::invalid_argument for a log folder the library cannot take.
    Session(const std::string& host, int port, Options options = Options());
    // Closes and destroys the client. No call of this session may be under way.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Connects unless connected, logs on and waits for the answer. A refusal leaves the
    // connection open: logon() may be called again.
    void logon(const std::string& user, const std::string& password);
    // The logon answer of the last logon; zeroed before the first.
    ZUL_QueryLogonResponse logon_answer() const;

    // One method per query. Streams come whole; single answers as a vector of one.
    std::vector<ZUL_AccountInfo> accounts();
    void accounts(const Each<ZUL_AccountInfo>& each);
    std::vector<ZUL_AccountBP> bp(const std::string& account);
    void bp(const std::string& account, const Each<ZUL_AccountBP>& each);
    std::vector<ZUL_AccountBPDetail> bp_detail(const std::string& account);
    void bp_detail(const std::string& account, const Each<ZUL_AccountBPDetail>& each);
    std::vector<ZUL_AccountCashInout> cash(const std::string& account);
    void cash(const std::string& account, const Each<ZUL_AccountCashInout>& each);
    // Futures positions, or positions of another non-option kind. Option positions come
    // in their own records: option_positions(); SEC_TYPE_OPTION here is
    // std::invalid_argument.
    std::vector<ZUL_AccountPosition> positions(const std::string& account,
                                               char sec_type = SEC_TYPE_FUTURE);
    void positions(const std::string& account, char sec_type,
                   const Each<ZUL_AccountPosition>& each);
    std::vector<ZUL_AccountOptionPosition> option_positions(const std::string& account);
    void option_positions(const std::string& account, const Each<ZUL_AccountOptionPosition>& each);
    std::vector<ZUL_AccountComboPosition> combo_positions(const std::string& account);
    void combo_positions(const std::string& account, const Each<ZUL_AccountComboPosition>& each);
    std::vector<ZUL_AccountMargin> margin(const std::string& account);
    void margin(const std::string& account, const Each<ZUL_AccountMargin>& each);
    std::vector<ZUL_AccountFee> fees(const std::string& account,
                                     ZUL_FeeSecType sec_type = SEC_TYPE_FUTURE);
    void fees(const std::string& account, ZUL_FeeSecType sec_type,
              const Each<ZUL_AccountFee>& each);
    std::vector<ZUL_QueryAccountOrder> orders(const std::string& account,
                                              char sec_type = SEC_TYPE_FUTURE);
    void orders(const std::string& account, char sec_type, const Each<ZUL_QueryAccountOrder>& each);
    std::vector<ZUL_QueryAccountArbiOrder> arbi_orders(const std::string& account);
    void arbi_orders(const std::string& account, const Each<ZUL_QueryAccountArbiOrder>& each);
    // The server chooses the form of its executions: the vector holds the extended form,
    // short records widened with Symbol and SideType zero. The callback form hands each
    // record in the form it came and tells which form the answer had (true: extended).
    std::vector<ZUL_QueryOrderExecutionEx> executions(const std::string& account,
                                                      char sec_type = SEC_TYPE_FUTURE,
                                                      unsigned rewind = 0);
    bool executions(const std::string& account, char sec_type, unsigned rewind,
                    const Each<ZUL_QueryOrderExecution>& each_short,
                    const Each<ZUL_QueryOrderExecutionEx>& each_extended);
    std::vector<ZUL_QueryAccountQuote> quotes(const std::string& account,
                                              char sec_type = SEC_TYPE_FUTURE);
    void quotes(const std::string& account, char sec_type, const Each<ZUL_QueryAccountQuote>& each);
    std::vector<ZUL_SymbolField> symbols(char sec_type = SEC_TYPE_FUTURE);
    void symbols(char sec_type, const Each<ZUL_SymbolField>& each);
    std::vector<ZUL_AccountComboRule> combo_rules(unsigned char combo_type = 0,
                                                  unsigned char hedge_flag = 0);
    void combo_rules(unsigned char combo_type, unsigned char hedge_flag,
                     const Each<ZUL_AccountComboRule>& each);
    std::vector<ZUL_AccountRiskData> risk(const std::string& account);
    void risk(const std::string& account, const Each<ZUL_AccountRiskData>& each);
    // symbol empty: the server's choice.
    std::vector<ZUL_AccountSymbolRiskData> symbol_risk(const std::string& account,
                                                       const std::string& symbol = "");
    void symbol_risk(const std::string& account, const std::string& symbol,
                     const Each<ZUL_AccountSymbolRiskData>& each);
    // Returns when the server has changed it; a result other than 0 is Error refused
    // with that result as its code.
    void change_password(const std::string& old_password, const std::string& new_password);

    // The oldest pushed event not yet taken. Waits up to timeout seconds (0: not at all;
    // below 0: without limit) and returns nothing if none came. Error connection_lost
    // when none is left and the connection has ended for good (no auto-reconnect). May
    // run beside a query on another thread.
    std::optional<Push> next_push(double timeout);
    // Pushed events dropped because the queue was full.
    size_t dropped_pushes() const;

    // Ends every call of this session that is under way (waiting for its turn, for an
    // answer or for a push) with Error interrupted. Later calls are not affected. Any
    // thread; not from a signal handler.
    void interrupt();
    // Disconnects; calls waiting on the connection end with Error connection_lost.
    // logon() connects again.
    void close();

private:
    std::unique_ptr<detail::SessionCore> m;
};

}  // namespace zulquery

#endif
