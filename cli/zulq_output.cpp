#include "zulq_output.h"

#include <algorithm>

namespace zulq {

namespace {

constexpr std::chrono::seconds kProgressAfter{1};
constexpr std::chrono::milliseconds kProgressStep{200};
// Back to the start of the line and erase it.
const char kEraseLine[] = "\r\033[K";

Column event_column() {
    return Column{"Event", false, 9};
}

}  // namespace

void Progress::begin(Clock::time_point now) {
    m_running = true;
    m_count = 0;
    m_start = now;
    m_drawn = now;
}

void Progress::tick(Clock::time_point now) {
    if (!m_enabled || !m_running || now - m_start < kProgressAfter ||
        (m_shown && now - m_drawn < kProgressStep))
        return;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    fprintf(m_out, "%s%zu records, %.0f/s", kEraseLine, m_count, m_count / seconds);
    fflush(m_out);
    m_shown = true;
    m_drawn = now;
}

void Progress::clear() {
    if (m_shown) {
        fputs(kEraseLine, m_out);
        fflush(m_out);
    }
    m_shown = false;
}

const std::vector<Column>& AnswerPrinter::columns(const RecordDesc& desc) {
    auto it = m_columns.find(&desc);
    if (it == m_columns.end())
        it = m_columns.emplace(&desc, columns_of(desc)).first;
    return it->second;
}

void AnswerPrinter::record(const RecordDesc& desc, const void* record) {
    m_printer.print_one(columns(desc), row_of(desc, record));
    ++m_records;
}

void AnswerPrinter::finish(const RecordDesc& closing) {
    if (m_records == 0)
        m_printer.print_header(columns(closing));
}

WatchPrinter::WatchPrinter(Printer& printer, const std::vector<const RecordDesc*>& types)
    : m_printer(printer),
      m_shared(printer.format() == OutputFormat::table || printer.format() == OutputFormat::csv) {
    m_union.push_back(event_column());
    for (const RecordDesc* t : types) {
        for (const Column& c : columns_of(*t)) {
            const bool known = std::any_of(m_union.begin(), m_union.end(),
                                           [&](const Column& u) { return u.name == c.name; });
            if (!known)
                m_union.push_back(c);
        }
    }
}

void WatchPrinter::event(const char* kind, const RecordDesc& desc, const void* record) {
    std::vector<Column> own = {event_column()};
    const std::vector<Column> fields = columns_of(desc);
    own.insert(own.end(), fields.begin(), fields.end());
    Row values = {kind};
    const Row cells = row_of(desc, record);
    values.insert(values.end(), cells.begin(), cells.end());
    if (!m_shared) {
        m_printer.print_one(own, values);
        return;
    }
    Row row(m_union.size());
    for (size_t i = 0; i < own.size(); ++i) {
        for (size_t u = 0; u < m_union.size(); ++u) {
            if (m_union[u].name == own[i].name)
                row[u] = values[i];
        }
    }
    m_printer.print_one(m_union, row);
}

}  // namespace zulq
