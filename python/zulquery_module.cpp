// _zulquery: the session layer and the simulator for Python. Records are collected in C++
// with the GIL released and become Python objects when the call returns: no Python code
// runs on a library thread. Ctrl-C reaches a waiting call through the session's poll hook.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
// clang-format off
#include <datetime.h>
// clang-format on
#include <signal.h>

#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

#include "ZulQuerySession.h"
#include "tools/signals_held.h"
#include "zul_sim.h"
#include "zulq_records.h"

namespace py = pybind11;
using zulq::FieldDesc;
using zulq::FieldKind;
using zulq::record_desc;
using zulq::RecordDesc;

namespace {

// ---- Records ----

// A record as delivered: its description, its kind for Python and a copy of its bytes.
struct Record {
    const RecordDesc* desc = nullptr;
    std::string kind;
    std::string bytes;
};
// One Python class per record type, all with Record's behaviour.
template <class R>
struct RecordOf : Record {};

template <class T>
T read_as(const char* at) {
    T v;
    memcpy(&v, at, sizeof(T));
    return v;
}

py::object integer(const FieldDesc& f, const char* at) {
    const bool is_signed = f.kind == FieldKind::signed_int;
    switch (f.width) {
        case 1:
            return is_signed ? py::int_(read_as<signed char>(at)) : py::int_(read_as<uint8_t>(at));
        case 2:
            return is_signed ? py::int_(read_as<int16_t>(at)) : py::int_(read_as<uint16_t>(at));
        case 4:
            return is_signed ? py::int_(read_as<int32_t>(at)) : py::int_(read_as<uint32_t>(at));
        default:
            return is_signed ? py::int_(read_as<int64_t>(at)) : py::int_(read_as<uint64_t>(at));
    }
}

// Seconds in the high half, nanoseconds in the low: an aware UTC datetime (to the
// microsecond); 0, a time that has not happened, is None.
py::object timestamp(ZUL_Nanosecond t) {
    if (t == 0)
        return py::none();
    static py::object epoch =
        py::module_::import("datetime")
            .attr("datetime")(1970, 1, 1, 0, 0, 0, 0,
                              py::module_::import("datetime").attr("timezone").attr("utc"));
    const long long seconds = static_cast<long long>(t >> 32);
    const unsigned nanos = static_cast<unsigned>(t & 0xffffffffu);
    py::object delta = py::reinterpret_steal<py::object>(PyDelta_FromDSU(
        static_cast<int>(seconds / 86400), static_cast<int>(seconds % 86400), nanos / 1000));
    if (!delta)
        throw py::error_already_set();
    return epoch + delta;
}

// Texts read as Latin-1: every byte becomes one character, none is lost.
py::object text(const char* at, size_t width) {
    const size_t n = strnlen(at, width);
    PyObject* s = PyUnicode_DecodeLatin1(at, static_cast<Py_ssize_t>(n), nullptr);
    if (s == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::object>(s);
}

py::object field_value(const FieldDesc& f, const char* record) {
    const char* at = record + f.offset;
    switch (f.kind) {
        case FieldKind::text:
        case FieldKind::character:
            return text(at, f.width);
        case FieldKind::real:
            return py::float_(read_as<double>(at));
        case FieldKind::timestamp:
            return timestamp(read_as<ZUL_Nanosecond>(at));
        case FieldKind::signed_int:
        case FieldKind::unsigned_int:
            return integer(f, at);
    }
    return py::none();
}

const FieldDesc* field_named(const RecordDesc& d, const std::string& name) {
    static std::map<const RecordDesc*, std::unordered_map<std::string, const FieldDesc*>> index;
    auto& fields = index[&d];
    if (fields.empty()) {
        for (const FieldDesc& f : d.fields)
            fields.emplace(f.column, &f);
    }
    auto it = fields.find(name);
    return it == fields.end() ? nullptr : it->second;
}

// Fields that tell one record from another, shown by repr.
bool is_key(const std::string& column) {
    static const char* const keys[] = {"Account",         "ActId",       "account_id",
                                       "Symbol",          "symbol",      "ComboSymbol",
                                       "InternalOrderId", "ExecutionID", "InternalQuoteId"};
    for (const char* k : keys) {
        if (column == k)
            return true;
    }
    return false;
}

py::dict to_dict(const Record& r) {
    py::dict d;
    for (const FieldDesc& f : r.desc->fields)
        d[py::str(f.column)] = field_value(f, r.bytes.data());
    return d;
}

std::string repr(const Record& r) {
    std::string out = r.kind + "(";
    bool first = true;
    for (const FieldDesc& f : r.desc->fields) {
        if (!is_key(f.column))
            continue;
        out += (first ? "" : ", ") + f.column + "=" +
               py::repr(field_value(f, r.bytes.data())).cast<std::string>();
        first = false;
    }
    return out + ")";
}

// The Python name of a record type: its public name without "ZUL_".
std::string class_name(const RecordDesc& d) {
    const std::string type = d.type;
    return type.compare(0, 4, "ZUL_") == 0 ? type.substr(4) : type;
}

// A record held while the GIL is released, and the maker of its Python object.
struct Held {
    py::object (*make)(Record&&);
    Record record;
};

template <class R>
py::object make_record(Record&& r) {
    RecordOf<R> typed;
    static_cast<Record&>(typed) = std::move(r);
    return py::cast(std::move(typed));
}

template <class R>
Held hold(const R& r, const char* kind = nullptr) {
    const RecordDesc& d = record_desc<R>();
    return Held{&make_record<R>, Record{&d, kind != nullptr ? kind : class_name(d),
                                        std::string(reinterpret_cast<const char*>(&r), sizeof(R))}};
}

template <class R>
void register_record(py::module_& m) {
    py::class_<RecordOf<R>, Record>(m, class_name(record_desc<R>()).c_str());
}

// ---- Sessions ----

char sec_type_of(const py::object& v) {
    if (py::isinstance<py::str>(v)) {
        const std::string s = v.cast<std::string>();
        if (s == "stock")
            return SEC_TYPE_STOCK;
        if (s == "option")
            return SEC_TYPE_OPTION;
        if (s == "future")
            return SEC_TYPE_FUTURE;
        if (s == "arbi")
            return SEC_TYPE_ARBI;
        throw py::value_error("sec_type: 'stock', 'option', 'future', 'arbi' or a number, not '" +
                              s + "'");
    }
    const long n = v.cast<long>();
    if (n < 0 || n > 255)
        throw py::value_error("sec_type out of range: " + std::to_string(n));
    return static_cast<char>(n);
}

class PySession {
public:
    PySession(const std::string& host, int port, double timeout, const py::object& log_dir,
              bool logger, bool auto_reconnect) {
        zulquery::Options o;
        o.timeout = timeout;
        o.log_dir = log_dir.is_none() ? std::string() : py::str(log_dir).cast<std::string>();
        o.logger = logger;
        o.auto_reconnect = auto_reconnect;
        // Runs on the waiting thread every 50 ms at most: a signal that Python's handler
        // turned into an exception (Ctrl-C: KeyboardInterrupt) ends the wait.
        o.poll = [this] {
            py::gil_scoped_acquire gil;
            if (PyErr_CheckSignals() == 0)
                return false;
            m_pending = std::make_unique<py::error_already_set>();
            return true;
        };
        m_session = std::make_unique<zulquery::Session>(host, port, std::move(o));
    }

    // Runs `call` without the GIL, then makes the records it held into a list.
    template <class F>
    py::list run(F call) {
        std::vector<Held> held;
        try {
            py::gil_scoped_release nogil;
            call(*m_session, held);
        } catch (const zulquery::Error& e) {
            if (e.kind() == zulquery::Error::Kind::interrupted && m_pending) {
                py::error_already_set pending = std::move(*m_pending);
                m_pending.reset();
                throw pending;
            }
            throw;
        }
        py::list out;
        for (Held& h : held)
            out.append(h.make(std::move(h.record)));
        return out;
    }

    void logon(const std::string& user, const std::string& password) {
        run([&](zulquery::Session& s, std::vector<Held>&) { s.logon(user, password); });
    }

    py::object next_push(double timeout) {
        std::optional<zulquery::Push> p;
        py::list events = run([&](zulquery::Session& s, std::vector<Held>& held) {
            p = s.next_push(timeout);
            if (p && p->kind == zulquery::Push::Kind::bp_report)
                held.push_back(hold(p->bp, "bp_report"));
            else if (p)
                held.push_back(hold(p->cash, "cash"));
        });
        if (events.empty())
            return py::none();
        return events[0];
    }

    void close() {
        py::gil_scoped_release nogil;
        m_session->close();
    }

    zulquery::Session& session() { return *m_session; }

private:
    std::unique_ptr<zulquery::Session> m_session;
    std::unique_ptr<py::error_already_set> m_pending;  // under the GIL
};

// A collecting callback for Session's callback form.
template <class R>
zulquery::Each<R> into(std::vector<Held>& held) {
    return [&held](const R& r) { held.push_back(hold(r)); };
}

// ---- Errors ----

// The Python class of each kind lives in zulquery._errors; KeyboardInterrupt stands for an
// interruption without a pending signal exception.
void raise_error(const zulquery::Error& e) {
    static const std::map<zulquery::Error::Kind, const char*> classes = {
        {zulquery::Error::Kind::cannot_connect, "ConnectError"},
        {zulquery::Error::Kind::logon_refused, "LogonRefused"},
        {zulquery::Error::Kind::refused, "Refused"},
        {zulquery::Error::Kind::connection_lost, "ConnectionLost"},
        {zulquery::Error::Kind::timeout, "Timeout"},
        {zulquery::Error::Kind::not_offered, "NotOffered"},
        {zulquery::Error::Kind::rejected, "Rejected"},
    };
    auto it = classes.find(e.kind());
    if (it == classes.end()) {
        PyErr_SetString(PyExc_KeyboardInterrupt, e.what());
        return;
    }
    py::object cls = py::module_::import("zulquery._errors").attr(it->second);
    py::object error = cls(e.what());
    error.attr("kind") = zulquery::kind_name(e.kind());
    error.attr("code") = e.code();
    PyErr_SetObject(cls.ptr(), error.ptr());
}

// ---- The simulator ----

class PySimulator {
public:
    explicit PySimulator(zulsim::Options o, std::string data)
        : m_sim(std::move(o)), m_data(std::move(data)) {}

    void start() {
        const zulsim::Options o = m_sim.options();
        if (!m_data.empty()) {
            zulsim::DataSet d;
            std::string error;
            if (!zulsim::DataSet::load(m_data, o.hv27, o.user_id, &d, &error))
                throw py::value_error("data: " + error);
            m_sim.set_data(d);
        }
        std::string error;
        bool started;
        {
            py::gil_scoped_release nogil;
            // The simulator's threads inherit the mask: Ctrl-C reaches Python's own
            // threads only.
            VORTANE::TOOLS::signals_held held;
            started = m_sim.start(&error);
            // Held connects: start returns once a connect would hang, so that the
            // caller's first connect meets the fault.
            if (started && o.accept_mode == zulsim::AcceptMode::hold &&
                !m_sim.wait_for_hold(std::chrono::seconds(10))) {
                m_sim.stop();
                started = false;
                error = "the listener's queue did not fill";
            }
        }
        if (!started)
            throw std::runtime_error("the simulator did not start: " + error);
    }
    void stop() {
        py::gil_scoped_release nogil;
        m_sim.stop();
    }
    zulsim::Simulator& sim() { return m_sim; }

private:
    zulsim::Simulator m_sim;
    std::string m_data;
};

zulsim::WriteMode write_mode_of(const std::string& text, size_t* param) {
    const std::string name = text.substr(0, text.find(':'));
    *param = text.find(':') == std::string::npos ? 0 : std::stoul(text.substr(name.size() + 1));
    if (name == "whole")
        return zulsim::WriteMode::whole;
    if (name == "byte")
        return zulsim::WriteMode::byte_by_byte;
    if (name == "split" && *param > 0)
        return zulsim::WriteMode::split;
    if (name == "chunks" && *param > 0)
        return zulsim::WriteMode::chunks;
    if (name == "coalesce")
        return zulsim::WriteMode::coalesce;
    throw py::value_error("write_mode: whole, byte, split:K, chunks:N or coalesce, not '" + text +
                          "'");
}

std::unique_ptr<PySimulator> make_simulator(
    int port, bool hv27, std::optional<uint32_t> user_id, std::optional<uint32_t> refuse_logon,
    std::optional<int> version_flag, std::optional<std::string> password_md5,
    std::map<uint16_t, uint32_t> refuse, bool exec_ex, std::optional<size_t> records,
    std::optional<std::string> data, std::optional<long> push_interval_ms,
    std::optional<std::string> write_mode, std::optional<long> pause_ms,
    std::optional<size_t> drop_after_bytes, std::optional<size_t> drop_after_messages,
    std::optional<uint16_t> drop_on_request, bool close_on_accept, bool hold_connects,
    bool stop_reading, bool close_after_logon, std::optional<size_t> flood_rate,
    std::vector<uint16_t> no_answer) {
    zulsim::Options o;
    o.port = static_cast<uint16_t>(port);
    o.hv27 = hv27;
    if (user_id)
        o.user_id = *user_id;
    if (refuse_logon) {
        if (*refuse_logon == 0)
            throw py::value_error("refuse_logon: a refusal's result is not 0");
        o.logon_result = *refuse_logon;
    }
    if (version_flag)
        o.version_flag = *version_flag;
    if (password_md5)
        o.password_digest = *password_md5;
    o.refusals = std::move(refuse);
    o.exec_with_symbol = exec_ex;
    if (records)
        o.bulk_records = *records;
    if (push_interval_ms)
        o.push_interval = std::chrono::milliseconds(*push_interval_ms);
    if (write_mode)
        o.write_mode = write_mode_of(*write_mode, &o.write_param);
    if (pause_ms)
        o.pause = std::chrono::milliseconds(*pause_ms);
    if (drop_after_bytes)
        o.drop_after_bytes = *drop_after_bytes;
    if (drop_after_messages)
        o.drop_after_messages = *drop_after_messages;
    if (drop_on_request)
        o.drop_on_request = *drop_on_request;
    if (close_on_accept && hold_connects)
        throw py::value_error("close_on_accept and hold_connects: one way to accept at a time");
    if (close_on_accept)
        o.accept_mode = zulsim::AcceptMode::close_at_once;
    if (hold_connects)
        o.accept_mode = zulsim::AcceptMode::hold;
    o.stop_reading = stop_reading;
    o.close_after_logon = close_after_logon;
    if (flood_rate) {
        if (*flood_rate == 0)
            throw py::value_error("flood_rate: bytes per second, more than 0");
        o.flood_rate = *flood_rate;
    }
    o.unanswered.insert(no_answer.begin(), no_answer.end());
    return std::make_unique<PySimulator>(std::move(o), data.value_or(""));
}

}  // namespace

PYBIND11_MODULE(_zulquery, m) {
    PyDateTime_IMPORT;
    m.doc() = "The zulquery library's session layer and simulator (see the package zulquery).";
    m.attr("version") = zulquery::version();

    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p)
                std::rethrow_exception(p);
        } catch (const zulquery::Error& e) {
            raise_error(e);
        }
    });

    py::class_<Record> record(m, "Record");
    record.def_property_readonly("kind", [](const Record& r) { return r.kind; })
        .def_property_readonly("_fields",
                               [](const Record& r) {
                                   py::list names;
                                   for (const FieldDesc& f : r.desc->fields)
                                       names.append(f.column);
                                   return py::tuple(names);
                               })
        .def(
            "__getattr__",
            [](const Record& r, const std::string& name) {
                const FieldDesc* f = field_named(*r.desc, name);
                if (f == nullptr)
                    throw py::attribute_error(class_name(*r.desc) + " has no field '" + name + "'");
                return field_value(*f, r.bytes.data());
            })
        .def("to_dict", &to_dict)
        .def("__repr__", &repr)
        .def("__eq__",
             [](const Record& a, const py::object& b) {
                 if (!py::isinstance<Record>(b))
                     return false;
                 const Record& other = b.cast<const Record&>();
                 return a.desc == other.desc && a.bytes == other.bytes;
             })
        .def("__hash__", [](const Record& r) { return py::hash(py::bytes(r.bytes)); })
        .def("__dir__", [](const Record& r) {
            py::list names;
            for (const FieldDesc& f : r.desc->fields)
                names.append(f.column);
            for (const char* n : {"kind", "to_dict", "_fields"})
                names.append(n);
            return names;
        });
    // Every record class with its fields and their Python types, for the type stubs and
    // their test.
    m.def("_describe", [] {
        py::dict out;
        for (const RecordDesc* d : zulq::all_record_descs()) {
            py::list fields;
            for (const FieldDesc& f : d->fields) {
                const char* type = f.kind == FieldKind::text || f.kind == FieldKind::character
                                       ? "str"
                                   : f.kind == FieldKind::real      ? "float"
                                   : f.kind == FieldKind::timestamp ? "Optional[datetime]"
                                                                    : "int";
                fields.append(py::make_tuple(f.column, type));
            }
            out[py::str(class_name(*d))] = fields;
        }
        return out;
    });
    register_record<ZUL_AccountInfo>(m);
    register_record<ZUL_AccountBP>(m);
    register_record<ZUL_AccountBPDetail>(m);
    register_record<ZUL_AccountCashInout>(m);
    register_record<ZUL_AccountPosition>(m);
    register_record<ZUL_AccountOptionPosition>(m);
    register_record<ZUL_AccountComboPosition>(m);
    register_record<ZUL_AccountMargin>(m);
    register_record<ZUL_AccountFee>(m);
    register_record<ZUL_QueryAccountOrder>(m);
    register_record<ZUL_QueryAccountArbiOrder>(m);
    register_record<ZUL_QueryOrderExecution>(m);
    register_record<ZUL_QueryOrderExecutionEx>(m);
    register_record<ZUL_QueryAccountQuote>(m);
    register_record<ZUL_SymbolField>(m);
    register_record<ZUL_AccountComboRule>(m);
    register_record<ZUL_AccountRiskData>(m);
    register_record<ZUL_AccountSymbolRiskData>(m);

    using S = zulquery::Session;
    using H = std::vector<Held>;
    py::class_<PySession>(m, "_Session")
        .def(py::init<const std::string&, int, double, const py::object&, bool, bool>(),
             py::arg("host"), py::arg("port"), py::arg("timeout"), py::arg("log_dir"),
             py::arg("logger"), py::arg("auto_reconnect"))
        .def("logon", &PySession::logon, py::arg("user"), py::arg("password"))
        .def("close", &PySession::close)
        .def("_next_push", &PySession::next_push, py::arg("timeout"))
        .def("accounts",
             [](PySession& p) {
                 return p.run([](S& s, H& h) { s.accounts(into<ZUL_AccountInfo>(h)); });
             })
        .def(
            "bp",
            [](PySession& p, const std::string& a) {
                return p.run([&](S& s, H& h) { s.bp(a, into<ZUL_AccountBP>(h)); });
            },
            py::arg("account"))
        .def(
            "bp_detail",
            [](PySession& p, const std::string& a) {
                return p.run([&](S& s, H& h) { s.bp_detail(a, into<ZUL_AccountBPDetail>(h)); });
            },
            py::arg("account"))
        .def(
            "cash",
            [](PySession& p, const std::string& a) {
                return p.run([&](S& s, H& h) { s.cash(a, into<ZUL_AccountCashInout>(h)); });
            },
            py::arg("account"))
        .def(
            "positions",
            [](PySession& p, const std::string& a, const py::object& sec_type) {
                const char st = sec_type_of(sec_type);
                return p.run([&](S& s, H& h) {
                    // Asked for options, the server answers with option position records.
                    if (st == SEC_TYPE_OPTION)
                        s.option_positions(a, into<ZUL_AccountOptionPosition>(h));
                    else
                        s.positions(a, st, into<ZUL_AccountPosition>(h));
                });
            },
            py::arg("account"), py::arg("sec_type") = "future")
        .def(
            "option_positions",
            [](PySession& p, const std::string& a) {
                return p.run(
                    [&](S& s, H& h) { s.option_positions(a, into<ZUL_AccountOptionPosition>(h)); });
            },
            py::arg("account"))
        .def(
            "combo_positions",
            [](PySession& p, const std::string& a) {
                return p.run(
                    [&](S& s, H& h) { s.combo_positions(a, into<ZUL_AccountComboPosition>(h)); });
            },
            py::arg("account"))
        .def(
            "margin",
            [](PySession& p, const std::string& a) {
                return p.run([&](S& s, H& h) { s.margin(a, into<ZUL_AccountMargin>(h)); });
            },
            py::arg("account"))
        .def(
            "fees",
            [](PySession& p, const std::string& a, const py::object& sec_type) {
                const auto st = static_cast<ZUL_FeeSecType>(sec_type_of(sec_type));
                return p.run([&](S& s, H& h) { s.fees(a, st, into<ZUL_AccountFee>(h)); });
            },
            py::arg("account"), py::arg("sec_type") = "future")
        .def(
            "orders",
            [](PySession& p, const std::string& a, const py::object& sec_type) {
                const char st = sec_type_of(sec_type);
                return p.run([&](S& s, H& h) { s.orders(a, st, into<ZUL_QueryAccountOrder>(h)); });
            },
            py::arg("account"), py::arg("sec_type") = "future")
        .def(
            "arbi_orders",
            [](PySession& p, const std::string& a) {
                return p.run(
                    [&](S& s, H& h) { s.arbi_orders(a, into<ZUL_QueryAccountArbiOrder>(h)); });
            },
            py::arg("account"))
        .def(
            "executions",
            [](PySession& p, const std::string& a, const py::object& sec_type, unsigned rewind) {
                const char st = sec_type_of(sec_type);
                // In the form the server chose.
                return p.run([&](S& s, H& h) {
                    s.executions(a, st, rewind, into<ZUL_QueryOrderExecution>(h),
                                 into<ZUL_QueryOrderExecutionEx>(h));
                });
            },
            py::arg("account"), py::arg("sec_type") = "future", py::arg("rewind") = 0)
        .def(
            "quotes",
            [](PySession& p, const std::string& a, const py::object& sec_type) {
                const char st = sec_type_of(sec_type);
                return p.run([&](S& s, H& h) { s.quotes(a, st, into<ZUL_QueryAccountQuote>(h)); });
            },
            py::arg("account"), py::arg("sec_type") = "future")
        .def(
            "symbols",
            [](PySession& p, const py::object& sec_type) {
                const char st = sec_type_of(sec_type);
                return p.run([&](S& s, H& h) { s.symbols(st, into<ZUL_SymbolField>(h)); });
            },
            py::arg("sec_type") = "future")
        .def(
            "combo_rules",
            [](PySession& p, unsigned char combo_type, unsigned char hedge_flag) {
                return p.run([&](S& s, H& h) {
                    s.combo_rules(combo_type, hedge_flag, into<ZUL_AccountComboRule>(h));
                });
            },
            py::arg("combo_type") = 0, py::arg("hedge_flag") = 0)
        .def(
            "risk",
            [](PySession& p, const std::string& a) {
                return p.run([&](S& s, H& h) { s.risk(a, into<ZUL_AccountRiskData>(h)); });
            },
            py::arg("account"))
        .def(
            "symbol_risk",
            [](PySession& p, const std::string& a, const std::string& symbol) {
                return p.run([&](S& s, H& h) {
                    s.symbol_risk(a, symbol, into<ZUL_AccountSymbolRiskData>(h));
                });
            },
            py::arg("account"), py::arg("symbol") = "")
        .def(
            "change_password",
            [](PySession& p, const std::string& old_password, const std::string& new_password) {
                p.run([&](S& s, H&) { s.change_password(old_password, new_password); });
            },
            py::arg("old_password"), py::arg("new_password"));

    py::class_<PySimulator>(m, "_Simulator")
        .def(py::init(&make_simulator), py::arg("port"), py::arg("hv27"), py::arg("user_id"),
             py::arg("refuse_logon"), py::arg("version_flag"), py::arg("password_md5"),
             py::arg("refuse"), py::arg("exec_ex"), py::arg("records"), py::arg("data"),
             py::arg("push_interval_ms"), py::arg("write_mode"), py::arg("pause_ms"),
             py::arg("drop_after_bytes"), py::arg("drop_after_messages"),
             py::arg("drop_on_request"), py::arg("close_on_accept"), py::arg("hold_connects"),
             py::arg("stop_reading"), py::arg("close_after_logon"), py::arg("flood_rate"),
             py::arg("no_answer"))
        .def("start", &PySimulator::start)
        .def("stop", &PySimulator::stop)
        .def_property_readonly("port", [](PySimulator& s) { return s.sim().port(); })
        .def(
            "push_bp_report",
            [](PySimulator& s, const std::string& a) { return s.sim().push_bp_report(a); },
            py::arg("account") = "")
        .def(
            "push_cash_notice",
            [](PySimulator& s, const std::string& a) { return s.sim().push_cash_notice(a); },
            py::arg("account") = "")
        .def("drop_connections", [](PySimulator& s) { s.sim().drop_connections(); })
        .def("connections", [](PySimulator& s) { return s.sim().connections(); })
        .def("requests", [](PySimulator& s) {
            py::list out;
            for (const zulsim::ReceivedRequest& r : s.sim().requests())
                out.append(py::make_tuple(r.id, r.name, r.fields));
            return out;
        });
}
