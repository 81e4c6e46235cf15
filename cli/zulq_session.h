#ifndef ZULQ_SESSION_H
#define ZULQ_SESSION_H

// One client of the plain face for the life of a zulq run. The main thread connects,
// logs on, sends and waits; the library's threads run the callbacks, which store what
// arrives under m_mutex and wake the main thread. Nothing but the main thread connects,
// disconnects or destroys the client.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "zulq_cli.h"
#include "zulq_format.h"

namespace zulq {

// A record as delivered: its description and a copy of its bytes.
struct Delivery {
    const RecordDesc* desc;
    std::string bytes;
};

struct Answer {
    std::vector<Delivery> records;
    const RecordDesc* closing = nullptr;  // the type whose callback closed the list
    int password_result = 0;
};

class Session {
public:
    // Makes the client, with its logs in the settings' folder, and registers every
    // callback. SIGINT and SIGTERM must be blocked in every thread already: the wait
    // loops take them with sigtimedwait.
    explicit Session(const Settings& settings);
    ~Session();  // disconnects and destroys the client
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Watch mode: pushed records go to the printer as they arrive, at most limit of
    // them (0: no limit). Set before open().
    void watch_into(Printer* printer, unsigned long limit);

    // Connects and logs on; an ExitCode, or 128 + signal.
    int open();
    // Sends the command's request and collects its answer.
    int query(const Command& c, const CommandArgs& args, Answer* answer);
    // Waits for the limit of pushed events or a signal, which ends it well.
    int watch();

    // Entry points of the callbacks.
    void on_lost();
    void on_logon(const ZUL_QueryLogonResponse& r);
    void on_password(int result);
    enum class Part { data, closing, whole };
    void deliver(const RecordDesc& desc, const void* record, Part part, ZUL_QueryErrorId error);
    void event(const char* name, const RecordDesc& desc, const void* record);
    bool watching() const { return m_watching; }
    bool extended() const { return m_extended; }

private:
    enum class Outcome { ready, lost, timeout, interrupted };
    template <class Pred>
    Outcome wait(Pred ready, double timeout_s);
    int failure(Outcome o, const std::string& what);
    int request_result(const Command& c, int result);

    Settings m_settings;
    void* m_handle = nullptr;
    std::atomic<bool> m_watching{false};
    std::atomic<bool> m_extended{false};
    int m_signal = 0;  // the signal that interrupted a wait

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex:
    bool m_lost = false;
    bool m_logon_done = false;
    ZUL_QueryLogonResponse m_logon{};
    const Command* m_active = nullptr;  // the command whose answer is awaited
    bool m_done = false;
    ZUL_QueryErrorId m_error = 0;
    Answer m_answer;
    Printer* m_printer = nullptr;
    unsigned long m_events = 0;
    unsigned long m_event_limit = 0;
};

}  // namespace zulq

#endif
