// Translators of the replayed orders, arbitrage orders, executions and quotes. All
// six streams run alike (see replay_record); they differ only in how a record with
// data is filled. They run on the transport's receive thread; each public record
// lives on the stack for the length of its callback.

#include <atomic>
#include <cstring>

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

using namespace record_copy;

namespace {

// The fields that an order and an arbitrage order share, by name: their public
// layouts differ in order, their wire layouts agree.
template <typename Public, typename Wire>
void fill_order_common(Public& r, const Wire& w) {
    r.m_Timestamp = w.m_timestamp;
    r.m_ClientOrderToken = w.m_order_token;
    r.m_SideType = w.m_side_type;
    r.m_Quantity = w.m_quantity;
    bounded_text(r.m_Symbol, w.m_symbol);
    r.m_Price = w.m_price;
    account_copy(r.m_Account, w.m_account_id);
    r.m_ExchengeID = w.m_exchange_id;
    r.m_InternalOrderId = w.m_internal_order_id;
    r.m_OrderStatus = w.m_order_state;
    r.m_CloseTime = w.m_close_time;
    r.m_FilledQty = static_cast<int>(w.m_filled_qty);
    r.m_MinQty = w.m_minimum_quantity;
    forced_end(r.m_MarketOrderId, w.m_market_order_id);
    r.m_HedgeFlag = w.m_hedge_flag;
    r.m_CustomField = w.m_mkt_custom_field;
    r.m_IOC = w.m_ioc;
}

// m_ForceCloseReason has no source on the wire and stays 0.
void fill_order(ZUL_QueryAccountOrder& r, const rewind_accoutn_order_response& w) {
    fill_order_common(r, w);
    r.m_InstrumentType = w.m_instrument_type;
    r.m_SymbolFlag = w.m_symbol_flag;
}

void fill_arbi_order(ZUL_QueryAccountArbiOrder& r, const rewind_account_arbi_order_response& w) {
    fill_order_common(r, w);
    r.m_OrderType = w.m_order_type;
}

// The wire has no numeric execution id: m_ExecutionID stays 0.
template <typename Public, typename Wire>
void fill_execution_common(Public& r, const Wire& w) {
    r.m_Timestamp = w.m_timestamp;
    r.m_ClientOrderToken = w.m_order_token;
    r.m_InternalOrderId = w.m_internal_order_id;
    r.m_ExecutedQuantity = w.m_executed_quantity;
    r.m_ExecutionPrice = w.m_execution_price;
    limited_text(r.m_MarketExecID, w.m_market_exec_id);
    r.m_LegNo = w.m_leg_no;
    r.m_OrderType = w.m_order_type;
}

void fill_execution(ZUL_QueryOrderExecution& r, const rewind_order_execution_response& w) {
    fill_execution_common(r, w);
}

// Serves 1063 and the hv27 form of 1075, which share one layout.
template <typename Wire>
void fill_execution_ex(ZUL_QueryOrderExecutionEx& r, const Wire& w) {
    fill_execution_common(r, w);
    limited_text(r.m_Symbol, w.m_symbol);
    r.m_SideType = w.m_side_type;
}

void fill_quote(ZUL_QueryAccountQuote& r, const rewind_account_quote_response& w) {
    whole_field(r.m_Symbol, w.m_symbol);
    r.m_ExchengeID = w.m_exchange_id;
    r.m_ClientQuoteToken = w.m_quote_token;
    r.m_InternalQuoteId = w.m_internal_quote_id;
    r.m_BidInternalQuoteId = w.m_bid_internal_quote_id;
    r.m_AskInternalQuoteId = w.m_ask_internal_quote_id;
    whole_field(r.m_MarketQuoteId, w.m_mkt_quote_id);
    whole_field(r.m_BidOrderSysId, w.m_bid_mkt_order_id);
    whole_field(r.m_AskOrderSysId, w.m_ask_mkt_order_id);
    r.m_BidQty = w.m_bid_volume;
    r.m_AskQty = w.m_ask_volume;
    r.m_BidPrice = w.m_bid_price;
    r.m_AskPrice = w.m_ask_price;
    r.m_BidHedgeFlag = w.m_bid_hedge_flag;
    r.m_AskHedgeFlag = w.m_ask_hedge_flag;
    r.m_BidIsOffset = w.m_bid_offset_flag;
    r.m_AskIsOffset = w.m_ask_offset_flag;
    r.m_BidState = w.m_bid_state;
    r.m_AskState = w.m_ask_state;
    r.m_BidFillQty = w.m_bid_fill_volume;
    r.m_AskFillQty = w.m_ask_fill_volume;
    r.m_CustomField = w.m_mkt_custom_field;
    r.m_IOC = w.m_ioc;
    whole_field(r.m_ReqForQuoteID, w.m_req_for_quote_id);
}

// One record of a replayed stream: zeroed, the user id copied, then either the
// closing call or the record filled and delivered. The user id and the account text
// reach the closing call too.
template <typename Public, typename Wire, typename Callback>
void replay_record(CQueryClient* client, const std::atomic<Callback>& slot, const Wire& w,
                   void (*fill)(Public&, const Wire&)) {
    if (slot.load() == nullptr)
        return;
    Public record;
    memset(&record, 0, sizeof(record));
    record.m_Userid = static_cast<ZUL_UserID>(w.m_user_id);
    char account[sizeof(ZUL_Account)];
    account_copy(account, w.m_account_id);
    // These streams close on 1 alone: any other flag, 2 included, carries data.
    const bool finish = w.m_last_record_flag == 1;
    if (!finish)
        fill(record, w);
    client->fire_event(slot, static_cast<const char*>(account), &record, finish,
                       static_cast<ZUL_QueryErrorId>(0));
}

}  // namespace

void CQueryClient::ProcQueryAccountTradeOrderMsg(rewind_accoutn_order_response* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_order, *pMsg, fill_order);
}

void CQueryClient::ProcQueryAccountTradeArbiOrderMsg(rewind_account_arbi_order_response* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_arbi_order, *pMsg, fill_arbi_order);
}

void CQueryClient::ProcQueryAccountTradeExecutionpMsg(rewind_order_execution_response* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_order_exec, *pMsg, fill_execution);
}

// An hv27 server's executions carry symbol and side: they go to the extended slot.
void CQueryClient::ProcQueryAccountTradeExecutionpMsg(hv27_rewind_order_execution_response* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_order_exec_ex, *pMsg,
                  fill_execution_ex<hv27_rewind_order_execution_response>);
}

void CQueryClient::ProcQueryAccountTradeExecutionpMsgEx(rewind_order_execution_response_ex* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_order_exec_ex, *pMsg,
                  fill_execution_ex<rewind_order_execution_response_ex>);
}

void CQueryClient::ProcQueryAccountQuoteMsg(rewind_account_quote_response* pMsg) {
    replay_record(this, m_ptr_fun_query_trade_quote, *pMsg, fill_quote);
}
