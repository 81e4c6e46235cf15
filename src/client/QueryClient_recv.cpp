// Inbound dispatch: the byte stream of the query port has no framing of its own;
// the first two bytes of a message are its id, and the id (with the server
// generation for 1075 and 1082) gives its size. Messages are handled in place in
// the transport's hold buffer, on its receive thread.

#include <time.h>

#include <cstdint>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "tools/cross_platform_api.h"
#include "transport/socket_param.h"

using namespace VORTANE::TOOLS;

namespace {

enum row_generation { ANY_GENERATION, HV27_ONLY, OTHER_ONLY };

typedef void (*translator_thunk)(CQueryClient* client, const unsigned char* p_data);

struct dispatch_row {
    int msg_id;
    row_generation generation;
    unsigned int size;
    translator_thunk handler;
    const char* trace;
};

// Hands the message to its translator as its packed record, in place: records are
// packed, so any alignment in the buffer will do.
template <typename Record, void (CQueryClient::*Proc)(Record*)>
void call_translator(CQueryClient* client, const unsigned char* p_data) {
    (client->*Proc)(reinterpret_cast<Record*>(const_cast<unsigned char*>(p_data)));
}

#define ZUL_DISPATCH(id, generation, Record, Proc, trace) \
    { id, generation, sizeof(Record), &call_translator<Record, &CQueryClient::Proc>, trace }

// Every id the client handles. An id without a row is unknown.
const dispatch_row DISPATCH_TABLE[] = {
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

const dispatch_row* find_row(int msg_id, bool hv27) {
    for (const dispatch_row& row : DISPATCH_TABLE) {
        if (row.msg_id != msg_id)
            continue;
        if (row.generation == ANY_GENERATION || (row.generation == HV27_ONLY) == hv27)
            return &row;
    }
    return nullptr;
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

}  // namespace

void CQueryClient::dispatch_received(socket_param& out) {
    const unsigned char* pAddr = reinterpret_cast<const unsigned char*>(out.get_buff_addr());
    const unsigned int nLen = out.get_buff_size();
    unsigned int nProcCount = 0;
    while (nProcCount != nLen) {
        const int nProc = ProcReceiveMsg(pAddr + nProcCount, nLen - nProcCount);
        if (nProc <= 0)
            break;
        nProcCount += static_cast<unsigned int>(nProc);
    }
    out.set_proc_len(nProcCount);
}

int CQueryClient::ProcReceiveMsg(const unsigned char* p_data, unsigned int nLen) {
    char msg_flag[1024];
    msg_flag[0] = '\0';
    int nProc = 0;
    const int msg_id = read_msg_id(p_data, nLen);
    const bool trace = m_bLoggerSwitch;
    if (trace)
        snprintf_kq(msg_flag, sizeof(msg_flag), "proc ");
    const i64_kq start_proc_time = precise_time::get_current_microseconds();

    const dispatch_row* row = nLen >= 2 ? find_row(msg_id, IsHv27Version()) : nullptr;
    if (row != nullptr) {
        if (nLen >= row->size) {
            nProc = static_cast<int>(row->size);
            row->handler(this, p_data);
            if (trace)
                snprintf_kq(msg_flag, sizeof(msg_flag), "%s", row->trace);
        }
    } else if (nLen >= 2) {
        // Nothing marks where the next message begins: all that is at hand goes.
        char err_msg[1024];
        snprintf_kq(err_msg, sizeof(err_msg), "receive unknown msg type: %u, len is %d",
                    static_cast<unsigned int>(msg_id), static_cast<int>(nLen));
        m_txt_logger.write_txt("error msg type", err_msg);
        nProc = static_cast<int>(nLen);
    }

    if (trace) {
        m_bin_logger.write_bin('1', reinterpret_cast<const char*>(p_data), nProc);
        m_txt_logger.write_txt(msg_flag, "");
        const i64_kq end_proc_time = precise_time::get_current_microseconds();
        snprintf_kq(msg_flag, sizeof(msg_flag), "process message type:[%d] cost:[%lld]us", msg_id,
                    static_cast<long long>(end_proc_time - start_proc_time));
        m_txt_logger.write_txt(msg_flag, "");
    }
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
