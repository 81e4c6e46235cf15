// The refusal of a query (message 1064) goes to the callback that would have
// delivered the query's records: one call with a zeroed record, finish false where
// the callback has a finish flag, an empty account text where it has one, and the
// server's error id. No closing call follows.

#include <cstring>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "tools/cross_platform_api.h"

using namespace VORTANE::TOOLS;

namespace {

// A refusal names no account; callbacks that take one get an empty text, not null.
const char NO_ACCOUNT[] = "";

enum refusal_generation { ANY_GENERATION, HV27_ONLY, OTHER_ONLY };

typedef void (*refusal_thunk)(CQueryClient* client, ZUL_QueryErrorId error);

struct refusal_row {
    unsigned int sub_msg_id;
    refusal_generation generation;
    refusal_thunk deliver;
    const char* trace;
};

// A row: the refused request, the record that its callback gets zeroed, the slot,
// the trace text, and the arguments of the call behind the handle.
#define ZUL_REFUSAL(sub_id, generation, Record, slot, trace, ...)       \
    {                                                                   \
        sub_id, generation,                                             \
            [](CQueryClient* client, ZUL_QueryErrorId error) {          \
                Record record;                                          \
                memset(static_cast<void*>(&record), 0, sizeof(record)); \
                client->fire_event(client->slot, __VA_ARGS__);          \
            },                                                          \
            trace                                                       \
    }

// Requests 68 and 69 have no row: a refused logon or password change comes back
// through its own answer.
const refusal_row REFUSAL_TABLE[] = {
    ZUL_REFUSAL(QUERY_USER_ACCOUNT_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountInfo, m_ptr_fun_qry_act,
                "proc sub msg account list query", &record, false, error),
    ZUL_REFUSAL(QUERY_SYMBOL_REQ_MSG_ID, ANY_GENERATION, ZUL_SymbolField, m_ptr_query_symbol_event,
                "proc sub msg symbol list query", &record, false, error),
    // Whatever security type was asked for: option positions get no refusal.
    ZUL_REFUSAL(QUERY_ACCOUNT_POSITION_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountPosition,
                m_ptr_fun_act_position, "proc sub msg account fut position query", NO_ACCOUNT,
                &record, false, error),
    ZUL_REFUSAL(REWIND_ACCOUNT_ORDER_REQ_MSG_ID, ANY_GENERATION, ZUL_QueryAccountOrder,
                m_ptr_fun_query_trade_order, "proc sub msg account order query", NO_ACCOUNT,
                &record, false, error),
    // Executions take the slot that the generation's executions come through.
    ZUL_REFUSAL(REWIND_ACCOUNT_EXE_REQ_MSG_ID, HV27_ONLY, ZUL_QueryOrderExecutionEx,
                m_ptr_fun_query_trade_order_exec_ex, "proc sub msg account exec query", NO_ACCOUNT,
                &record, false, error),
    ZUL_REFUSAL(REWIND_ACCOUNT_EXE_REQ_MSG_ID, OTHER_ONLY, ZUL_QueryOrderExecution,
                m_ptr_fun_query_trade_order_exec, "proc sub msg account exec query", NO_ACCOUNT,
                &record, false, error),
    ZUL_REFUSAL(QUERY_COMBO_RULE_MSG_ID, ANY_GENERATION, ZUL_AccountComboRule,
                m_ptr_combo_rule_event, "proc sub msg combo rule query", &record, false, error),
    ZUL_REFUSAL(QUERY_ACCOUNT_MARGIN_MSG_ID, ANY_GENERATION, ZUL_AccountMargin,
                m_ptr_trade_margin_event, "proc sub msg account margin query", NO_ACCOUNT, &record,
                false, error),
    ZUL_REFUSAL(QUERY_ACCOUNT_FEE_MSG_ID, ANY_GENERATION, ZUL_AccountFee, m_ptr_trade_fee_evnet,
                "proc sub msg account fee rate query", NO_ACCOUNT, &record, false, error),
    ZUL_REFUSAL(QUERY_COMBO_POSITION_MSG_ID, ANY_GENERATION, ZUL_AccountComboPosition,
                m_ptr_combo_position_event, "proc sub msg account combo rule position query",
                NO_ACCOUNT, &record, false, error),
    ZUL_REFUSAL(QUERY_ACCOUNT_BP_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountBP, m_ptr_fun_act_bp,
                "proc sub msg query account bp", NO_ACCOUNT, &record, error),
    ZUL_REFUSAL(ACCOUNT_RISK_REAL_DATA_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountRiskData,
                m_ptr_fun_query_account_risk_data_event, "proc sub msg query account risk data",
                &record, error),
    ZUL_REFUSAL(ACCOUNT_SYMBOL_REAL_DATA_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountSymbolRiskData,
                m_ptr_fun_query_account_symbol_risk_data_event,
                "proc sub msg query account symbol risk data", &record, error),
    ZUL_REFUSAL(QUERY_CASH_INOUT_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountCashInout,
                m_ptr_fun_act_cash_inout_ntf_event, "proc sub msg query cash inout", NO_ACCOUNT,
                &record, error),
    // The BP detail query is traced like its neighbours, so that every refused
    // query leaves its line in a trace.
    ZUL_REFUSAL(QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID, ANY_GENERATION, ZUL_AccountBPDetail,
                m_ptr_fun_act_bp_detail, "proc sub msg query account bp detail", NO_ACCOUNT,
                &record, error),
    ZUL_REFUSAL(REWIND_ACCOUNT_QUOTE_REQ_MSG_ID, ANY_GENERATION, ZUL_QueryAccountQuote,
                m_ptr_fun_query_trade_quote, "proc sub msg query quote", NO_ACCOUNT, &record, false,
                error),
    ZUL_REFUSAL(REWIND_ACCOUNT_ARBI_ORDER_REQ_MSG_ID, ANY_GENERATION, ZUL_QueryAccountArbiOrder,
                m_ptr_fun_query_trade_arbi_order, "proc sub msg query arbi order", NO_ACCOUNT,
                &record, false, error),
};

#undef ZUL_REFUSAL

const refusal_row* find_refusal(unsigned int sub_msg_id, bool hv27) {
    for (const refusal_row& row : REFUSAL_TABLE) {
        if (row.sub_msg_id != sub_msg_id)
            continue;
        if (row.generation == ANY_GENERATION || (row.generation == HV27_ONLY) == hv27)
            return &row;
    }
    return nullptr;
}

}  // namespace

void CQueryClient::ProQueryErrRespMsg(hv27_query_err_resp* pMsg) {
    const unsigned int sub_msg_id = pMsg->m_sub_msg_id;
    const refusal_row* row = find_refusal(sub_msg_id, IsHv27Version());
    if (row != nullptr) {
        row->deliver(this, pMsg->m_error_id);
    } else {
        char err_msg[1024];
        snprintf_kq(err_msg, sizeof(err_msg), "receive unknown sub msg type: %u", sub_msg_id);
        m_txt_logger.write_txt("error", err_msg);
    }
    if (!m_bLoggerSwitch)
        return;
    if (row != nullptr)
        m_txt_logger.write_txt(row->trace, "");
    char msg[1024];
    snprintf_kq(msg, sizeof(msg), "process query error sub message type:[%d]",
                static_cast<int>(sub_msg_id));
    m_txt_logger.write_txt("info", msg);
}
