// Inbound dispatch: the byte stream of the query port has no framing of its own;
// the first two bytes of a message are its id, and the id (with the server
// generation for 1075 and 1082) gives its size. Messages are handled in place, in
// the bytes that the receive thread offers, and found by a direct index on the id.
// Departure: one table indexed by the id serves both server generations, instead of
// a search through the rows for every message.

#include <time.h>

#include <cstdint>
#include <cstring>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "client/query_decoder.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "tools/cross_platform_api.h"
#include "transport/socket_param.h"

using namespace VORTANE::TOOLS;

namespace {

enum row_generation { ANY_GENERATION, HV27_ONLY, OTHER_ONLY };

typedef void (*translator_thunk)(CQueryClient* client, const unsigned char* p_data);

struct dispatch_row {
    unsigned int size;
    translator_thunk handler;  // null: no row, the id is unknown
    const char* trace;
};

struct table_entry {
    int msg_id;
    row_generation generation;
    dispatch_row row;
};

// Hands the message to its translator as its packed record, in place: records are
// packed, so any alignment in the buffer will do.
template <typename Record, void (CQueryClient::*Proc)(Record*)>
void call_translator(CQueryClient* client, const unsigned char* p_data) {
    (client->*Proc)(reinterpret_cast<Record*>(const_cast<unsigned char*>(p_data)));
}

#define ZUL_DISPATCH(id, generation, Record, Proc, trace)                        \
    {                                                                            \
        id, generation, {                                                        \
            sizeof(Record), &call_translator<Record, &CQueryClient::Proc>, trace \
        }                                                                        \
    }

// Every id the client handles. An id without a row is unknown.
constexpr table_entry DISPATCH_ENTRIES[] = {
    // Logon, password, accounts and balances.
    ZUL_DISPATCH(QUERY_LOGON_MSG_RESP_MSG_ID, ANY_GENERATION, query_logon_msg_resp,
                 ProcQueryPortLogonRespMsg, "proc query_logon_msg_resp"),
    ZUL_DISPATCH(CHANGE_PASSWORD_RESP_MSG_ID, ANY_GENERATION, change_password_resp,
                 ProcChangePwdRespMsg, "proc change_password_resp"),
    ZUL_DISPATCH(QUERY_USER_ACCOUNT_RESP_MSG_ID, ANY_GENERATION, query_user_account_resp,
                 ProcQueryUserAccountRespMsg, "proc query_user_account_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_BP_RESP_MSG_ID, ANY_GENERATION, query_account_bp_resp,
                 ProcQueryAccountBpResp, "proc query_account_bp_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, ANY_GENERATION, query_account_bp_detail_resp,
                 ProcQueryAccountBpDetailResp, "proc query_account_bp_detail_resp"),
    ZUL_DISPATCH(REPORT_ACCOUNT_BP_MSG_ID, ANY_GENERATION, report_account_bp, ProcAccountBpReport,
                 "proc report_account_bp"),
    ZUL_DISPATCH(ACCOUNT_CASH_INOUT_NOTIFY, ANY_GENERATION, account_cash_inout_notify,
                 ProcAccountCashInOutNotify, "proc account_cash_inout_notify"),
    // Symbols, combination rules, margin and fee rates.
    ZUL_DISPATCH(QUERY_SYMBOL_RESP_MSG_ID, ANY_GENERATION, query_symbol_resp,
                 ProcQuerySymbolRespMsg, "proc query_symbol_resp"),
    ZUL_DISPATCH(QUERY_COMBO_RULE_RESP_MSG_ID, ANY_GENERATION, query_combo_rule_resp,
                 ProcQueryComboRuleRespMsg, "proc query_combo_rule_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_MARGIN_RESP_MSG_ID, ANY_GENERATION, query_account_margin_resp,
                 ProcQueryAccountMarginRespMsg, "proc query_account_margin_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_FEE_RESP_MSG_ID, ANY_GENERATION, query_account_fee_resp,
                 ProcQueryAccountFeeRespMsg, "proc query_account_fee_resp"),
    // Positions.
    ZUL_DISPATCH(QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, ANY_GENERATION,
                 query_account_fut_position_resp, ProcQueryAccountFutPositionRespMsg,
                 "proc query_account_fut_position_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID, ANY_GENERATION,
                 query_account_opt_position_resp, ProcQueryAccountOptionPositionRespMsg,
                 "proc query_account_opt_position_resp"),
    ZUL_DISPATCH(QUERY_COMBO_POSITION_RESP_MSG_ID, ANY_GENERATION, query_combo_position_resp,
                 ProcQueryAccountComboPositionRespMsg, "proc query_combo_position_resp"),
    // Orders, executions and quotes.
    ZUL_DISPATCH(REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX, ANY_GENERATION,
                 rewind_order_execution_response_ex, ProcQueryAccountTradeExecutionpMsgEx,
                 "proc rewind_order_execution_response_ex"),
    ZUL_DISPATCH(REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID, ANY_GENERATION,
                 rewind_accoutn_order_response, ProcQueryAccountTradeOrderMsg,
                 "proc rewind_accoutn_order_response"),
    ZUL_DISPATCH(REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID, HV27_ONLY,
                 hv27_rewind_order_execution_response, ProcQueryAccountTradeExecutionpMsg,
                 "proc hv27_rewind_order_execution_response"),
    ZUL_DISPATCH(REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID, OTHER_ONLY,
                 rewind_order_execution_response, ProcQueryAccountTradeExecutionpMsg,
                 "proc rewind_order_execution_response"),
    ZUL_DISPATCH(REWIND_ACCOUNT_QUOTE_RESP_MSG_ID, ANY_GENERATION, rewind_account_quote_response,
                 ProcQueryAccountQuoteMsg, "proc rewind_account_quote_response"),
    ZUL_DISPATCH(REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID, ANY_GENERATION,
                 rewind_account_arbi_order_response, ProcQueryAccountTradeArbiOrderMsg,
                 "proc rewind_account_arbi_order_response"),
    // Risk data.
    ZUL_DISPATCH(QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, HV27_ONLY, hv27_account_risk_real_data_resp,
                 ProcAccountRealDataResp, "proc account_risk_real_data_resp"),
    ZUL_DISPATCH(QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, OTHER_ONLY, account_risk_real_data_resp,
                 ProcAccountRealDataResp, "proc account_risk_real_data_resp"),
    ZUL_DISPATCH(QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID, ANY_GENERATION, account_symbol_real_data_resp,
                 ProcAccountSymbolRealDataResp, "proc account_symbol_real_data_resp"),
    // Refused queries.
    ZUL_DISPATCH(QUERY_ERR_RESP_MSG_ID, ANY_GENERATION, hv27_query_err_resp, ProQueryErrRespMsg,
                 "proc query_err_resp"),
};

#undef ZUL_DISPATCH

// Every id with a row lies in this range: the id less FIRST_ID indexes the table.
constexpr int FIRST_ID = REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX;
constexpr int LAST_ID = ACCOUNT_CASH_INOUT_NOTIFY;
constexpr unsigned int ID_COUNT = LAST_ID - FIRST_ID + 1;

// The rows by id and generation (0 the other one, 1 hv27); empty where the id is
// unknown to that generation.
struct dispatch_table {
    dispatch_row rows[ID_COUNT][2];
};

constexpr bool applies(row_generation generation, bool hv27) {
    return generation == ANY_GENERATION || (generation == HV27_ONLY) == hv27;
}

constexpr dispatch_table build_table() {
    dispatch_table table{};
    for (const table_entry& entry : DISPATCH_ENTRIES) {
        for (int hv27 = 0; hv27 < 2; ++hv27) {
            if (applies(entry.generation, hv27 != 0))
                table.rows[entry.msg_id - FIRST_ID][hv27] = entry.row;
        }
    }
    return table;
}

// No two entries may claim one id in one generation, and every id lies in range.
constexpr bool entries_are_sound() {
    for (const table_entry& a : DISPATCH_ENTRIES) {
        if (a.msg_id < FIRST_ID || a.msg_id > LAST_ID)
            return false;
        int claims[2] = {0, 0};
        for (const table_entry& b : DISPATCH_ENTRIES) {
            for (int hv27 = 0; hv27 < 2; ++hv27) {
                if (b.msg_id == a.msg_id && applies(b.generation, hv27 != 0))
                    ++claims[hv27];
            }
        }
        if (claims[0] > 1 || claims[1] > 1)
            return false;
    }
    return true;
}
static_assert(entries_are_sound(), "one row per id and generation, ids in range");

constexpr dispatch_table DISPATCH_TABLE = build_table();

const dispatch_row* find_row(int msg_id, bool hv27) {
    // Ids below the range, negative ones included, wrap to large indexes.
    const unsigned int index = static_cast<unsigned int>(msg_id - FIRST_ID);
    if (index >= ID_COUNT)
        return nullptr;
    const dispatch_row& row = DISPATCH_TABLE.rows[index][hv27 ? 1 : 0];
    return row.handler != nullptr ? &row : nullptr;
}

// The id is read as a signed 16-bit value in host order, so ids of 0x8000 and
// above come out negative and match no row.
int read_msg_id(const unsigned char* p_data, unsigned int nLen) {
    if (nLen < 2)
        return p_data[0];
    int16_t id;
    memcpy(&id, p_data, sizeof(id));
    return id;
}

// Kept out of line, as is the trace: the message loop's own frame stays small.
__attribute__((noinline)) void log_unknown(query_base_log& log, int msg_id, unsigned int nLen) {
    // The id as "%u" prints it, the length as "%d".
    log_text err_msg;
    err_msg << "receive unknown msg type: "
            << static_cast<long long>(static_cast<unsigned int>(msg_id)) << ", len is "
            << static_cast<long long>(static_cast<int>(nLen));
    log.write_txt("error msg type", err_msg.c_str());
}

// The trace of one call: the bytes taken to the binary log, then the trace text and
// the cost line. The two text lines go out in one write, stamped with the one clock
// read that also ends the cost: nothing runs between them, and each line still
// reaches the file before the call returns.
__attribute__((noinline)) void trace_message(CQueryClient& client, const unsigned char* p_data,
                                             int nProc, int msg_id, const char* msg_flag,
                                             i64_kq start_proc_time) {
    client.m_bin_logger.write_bin('1', reinterpret_cast<const char*>(p_data), nProc);
    const i64_kq end_proc_time = precise_time::get_current_microseconds();
    log_text cost;
    cost << "process message type:[" << static_cast<long long>(msg_id) << "] cost:["
         << static_cast<long long>(end_proc_time - start_proc_time) << "]us";
    client.m_txt_logger.write_txt_pair(end_proc_time, msg_flag, cost.c_str());
}

}  // namespace

void CQueryClient::dispatch_received(socket_param& out) {
    const unsigned char* pAddr = reinterpret_cast<const unsigned char*>(out.get_buff_addr());
    const unsigned int nLen = out.get_buff_size();
    const unsigned int nProcCount = run_message_loop(*this, pAddr, nLen);
    out.set_proc_len(nProcCount);
    // The size of the message cut behind them: the transport joins just the bytes that
    // complete it to the held part, and offers what follows where it lies.
    if (nProcCount < nLen)
        out.set_need_len(message_size(pAddr + nProcCount, nLen - nProcCount));
}

unsigned int CQueryClient::message_size(const unsigned char* p_data, unsigned int nLen) {
    if (nLen < 2)
        return 0;
    const dispatch_row* row = find_row(read_msg_id(p_data, nLen), m_bHv27Server);
    return row != nullptr ? row->size : 0;
}

int CQueryClient::ProcReceiveMsg(const unsigned char* p_data, unsigned int nLen) {
    const int msg_id = read_msg_id(p_data, nLen);
    const bool trace = m_bLoggerSwitch;
    // Departure: the clock is read for the trace's cost line only, not for every
    // message.
    const i64_kq start_proc_time = trace ? precise_time::get_current_microseconds() : 0;
    const char* msg_flag = "proc ";
    int nProc = 0;

    const dispatch_row* row = nLen >= 2 ? find_row(msg_id, m_bHv27Server) : nullptr;
    if (row != nullptr) {
        if (nLen >= row->size) {
            nProc = static_cast<int>(row->size);
            row->handler(this, p_data);
            msg_flag = row->trace;
        }
    } else if (nLen >= 2) {
        // Nothing marks where the next message begins: all that is at hand goes.
        log_unknown(m_txt_logger, msg_id, nLen);
        nProc = static_cast<int>(nLen);
    }

    if (trace)
        trace_message(*this, p_data, nProc, msg_id, msg_flag, start_proc_time);
    return nProc;
}

Int8 CQueryClient::SwichEndian(Int8 v) {
    return __builtin_bswap64(v);
}

Int4 CQueryClient::SwichEndian32(Int4 v) {
    return __builtin_bswap32(v);
}

u64_kq CQueryClient::convert_now_to_timestamp() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const u64_kq seconds = static_cast<uint32_t>(now.tv_sec);
    const u64_kq nanos = static_cast<uint32_t>(now.tv_nsec);
    return (seconds << 32) | nanos;
}
