#ifndef ZULQ_OUTPUT_H
#define ZULQ_OUTPUT_H

// What zulq prints while an answer arrives: its records, one at a time, the pushed events
// of watch under one header, and a progress line on stderr.

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "zulq_format.h"
#include "zulq_records.h"

namespace zulq {

// "N records, R/s" on one line of a terminal, redrawn in place. It shows once an answer
// has run for a second, at most every 200 ms, and is erased by clear(). Disabled, it
// writes nothing.
class Progress {
public:
    using Clock = std::chrono::steady_clock;

    Progress(FILE* out, bool enabled) : m_out(out), m_enabled(enabled) {}

    void begin(Clock::time_point now);
    void add() { ++m_count; }
    void tick(Clock::time_point now);
    void clear();
    bool shown() const { return m_shown; }
    size_t count() const { return m_count; }

private:
    FILE* m_out;
    bool m_enabled;
    bool m_running = false;
    bool m_shown = false;
    size_t m_count = 0;
    Clock::time_point m_start, m_drawn;
};

// The records of one answer, each printed as it comes.
class AnswerPrinter {
public:
    explicit AnswerPrinter(Printer& printer) : m_printer(printer) {}

    void record(const RecordDesc& desc, const void* record);
    // The header of the closing type, if no record came.
    void finish(const RecordDesc& closing);
    size_t records() const { return m_records; }

private:
    const std::vector<Column>& columns(const RecordDesc& desc);

    Printer& m_printer;
    std::map<const RecordDesc*, std::vector<Column>> m_columns;
    size_t m_records = 0;
};

// Pushed events of different types in one stream. A table and CSV get one header: an
// Event column, then the union of the types' columns in their order, cells of columns
// that an event lacks left empty, so that every line stands under the right names. JSON
// lines and the vertical form name each field: they show an event's own columns.
class WatchPrinter {
public:
    WatchPrinter(Printer& printer, const std::vector<const RecordDesc*>& types);

    void event(const char* kind, const RecordDesc& desc, const void* record);
    const std::vector<Column>& header() const { return m_union; }

private:
    Printer& m_printer;
    bool m_shared;  // one header for every type
    std::vector<Column> m_union;
};

}  // namespace zulq

#endif
