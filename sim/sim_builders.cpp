#include "sim_builders.h"

#include <algorithm>
#include <cstring>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

namespace zulsim {

namespace {

// Values are derived from the record's seed and the field's position k, so that no two
// fields of a record and no two records of the data set carry the same value, and
// every value shows when it is read at the wrong width (integers use their high bytes,
// reals have fractions, half of the signed values are negative).
unsigned long long unsigned_value(unsigned seed, unsigned k, size_t width) {
    switch (width) {
        case 1:
            return 3 + (seed * 37u + k * 11u) % 251u;
        case 2:
            return 256 + (seed * 131u + k * 17u) % 65000u;
        case 4:
            return 65536 + (seed * 100003ull + k * 257ull) % 4000000000ull;
        default:
            // Timestamp form: seconds in the high half, nanoseconds in the low half.
            return ((1700000000ull + seed * 61ull + k) << 32) |
                   ((seed * 7919ull + k * 104729ull) % 1000000000ull);
    }
}

long long signed_value(unsigned seed, unsigned k, size_t width) {
    long long sign = (k % 2 != 0) ? -1 : 1;
    if (width == 4) {
        return sign * (70000 + static_cast<long long>((seed * 7919ull + k * 3ull) % 2000000000ull));
    }
    return sign * (5000000000ll + seed * 1000003ll + k * 7ll);
}

double real_value(unsigned seed, unsigned k) {
    double sign = (k % 3 == 0) ? -1.0 : 1.0;
    return sign * (seed * 1000.0 + k + (k % 8 + 1) / 16.0);
}

std::string text_value(unsigned seed, unsigned k, size_t width, bool full) {
    if (width == 1) {
        return std::string(1, static_cast<char>('A' + (seed + k) % 26));
    }
    std::string s = std::string(1, static_cast<char>('A' + k % 26)) + std::to_string(seed) + "-" +
                    std::to_string(k);
    if (full) {
        while (s.size() < width) {
            s.push_back(static_cast<char>('a' + (seed + k + s.size()) % 26));
        }
        s.resize(width);
    } else {
        s.resize(std::min(s.size(), width - 1));
    }
    return s;
}

void write_value(const FieldInfo& f, Bytes& record, unsigned seed, unsigned k, bool full) {
    unsigned char* p = record.data() + f.offset;
    switch (f.kind) {
        case FieldKind::unsigned_int: {
            unsigned long long v = unsigned_value(seed, k, f.width);
            memcpy(p, &v, f.width);
            break;
        }
        case FieldKind::signed_int: {
            long long v = signed_value(seed, k, f.width);
            memcpy(p, &v, f.width);
            break;
        }
        case FieldKind::real: {
            double v = real_value(seed, k);
            memcpy(p, &v, sizeof(v));
            break;
        }
        case FieldKind::text: {
            std::string t = text_value(seed, k, f.width, full);
            memcpy(p, t.data(), t.size());
            break;
        }
    }
}

bool is_stamped(const FieldInfo& f) {
    static const char* const names[] = {"m_user_id",          "user_id",
                                        "m_account_id",       "account_id",
                                        "m_last_record_flag", "last_record_flag"};
    return std::any_of(std::begin(names), std::end(names),
                       [&](const char* n) { return f.name == n; });
}

void fill_fields(const RecordInfo& info, Bytes& record, const RecordSeed& s, Variant reading) {
    unsigned k = 0;
    for (const FieldInfo& f : info.fields) {
        ++k;
        bool wanted = f.offset >= sizeof(msg_header) && !is_reserved(f) && !is_stamped(f) &&
                      (f.variant == Variant::always || f.variant == reading);
        if (wanted) {
            write_value(f, record, s.seed, k, s.full_texts);
        }
    }
}

void set_text(const RecordInfo& info, Bytes& record, const char* name, const std::string& v) {
    write_field(*info.field(name), record.data(), v);
}

void set_number(const RecordInfo& info, Bytes& record, const char* name, unsigned long long v) {
    write_field(*info.field(name), record.data(), std::to_string(v));
}

// Family rules on top of the generic values: values that decide how a client reads
// the rest of the record, or that a client maps specially.
Variant symbol_reading(size_t index) {
    // Futures, options and the other kinds in turn; the index decides.
    return (index % 4 == 1 || index % 4 == 2) ? Variant::option : Variant::not_option;
}

void apply_family_rules(uint16_t id, bool hv27, const RecordInfo& info, Bytes& r,
                        const RecordSeed& s) {
    switch (id) {
        case QUERY_SYMBOL_RESP_MSG_ID: {
            static const Int1 types[] = {SEC_TYPE_FUTURE, SEC_TYPE_OPTION, SEC_TYPE_OPTION,
                                         SEC_TYPE_F};
            set_number(info, r, "m_instrument_type", types[s.index % 4]);
            if (symbol_reading(s.index) == Variant::option) {
                set_text(info, r, "m_call_put", s.index % 2 ? "C" : "P");
            }
            break;
        }
        // Fields that a request selects by hold values it can ask for.
        case REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID: {
            static const Int1 types[] = {SEC_TYPE_FUTURE, SEC_TYPE_OPTION, SEC_TYPE_ARBI};
            set_number(info, r, "m_instrument_type", types[s.index % 3]);
            break;
        }
        case REWIND_ACCOUNT_QUOTE_RESP_MSG_ID:
            set_number(info, r, "m_sec_type", s.index % 3 == 1 ? SEC_TYPE_OPTION : SEC_TYPE_FUTURE);
            break;
        case QUERY_COMBO_RULE_RESP_MSG_ID:
            set_number(info, r, "m_combo_type", 1 + s.index % 2);
            set_number(info, r, "m_hedge_flag", 1 + (s.index / 2) % 2);
            break;
        case QUERY_ACCOUNT_FEE_RESP_MSG_ID: {
            // 1 is the one direction a client keeps; the others all read alike.
            static const Int1 dirs[] = {1, 2, 255, 0};
            set_number(info, r, "m_pos_dir", dirs[s.index % 4]);
            break;
        }
        case QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID: {
            // Nine digits fill the field with no terminator; eight are a plain date.
            std::string date = std::to_string(20250000 + (s.seed % 12 + 1) * 100 + s.seed % 28 + 1);
            set_text(info, r, "expire_date", s.full_texts ? date + "7" : date);
            set_text(info, r, "call_put", s.index % 2 ? "C" : "P");
            break;
        }
        case QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID:
            // A client reads byte 164 as the push mode and byte 173 as the account index
            // in both generations, though each generation calls one of them reserved.
            if (hv27) {
                r[offsetof(hv27_query_account_bp_detail_resp, m_reserved)] =
                    static_cast<unsigned char>(unsigned_value(s.seed, 99, 1));
            } else {
                r[offsetof(query_account_bp_detail_resp, m_reserved1)] =
                    static_cast<unsigned char>('A' + s.seed % 26);
            }
            break;
        default:
            break;
    }
}

}  // namespace

bool is_stream(uint16_t id) {
    switch (id) {
        case REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX:
        case QUERY_USER_ACCOUNT_RESP_MSG_ID:
        case QUERY_SYMBOL_RESP_MSG_ID:
        case QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID:
        case REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID:
        case REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID:
        case QUERY_COMBO_RULE_RESP_MSG_ID:
        case QUERY_ACCOUNT_MARGIN_RESP_MSG_ID:
        case QUERY_ACCOUNT_FEE_RESP_MSG_ID:
        case QUERY_COMBO_POSITION_RESP_MSG_ID:
        case QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID:
        case REWIND_ACCOUNT_QUOTE_RESP_MSG_ID:
        case REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID:
            return true;
        default:
            return false;
    }
}

bool closes_on_one_only(uint16_t id) {
    switch (id) {
        case REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX:
        case REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID:
        case REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID:
        case REWIND_ACCOUNT_QUOTE_RESP_MSG_ID:
        case REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID:
            return true;
        default:
            return false;
    }
}

Bytes blank_record(const RecordInfo& info) {
    Bytes b(info.size, 0);
    uint16_t len = static_cast<uint16_t>(info.size);
    memcpy(b.data(), &info.id, 2);
    memcpy(b.data() + 2, &len, 2);
    return b;
}

void stamp_record(const RecordInfo& info, Bytes& record, uint32_t user_id,
                  const std::string& account, uint8_t flag, uint32_t sequence) {
    memcpy(record.data() + 4, &sequence, 4);
    for (const FieldInfo& f : info.fields) {
        if (f.name == "m_user_id" || f.name == "user_id") {
            memcpy(record.data() + f.offset, &user_id, 4);
        } else if ((f.name == "m_account_id" || f.name == "account_id") && !account.empty()) {
            write_field(f, record.data(), account);
        } else if (f.name == "m_last_record_flag" || f.name == "last_record_flag") {
            record[f.offset] = flag;
        }
    }
}

Bytes build_data_record(uint16_t id, bool hv27, uint32_t user_id, const std::string& account,
                        const RecordSeed& seed, uint8_t flag) {
    const RecordInfo& info = *response_info(id, hv27);
    Bytes r = blank_record(info);
    Variant reading = id == QUERY_SYMBOL_RESP_MSG_ID ? symbol_reading(seed.index) : Variant::always;
    fill_fields(info, r, seed, reading);
    apply_family_rules(id, hv27, info, r, seed);
    stamp_record(info, r, user_id, account, flag, static_cast<uint32_t>(seed.index + 1));
    return r;
}

Bytes build_closing_record(uint16_t id, bool hv27, uint32_t user_id, const std::string& account,
                           uint8_t flag, uint32_t sequence) {
    const RecordInfo& info = *response_info(id, hv27);
    Bytes r = blank_record(info);
    stamp_record(info, r, user_id, account, flag, sequence);
    return r;
}

}  // namespace zulsim
