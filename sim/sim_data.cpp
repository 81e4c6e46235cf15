#include <cstring>

#include "protocol/msg_define.h"
#include "sim_builders.h"
#include "sim_fields.h"
#include "zul_sim.h"

namespace zulsim {

namespace {

const char* const kAccounts[] = {"ACCT-FULL-WIDE16", "ZQ7", "EMPTY-01"};
constexpr size_t kAccountCount = sizeof(kAccounts) / sizeof(kAccounts[0]);
constexpr size_t kEmptyAccount = 2;  // has no record in any stream

struct Family {
    uint16_t id;
    bool per_account;
    size_t records;
};

// The slot of a family in this table is part of every seed, so that two families never
// share a value.
const Family kFamilies[] = {
    {QUERY_USER_ACCOUNT_RESP_MSG_ID, false, kAccountCount},
    {QUERY_SYMBOL_RESP_MSG_ID, false, 4},
    {QUERY_COMBO_RULE_RESP_MSG_ID, false, 3},
    {QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, true, 3},
    {QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID, true, 3},
    {QUERY_COMBO_POSITION_RESP_MSG_ID, true, 3},
    {QUERY_ACCOUNT_MARGIN_RESP_MSG_ID, true, 3},
    {QUERY_ACCOUNT_FEE_RESP_MSG_ID, true, 3},
    {REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID, true, 3},
    {REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID, true, 3},
    {REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID, true, 3},
    {REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX, true, 3},
    {REWIND_ACCOUNT_QUOTE_RESP_MSG_ID, true, 3},
    {QUERY_ACCOUNT_BP_RESP_MSG_ID, true, 1},
    {REPORT_ACCOUNT_BP_MSG_ID, true, 1},
    {QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, true, 1},
    {ACCOUNT_CASH_INOUT_NOTIFY, true, 1},
    {QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, true, 1},
    {QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID, true, 1},
};

// Streams of orders, executions and quotes carry a data record with flag 2 (which a
// client must read as data) and close with 1; the other streams close with 2 for the
// second account and for the symbol list, with 1 otherwise.
uint8_t data_flag(uint16_t id, size_t index) {
    return closes_on_one_only(id) && index == 1 ? 2 : 0;
}

uint8_t closing_flag(uint16_t id, size_t account_index) {
    if (closes_on_one_only(id)) {
        return 1;
    }
    return (account_index == 1 || id == QUERY_SYMBOL_RESP_MSG_ID) ? 2 : 1;
}

std::vector<Bytes> build_answer(const Family& fam, unsigned slot, size_t account_index, bool hv27,
                                uint32_t user_id) {
    std::string account = fam.per_account ? kAccounts[account_index] : "";
    size_t count =
        fam.per_account && account_index == kEmptyAccount && is_stream(fam.id) ? 0 : fam.records;
    std::vector<Bytes> msgs;
    for (size_t i = 0; i < count; ++i) {
        RecordSeed seed{static_cast<unsigned>(slot * 64 + account_index * 8 + i + 1),
                        fam.per_account && !is_stream(fam.id) ? account_index == 0 : i % 2 == 0, i};
        // The account list names one account in each record.
        const std::string& acct =
            fam.id == QUERY_USER_ACCOUNT_RESP_MSG_ID ? std::string(kAccounts[i]) : account;
        msgs.push_back(build_data_record(fam.id, hv27, user_id, acct, seed, data_flag(fam.id, i)));
        if (fam.id == QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID && account_index > 0) {
            // Symbols a caller may ask for by name; the first account's fills the field.
            static const char* const symbols[] = {"", "IF2412", "IC2503"};
            write_field(*response_info(fam.id, hv27)->field("m_symbol"), msgs.back().data(),
                        symbols[account_index % 3]);
        }
    }
    if (is_stream(fam.id)) {
        msgs.push_back(build_closing_record(fam.id, hv27, user_id, account,
                                            closing_flag(fam.id, account_index),
                                            static_cast<uint32_t>(count + 1)));
    }
    return msgs;
}

// Request fields that pick records of the answer: a record stays when its field holds the
// request's value; a request's 0 (or empty text) asks for every record.
struct Selector {
    uint16_t request;
    const char* request_field;
    const char* answer_field;
};

const Selector kSelectors[] = {
    {QUERY_SYMBOL_REQ_MSG_ID, "m_sec_type", "m_instrument_type"},
    {REWIND_ACCOUNT_ORDER_REQ_MSG_ID, "m_sec_type", "m_instrument_type"},
    {REWIND_ACCOUNT_QUOTE_REQ_MSG_ID, "m_sec_type", "m_sec_type"},
    {QUERY_COMBO_RULE_MSG_ID, "m_combo_type", "m_combo_type"},
    {QUERY_COMBO_RULE_MSG_ID, "m_hedge_flag", "m_hedge_flag"},
    {ACCOUNT_SYMBOL_REAL_DATA_REQ_MSG_ID, "m_symbol", "m_symbol"},
};

bool selected(const RecordInfo& request, const Bytes& asked, const RecordInfo* answer,
              const Bytes& record) {
    for (const Selector& s : kSelectors) {
        if (s.request != request.id || answer == nullptr) {
            continue;
        }
        const FieldInfo* want = request.field(s.request_field);
        const FieldInfo* have = answer->field(s.answer_field);
        if (want == nullptr || have == nullptr) {
            continue;
        }
        const std::string value = read_field(*want, asked.data());
        if (!value.empty() && value != "0" && value != read_field(*have, record.data())) {
            return false;
        }
    }
    return true;
}

}  // namespace

DataSet::DataSet(bool hv27, uint32_t user_id) : m_hv27(hv27), m_user_id(user_id) {}

DataSet DataSet::standard(bool hv27, uint32_t user_id) {
    DataSet d(hv27, user_id);
    unsigned slot = 0;
    for (const Family& fam : kFamilies) {
        ++slot;
        size_t accounts = fam.per_account ? kAccountCount : 1;
        for (size_t a = 0; a < accounts; ++a) {
            std::string key = fam.per_account ? kAccounts[a] : "";
            d.set(fam.id, key, build_answer(fam, slot, fam.per_account ? a : 0, hv27, user_id));
        }
    }
    return d;
}

std::vector<std::string> DataSet::accounts() const {
    std::vector<std::string> out;
    const std::vector<Bytes>* list = find(QUERY_USER_ACCOUNT_RESP_MSG_ID, "");
    if (list == nullptr) {
        return out;
    }
    const size_t flag_at = offsetof(query_user_account_resp, m_last_record_flag);
    const size_t account_at = offsetof(query_user_account_resp, m_account_id);
    for (const Bytes& b : *list) {
        if (b.size() == sizeof(query_user_account_resp) && b[flag_at] == 0) {
            const char* p = reinterpret_cast<const char*>(b.data() + account_at);
            out.emplace_back(p, strnlen(p, sizeof(AccountID)));
        }
    }
    return out;
}

const std::vector<Bytes>* DataSet::find(uint16_t response_id, const std::string& account) const {
    auto it = m_answers.find({response_id, account});
    if (it != m_answers.end()) {
        return &it->second;
    }
    // A client sends at most 15 characters of an account id.
    const size_t sent = sizeof(AccountID) - 1;
    if (account.size() != sent) {
        return nullptr;
    }
    for (it = m_answers.lower_bound({response_id, account});
         it != m_answers.end() && it->first.first == response_id; ++it) {
        const std::string& stored = it->first.second;
        if (stored.size() == sizeof(AccountID) && stored.compare(0, sent, account) == 0) {
            return &it->second;
        }
    }
    return nullptr;
}

std::vector<Bytes> DataSet::select(uint16_t response_id, const std::string& account,
                                   const Bytes& request) const {
    const std::vector<Bytes>* all = find(response_id, account);
    if (all == nullptr) {
        return {};
    }
    uint16_t request_id = 0;
    if (request.size() >= 2) {
        memcpy(&request_id, request.data(), 2);
    }
    const RecordInfo* asked = request_info(request_id);
    if (asked == nullptr || request.size() < asked->size) {
        return *all;
    }
    const RecordInfo* answer = response_info(response_id, m_hv27);
    const bool stream = is_stream(response_id);
    std::vector<Bytes> out;
    for (size_t i = 0; i < all->size(); ++i) {
        const bool closing = stream && i + 1 == all->size();
        if (closing || selected(*asked, request, answer, (*all)[i])) {
            out.push_back((*all)[i]);
        }
    }
    return out;
}

void DataSet::set(uint16_t response_id, const std::string& account, std::vector<Bytes> messages) {
    m_answers[{response_id, account}] = std::move(messages);
}

}  // namespace zulsim
