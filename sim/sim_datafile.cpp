// The data file: one record per line, "<record> <account|-> field=value ...", '#' starts
// a comment, and "user <id>" sets the user id. Stream records are served in the order
// of the file and closed by the server; a single answer takes the last line given.

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "protocol/msg_define.h"
#include "sim_builders.h"
#include "zul_sim.h"

namespace zulsim {

namespace {

struct Alias {
    const char* alias;
    const char* record;
    const char* hv27_record;
};

const Alias kAliases[] = {
    {"account", "query_user_account_resp", nullptr},
    {"symbol", "query_symbol_resp", nullptr},
    {"combo_rule", "query_combo_rule_resp", nullptr},
    {"position", "query_account_fut_position_resp", nullptr},
    {"option_position", "query_account_opt_position_resp", nullptr},
    {"combo_position", "query_combo_position_resp", nullptr},
    {"margin", "query_account_margin_resp", nullptr},
    {"fee", "query_account_fee_resp", nullptr},
    {"order", "rewind_accoutn_order_response", nullptr},
    {"arbi_order", "rewind_account_arbi_order_response", nullptr},
    {"execution", "rewind_order_execution_response", "hv27_rewind_order_execution_response"},
    {"execution_ex", "rewind_order_execution_response_ex", nullptr},
    {"quote", "rewind_account_quote_response", nullptr},
    {"bp", "query_account_bp_resp", nullptr},
    {"bp_report", "report_account_bp", nullptr},
    {"bp_detail", "query_account_bp_detail_resp", "hv27_query_account_bp_detail_resp"},
    {"cash", "account_cash_inout_notify", nullptr},
    {"risk", "account_risk_real_data_resp", "hv27_account_risk_real_data_resp"},
    {"symbol_risk", "account_symbol_real_data_resp", nullptr},
};

// Answers that every account named in the file gets, zero but for user and account
// when the file gives no line for them.
const uint16_t kSingles[] = {QUERY_ACCOUNT_BP_RESP_MSG_ID, QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID,
                             ACCOUNT_CASH_INOUT_NOTIFY, QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID,
                             QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID};
const uint16_t kAccountStreams[] = {QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID,
                                    QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID,
                                    QUERY_COMBO_POSITION_RESP_MSG_ID,
                                    QUERY_ACCOUNT_MARGIN_RESP_MSG_ID,
                                    QUERY_ACCOUNT_FEE_RESP_MSG_ID,
                                    REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID,
                                    REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID,
                                    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID,
                                    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX,
                                    REWIND_ACCOUNT_QUOTE_RESP_MSG_ID};
const uint16_t kAccountlessStreams[] = {QUERY_USER_ACCOUNT_RESP_MSG_ID, QUERY_SYMBOL_RESP_MSG_ID,
                                        QUERY_COMBO_RULE_RESP_MSG_ID};

const RecordInfo* resolve(const std::string& word, bool hv27, std::string* error) {
    std::string name = word;
    for (const Alias& a : kAliases) {
        if (word == a.alias) {
            name = hv27 && a.hv27_record != nullptr ? a.hv27_record : a.record;
        }
    }
    const RecordInfo* info = record_info(name);
    bool served = info != nullptr && (is_stream(info->id) || info->id == REPORT_ACCOUNT_BP_MSG_ID ||
                                      std::find(std::begin(kSingles), std::end(kSingles),
                                                info->id) != std::end(kSingles));
    if (!served || response_info(info->id, hv27) != info) {
        *error = "no record '" + word + "' served by this server generation";
        return nullptr;
    }
    return info;
}

class Loader {
public:
    Loader(bool hv27, uint32_t user_id) : m_hv27(hv27), m_user_id(user_id) {}

    bool line(const std::string& text, std::string* error) {
        std::istringstream in(text.substr(0, text.find('#')));
        std::string word, account;
        if (!(in >> word)) {
            return true;
        }
        if (word == "user") {
            return (in >> m_user_id) ? true : (*error = "user needs a number", false);
        }
        const RecordInfo* info = resolve(word, m_hv27, error);
        if (info == nullptr) {
            return false;
        }
        if (!(in >> account)) {
            *error = "missing account (or '-')";
            return false;
        }
        if (account == "-") {
            account.clear();
        }
        Bytes rec = blank_record(*info);
        std::string assignment;
        while (in >> assignment) {
            if (!assign(*info, rec, assignment, error)) {
                return false;
            }
        }
        add(*info, account, std::move(rec));
        return true;
    }

    DataSet finish() {
        DataSet d(m_hv27, m_user_id);
        if (m_records[QUERY_USER_ACCOUNT_RESP_MSG_ID].empty()) {
            for (const std::string& a : m_accounts) {
                m_records[QUERY_USER_ACCOUNT_RESP_MSG_ID][""].push_back(
                    blank_record(*response_info(QUERY_USER_ACCOUNT_RESP_MSG_ID, m_hv27)));
                m_stamp[QUERY_USER_ACCOUNT_RESP_MSG_ID][""].push_back(a);
            }
        }
        for (uint16_t id : kAccountlessStreams) {
            m_records[id][""];
        }
        for (const std::string& a : m_accounts) {
            for (uint16_t id : kAccountStreams) {
                m_records[id][a];
            }
            for (uint16_t id : kSingles) {
                if (m_records[id][a].empty()) {
                    m_records[id][a].push_back(blank_record(*response_info(id, m_hv27)));
                }
            }
            // The pushed report defaults to the BP answer under its own id.
            if (m_records[REPORT_ACCOUNT_BP_MSG_ID][a].empty()) {
                Bytes r = m_records[QUERY_ACCOUNT_BP_RESP_MSG_ID][a].back();
                uint16_t id = REPORT_ACCOUNT_BP_MSG_ID;
                memcpy(r.data(), &id, sizeof(id));
                m_records[REPORT_ACCOUNT_BP_MSG_ID][a].push_back(r);
            }
        }
        for (auto& by_id : m_records) {
            for (auto& by_account : by_id.second) {
                d.set(by_id.first, by_account.first, seal(by_id.first, by_account.first));
            }
        }
        return d;
    }

private:
    bool assign(const RecordInfo& info, Bytes& rec, const std::string& a, std::string* error) {
        size_t eq = a.find('=');
        const FieldInfo* f = eq == std::string::npos ? nullptr : info.field(a.substr(0, eq));
        if (f == nullptr) {
            *error = "no field '" + a.substr(0, eq) + "' in " + info.name;
            return false;
        }
        if (!write_field(*f, rec.data(), a.substr(eq + 1))) {
            *error = "bad value for " + f->name + ": '" + a.substr(eq + 1) + "'";
            return false;
        }
        return true;
    }

    void add(const RecordInfo& info, const std::string& account, Bytes rec) {
        if (!account.empty() && m_known.insert(account).second) {
            m_accounts.push_back(account);
        }
        // The account list is keyed without account; its records name one each.
        std::string key = info.id == QUERY_USER_ACCOUNT_RESP_MSG_ID ? "" : account;
        std::vector<Bytes>& list = m_records[info.id][key];
        // A single answer is its last line; symbol risk data keeps a line per symbol, for
        // the request's symbol to choose from.
        if (!is_stream(info.id) && info.id != QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID) {
            list.clear();
        }
        list.push_back(std::move(rec));
        m_stamp[info.id][key].resize(list.size());
        m_stamp[info.id][key].back() = account;
    }

    // User id, account and sequence go into every record, and a stream gets its end.
    std::vector<Bytes> seal(uint16_t id, const std::string& key) {
        const RecordInfo& info = *response_info(id, m_hv27);
        std::vector<Bytes> msgs = m_records[id][key];
        std::vector<std::string>& accounts = m_stamp[id][key];
        accounts.resize(msgs.size(), key);
        const FieldInfo* flag = info.field("m_last_record_flag");
        if (flag == nullptr) {
            flag = info.field("last_record_flag");
        }
        for (size_t i = 0; i < msgs.size(); ++i) {
            // A flag the file gives stays: 2 is data in some streams.
            uint8_t own_flag = flag != nullptr ? msgs[i][flag->offset] : 0;
            stamp_record(info, msgs[i], m_user_id, accounts[i].empty() ? key : accounts[i],
                         own_flag, static_cast<uint32_t>(i + 1));
        }
        if (is_stream(id)) {
            msgs.push_back(build_closing_record(id, m_hv27, m_user_id, key, 1,
                                                static_cast<uint32_t>(msgs.size() + 1)));
        }
        return msgs;
    }

    bool m_hv27;
    uint32_t m_user_id;
    std::vector<std::string> m_accounts;  // in order of appearance
    std::set<std::string> m_known;
    std::map<uint16_t, std::map<std::string, std::vector<Bytes>>> m_records;
    std::map<uint16_t, std::map<std::string, std::vector<std::string>>> m_stamp;
};

}  // namespace

bool DataSet::load(const std::string& path, bool hv27, uint32_t user_id, DataSet* out,
                   std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = "cannot open " + path;
        return false;
    }
    Loader loader(hv27, user_id);
    std::string text;
    for (int n = 1; std::getline(in, text); ++n) {
        std::string why;
        if (!loader.line(text, &why)) {
            *error = path + ":" + std::to_string(n) + ": " + why;
            return false;
        }
    }
    *out = loader.finish();
    return true;
}

}  // namespace zulsim
