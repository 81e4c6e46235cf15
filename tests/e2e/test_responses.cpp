// Every response family end to end, in both server generations, against the simulator:
// each record it sends reaches its own callback and no other, mapped field by field as
// this file reads the wire; streams close with exactly one call; refusals, pushes, empty
// slots and the logon state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/call_book.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

const char* const FULL = "ACCT-FULL-WIDE16";  // fills the 16 bytes of the wire field
const std::vector<const char*> ACCOUNTS = {FULL, "ZQ7", "EMPTY-01"};
const uint32_t USER = 4242;

// ---- The mapping: the public record expected for each wire record.

template <class P>
P zero() {
    P p;
    memset(static_cast<void*>(&p), 0, sizeof(P));
    return p;
}
// A text up to its first zero byte, at most n characters, into a zeroed public field.
template <size_t N, size_t M>
void txt(char (&dst)[N], const char (&src)[M], size_t n) {
    memcpy(dst, src, strnlen(src, std::min(n, M)));
}
template <size_t M>
std::string text(const char (&f)[M]) {
    return std::string(f, strnlen(f, M));
}
// The decimal number that a text field begins with, read within the field.
template <size_t M>
unsigned leading_number(const char (&f)[M]) {
    unsigned n = 0;
    for (size_t i = 0; i < M && isdigit(static_cast<unsigned char>(f[i])); ++i)
        n = n * 10 + static_cast<unsigned>(f[i] - '0');
    return n;
}

// clang-format off
template <class P, class W> void balance(P& e, const W& w) {
    txt(e.m_Account, w.m_account_id, 16); e.m_InitialBp = w.m_initial_bp; e.m_AvailableBp = w.m_available_bp;
    e.m_Margin = w.m_margin; e.m_FrozenMargin = w.m_frozen_margin;
    e.m_CommissionFee = w.m_commission_fee; e.m_FrozenCommission = w.m_frozen_commission;
}
template <class P, class W> void bp_totals(P& e, const W& w) {
    balance(e, w); e.m_OvnInitMargin = w.m_ovn_init_margin;
    e.m_TotalLiquidPL = w.m_total_liquid_pl; e.m_TotalMarketPL = w.m_total_market_pl;
}
ZUL_AccountInfo map(const query_user_account_resp& w) {
    auto e = zero<ZUL_AccountInfo>(); balance(e, w);
    e.m_Previlege = w.m_previlege; e.m_AccountIdx = w.m_account_idx;
    return e;
}
ZUL_AccountBP map(const query_account_bp_resp& w) {
    auto e = zero<ZUL_AccountBP>(); bp_totals(e, w); e.m_AccountIdx = w.m_account_idx;
    return e;
}
ZUL_AccountBPDetail map(const query_account_bp_detail_resp& w) {
    auto e = zero<ZUL_AccountBPDetail>(); bp_totals(e, w);
    e.m_InitialEquity = w.m_initial_equity; e.m_RiskRate = w.m_risk_rate;
    e.m_OptPremiumBalance = w.m_opt_premium_balance; e.m_OptFrozenPremium = w.m_opt_frozen_premium;
    e.m_CommDeclarationFee = w.m_comm_declaration_fee; e.m_StepDeclarationFee = w.m_step_declaration_fee;
    e.m_CashInTotal = w.m_cash_in_total; e.m_CashOutTotal = w.m_cash_out_total; e.m_AmountCount = w.m_amount_count;
    // Bytes 164 and 173 in either generation, whatever each layout calls them.
    const unsigned char* raw = reinterpret_cast<const unsigned char*>(&w);
    e.m_PushMode = raw[164]; e.m_AccountIdx = raw[173];
    return e;
}
ZUL_AccountCashInout map(const account_cash_inout_notify& w) {
    auto e = zero<ZUL_AccountCashInout>(); txt(e.m_Account, w.m_account_id, 16);
    e.m_AvailableBp = w.m_available_bp; e.m_CashInOut = w.m_cash_in_out;
    e.m_CashInTotal = w.m_cash_in_total; e.m_CashOutTotal = w.m_cash_out_total;
    return e;
}
ZUL_SymbolField map(const query_symbol_resp& w) {
    auto e = zero<ZUL_SymbolField>();
    e.m_SecType = w.m_instrument_type; txt(e.m_Symbol, w.m_symbol, 20); e.m_ExchangeID = w.m_exchange_id;
    txt(e.m_ProdID, w.m_product_id, 31); e.m_DeliveryYear = w.m_delivery_year; e.m_DeliveryMonth = w.m_delivery_month;
    e.m_MaxMarketOrderVolume = w.m_max_market_order_volume; e.m_MinMarketOrderVolume = w.m_min_market_order_volume;
    e.m_MaxLimitOrderVolume = w.m_max_limit_order_volume; e.m_MinLimitOrderVolume = w.m_min_limit_order_volume;
    e.m_VolumeMultiple = w.m_volume_multiple; e.m_PriceTick = w.m_price_tick; e.m_CreateDate = w.m_create_date;
    e.m_OpenDate = w.m_open_date; e.m_ExpireDate = w.m_expire_date; e.m_InstLifePhase = w.m_inst_life_phase;
    e.m_IsTrading = w.m_is_trading; e.m_SymbolIdx = w.m_symbol_idx;
    if (w.m_instrument_type == SEC_TYPE_OPTION) {
        txt(e.m_UnderlyingSymbol, w.m_underlying_fut_symbol, 20);
        e.m_StrikePrice = w.m_strike_price; e.m_CallPut = w.m_call_put;
    } else {
        txt(e.m_SymbolName, w.m_instrument_name, 21);
        e.m_StartDelivDate = w.m_start_deliv_date; e.m_EndDelivDate = w.m_end_deliv_date;
    }
    return e;
}
ZUL_AccountComboRule map(const query_combo_rule_resp& w) {
    auto e = zero<ZUL_AccountComboRule>();
    e.m_RuleProdType = w.m_rule_prod_type; txt(e.m_Trading_date, w.m_trading_date, 9); e.m_ComboType = w.m_combo_type;
    e.m_Priority = w.m_priority; e.m_HedgeFlag = w.m_hedge_flag; e.m_ComboMargin = w.m_combo_margin; e.m_InstrId = w.m_instr_id;
    txt(e.m_ComboSymbol, w.m_combo_symbol, 80);
    txt(e.m_FirstSymbol, w.m_combo_leg1, 20); txt(e.m_SecondSymbol, w.m_combo_leg2, 20);
    e.m_FirstDirection = w.m_direction_leg1; e.m_FirstRegion = w.m_region_leg1;
    e.m_SecondDirection = w.m_direction_leg2; e.m_SecondRegion = w.m_region_leg2;
    return e;
}
template <class P, class W> P rate(const W& w, size_t symbol_chars) {
    auto e = zero<P>(); e.m_HedgeFlag = w.m_hedge_flag; txt(e.m_Symbol, w.m_symbol, symbol_chars);
    e.m_ExchangeID = w.m_exchange_id; txt(e.m_ProdID, w.m_prod_id, 31);
    return e;
}
ZUL_AccountMargin map(const query_account_margin_resp& w) {
    auto e = rate<ZUL_AccountMargin>(w, 20);
    e.m_LongMarginRatio = w.m_long_margin_ratio; e.m_ShortMarginRatio = w.m_short_margin_ratio;
    return e;
}
ZUL_AccountFee map(const query_account_fee_resp& w) {
    auto e = rate<ZUL_AccountFee>(w, 19);
    e.m_OpenRatioByMoney = w.m_open_ratio_by_money; e.m_OpenRatioByVolume = w.m_open_ratio_by_volume;
    e.m_CloseYesterdayRatioByMoney = w.m_close_yesterday_ratio_by_money;
    e.m_CloseYesterdayRatioByVolume = w.m_close_yesterday_ratio_by_volume;
    e.m_CloseTodayRatioByMoney = w.m_close_today_ratio_by_money; e.m_CloseTodayRatioByVolume = w.m_close_today_ratio_by_volume;
    e.m_PositionDir = w.m_pos_dir == 1 ? 1 : 5;
    return e;
}
ZUL_AccountPosition map(const query_account_fut_position_resp& w) {
    auto e = zero<ZUL_AccountPosition>();
    txt(e.m_ActId, w.m_account_id, 16); txt(e.m_Symbol, w.m_symbol, 19); e.m_PosiDirection = w.m_posi_direction;
    e.m_InitOvnQty = w.m_init_ovn_qty; e.m_OvnQty = w.m_ovn_qty; e.m_FrozenOvnQty = w.m_frozen_ovn_qty;
    e.m_TodayQty = w.m_today_qty; e.m_FrozenTodayQty = w.m_frozen_today_qty; e.m_HedgeFlag = w.m_hedge_flag;
    e.m_OvnMargin = w.m_ovn_occupied_margin; e.m_TodayMargin = w.m_today_occupied_margin; e.m_PositionCost = w.m_pos_cost;
    return e;
}
ZUL_AccountOptionPosition map(const query_account_opt_position_resp& w) {
    auto e = zero<ZUL_AccountOptionPosition>();
    txt(e.m_ActId, w.account_id, 16); txt(e.m_Symbol, w.full_symbol, 19); txt(e.m_UnderlyingSymbol, w.underlying_symbol, 19);
    e.m_PosiDirection = w.pos_dir; e.m_CallPut = w.call_put; e.m_StrikePrice = w.strike_price;
    e.m_ExpireDate = leading_number(w.expire_date); e.m_InitOvnQty = w.init_ovn_qty;
    e.m_CurOvnQty = w.cur_ovn_qty; e.m_CurTodayQty = w.cur_today_qty;
    e.m_CoverOvnLockedQty = w.cover_ovn_locked_qty; e.m_CoverTodayLockedQty = w.cover_today_locked_qty;
    e.m_ExecPendingQty = w.exec_pending_qty; e.m_ExecAppliedQty = w.exec_applied_qty;
    e.m_CxlExecPendingQty = w.cxl_exec_pending_qty; e.m_LiquidPl = w.liquid_pl; e.m_AvgPrice = w.avg_price;
    e.m_TotalCommissionFee = w.total_commission_fee; e.m_HedgeFlag = w.hedge_flag;
    return e;
}
ZUL_AccountComboPosition map(const query_combo_position_resp& w) {
    auto e = zero<ZUL_AccountComboPosition>();
    txt(e.m_Account, w.m_account_id, 16); e.m_ComboType = w.m_combo_type; txt(e.m_ComboSymbol, w.m_combo_symbol, 79);
    txt(e.m_FirstSymbol, w.m_first_symbol, 19); e.m_FirstDirection = w.m_first_direction;
    txt(e.m_SecondSymbol, w.m_second_symbol, 19); e.m_SecondDirection = w.m_second_direction;
    e.m_Qty = w.m_qty; e.m_InitQty = w.m_init_qty; e.m_HedgeFlag = w.m_hedge_flag;
    e.m_ComboMargin = w.m_combo_margin; e.m_ReturnMargin = w.m_return_margin;
    return e;
}
template <class P, class W> P order(const W& w) {
    auto e = zero<P>(); e.m_Userid = w.m_user_id; e.m_Timestamp = w.m_timestamp; e.m_ClientOrderToken = w.m_order_token;
    e.m_SideType = w.m_side_type; e.m_Quantity = w.m_quantity; txt(e.m_Symbol, w.m_symbol, 20); e.m_Price = w.m_price;
    txt(e.m_Account, w.m_account_id, 16); e.m_ExchengeID = w.m_exchange_id; e.m_InternalOrderId = w.m_internal_order_id;
    e.m_OrderStatus = w.m_order_state; e.m_CloseTime = w.m_close_time; e.m_FilledQty = w.m_filled_qty;
    e.m_MinQty = w.m_minimum_quantity; txt(e.m_MarketOrderId, w.m_market_order_id, 24); e.m_HedgeFlag = w.m_hedge_flag;
    e.m_CustomField = w.m_mkt_custom_field; e.m_IOC = w.m_ioc;
    return e;
}
ZUL_QueryAccountOrder map(const rewind_accoutn_order_response& w) {
    auto e = order<ZUL_QueryAccountOrder>(w); e.m_InstrumentType = w.m_instrument_type; e.m_SymbolFlag = w.m_symbol_flag;
    return e;
}
ZUL_QueryAccountArbiOrder map(const rewind_account_arbi_order_response& w) {
    auto e = order<ZUL_QueryAccountArbiOrder>(w); e.m_OrderType = w.m_order_type;
    return e;
}
template <class P, class W> P execution(const W& w) {
    auto e = zero<P>(); e.m_Userid = w.m_user_id; e.m_Timestamp = w.m_timestamp; e.m_ClientOrderToken = w.m_order_token;
    e.m_InternalOrderId = w.m_internal_order_id; e.m_ExecutedQuantity = w.m_executed_quantity;
    e.m_ExecutionPrice = w.m_execution_price; txt(e.m_MarketExecID, w.m_market_exec_id, 24);
    e.m_LegNo = w.m_leg_no; e.m_OrderType = w.m_order_type;
    return e;
}
ZUL_QueryOrderExecution map(const rewind_order_execution_response& w) {
    return execution<ZUL_QueryOrderExecution>(w);
}
template <class W> ZUL_QueryOrderExecutionEx execution_ex(const W& w) {
    auto e = execution<ZUL_QueryOrderExecutionEx>(w); txt(e.m_Symbol, w.m_symbol, 19); e.m_SideType = w.m_side_type;
    return e;
}
ZUL_QueryOrderExecutionEx map(const rewind_order_execution_response_ex& w) { return execution_ex(w); }
ZUL_QueryOrderExecutionEx map(const hv27_rewind_order_execution_response& w) { return execution_ex(w); }
ZUL_QueryAccountQuote map(const rewind_account_quote_response& w) {
    auto e = zero<ZUL_QueryAccountQuote>();
    e.m_Userid = w.m_user_id; txt(e.m_Symbol, w.m_symbol, 20); e.m_ExchengeID = w.m_exchange_id;
    e.m_ClientQuoteToken = w.m_quote_token;
    e.m_InternalQuoteId = w.m_internal_quote_id; e.m_BidInternalQuoteId = w.m_bid_internal_quote_id;
    e.m_AskInternalQuoteId = w.m_ask_internal_quote_id; txt(e.m_MarketQuoteId, w.m_mkt_quote_id, 24);
    txt(e.m_BidOrderSysId, w.m_bid_mkt_order_id, 24); txt(e.m_AskOrderSysId, w.m_ask_mkt_order_id, 24);
    e.m_BidQty = w.m_bid_volume; e.m_AskQty = w.m_ask_volume; e.m_BidPrice = w.m_bid_price; e.m_AskPrice = w.m_ask_price;
    e.m_BidHedgeFlag = w.m_bid_hedge_flag; e.m_AskHedgeFlag = w.m_ask_hedge_flag;
    e.m_BidIsOffset = w.m_bid_offset_flag; e.m_AskIsOffset = w.m_ask_offset_flag; e.m_BidState = w.m_bid_state;
    e.m_AskState = w.m_ask_state; e.m_BidFillQty = w.m_bid_fill_volume; e.m_AskFillQty = w.m_ask_fill_volume;
    e.m_CustomField = w.m_mkt_custom_field; e.m_IOC = w.m_ioc; txt(e.m_ReqForQuoteID, w.m_req_for_quote_id, 24);
    return e;
}
// The totals and rule 39, all that an hv27 server reports; the fee and BP are renamed.
template <class W> ZUL_AccountRiskData risk_totals(const W& w) {
    ZUL_AccountRiskData e;
    txt(e.m_account_id, w.m_account_id, 16); e.m_user_id = w.m_user_id; e.m_last_update_time = w.m_last_update_time;
    const auto& rd = w.m_account_risk_real_data;
    e.m_broker_margin = rd.m_broker_margin; e.m_exchange_margin = rd.m_exchange_margin;
    e.m_total_fee = rd.m_fee; e.m_total_bp = rd.m_bp;
    e.m_39_limit_val = w.m_account_mpl_data.m_39_limit_val; e.m_39_accumulate_val = w.m_account_mpl_data.m_39_accumulate_val;
    return e;
}
ZUL_AccountRiskData map(const hv27_account_risk_real_data_resp& w) { return risk_totals(w); }
// Rule fields by name from the rule block (RD), or from the end of the message (TAIL).
#define RD(f) e.f = rd.f;
#define TAIL(f) e.f = w.f;
ZUL_AccountRiskData map(const account_risk_real_data_resp& w) {
    ZUL_AccountRiskData e = risk_totals(w);
    const account_risk_real_data& rd = w.m_account_risk_real_data;
    RD(m_1_limit_val) RD(m_2_limit_val) RD(m_5_limit_val) RD(m_6_limit_val) RD(m_8_limit_val) RD(m_9_limit_val)
    RD(m_10_limit_val) RD(m_11_limit_val) RD(m_11_accumulate_val) RD(m_12_limit_val) RD(m_12_accumulate_val)
    RD(m_13_limit_val) RD(m_13_accumulate_val) RD(m_14_limit_val_1) RD(m_14_time_val) RD(m_14_limit_val_2)
    RD(m_14_accumulate_val) RD(m_15_limit_val_1) RD(m_15_time_val) RD(m_15_limit_val_2) RD(m_15_accumulate_val)
    RD(m_17_limit_val) RD(m_17_accumulate_val) RD(m_18_limit_val) RD(m_18_accumulate_val) RD(m_19_limit_val)
    RD(m_19_accumulate_val) RD(m_20_limit_val) TAIL(m_20_accumulate_val) RD(m_21_limit_val) RD(m_21_accumulate_val)
    RD(m_22_limit_val) RD(m_22_accumulate_val) RD(m_24_limit_val_1) RD(m_24_time_val) RD(m_24_limit_val_2)
    RD(m_24_accumulate_val) RD(m_25_limit_val_1) RD(m_25_time_val) RD(m_25_limit_val_2) RD(m_25_accumulate_val)
    RD(m_26_limit_val_1) RD(m_26_accumulate_val) RD(m_26_limit_val_2) RD(m_27_limit_val) TAIL(m_27_accumulate_val)
    RD(m_28_limit_val) TAIL(m_28_accumulate_val) RD(m_29_limit_val) RD(m_29_accumulate_val) RD(m_30_limit_val)
    RD(m_30_accumulate_val) RD(m_31_limit_val) RD(m_31_accumulate_val) RD(m_32_limit_val) RD(m_32_accumulate_val)
    RD(m_33_limit_val) RD(m_33_accumulate_val) RD(m_34_limit_val_1) RD(m_34_time_val) RD(m_34_limit_val_2)
    RD(m_34_accumulate_val) RD(m_35_limit_val_1) RD(m_35_time_val) RD(m_35_limit_val_2) RD(m_35_accumulate_val)
    RD(m_36_limit_val_1) RD(m_36_time_val) RD(m_36_limit_val_2) RD(m_36_accumulate_val) RD(m_37_limit_val_1)
    RD(m_37_time_val) RD(m_37_limit_val_2) RD(m_37_accumulate_val) RD(m_38_limit_val) RD(m_38_accumulate_val)
    RD(m_40_limit_val) TAIL(m_40_accumulate_val) RD(m_41_limit_val) RD(m_41_accumulate_val) RD(m_42_limit_val)
    RD(m_42_accumulate_val) RD(m_43_limit_val) RD(m_43_accumulate_val) RD(m_44_limit_val) RD(m_44_accumulate_val)
    RD(m_54_limit_val) RD(m_54_accumulate_val) RD(m_55_limit_val) RD(m_55_accumulate_val) RD(m_56_limit_val)
    RD(m_56_accumulate_val) RD(m_57_limit_val) RD(m_57_accumulate_val) RD(m_58_limit_val) RD(m_58_accumulate_val)
    RD(m_59_limit_val) RD(m_59_accumulate_val) RD(m_60_limit_val) TAIL(m_60_accumulate_val) RD(m_61_limit_val)
    TAIL(m_61_accumulate_val) RD(m_62_limit_val_1) RD(m_62_time_val) RD(m_62_limit_val_2) RD(m_62_accumulate_val)
    RD(m_63_limit_val_1) RD(m_63_time_val) RD(m_63_limit_val_2) RD(m_63_accumulate_val)
    return e;
}
ZUL_AccountSymbolRiskData map(const account_symbol_real_data_resp& w) {
    ZUL_AccountSymbolRiskData e;
    e.m_user_id = w.m_user_id; txt(e.m_account_id, w.m_account_id, 16); txt(e.m_symbol, w.m_symbol, 20);
    e.m_last_update_time = w.m_last_update_time;
    const account_symbol_risk_real_data& rd = w.m_account_symbol_risk_data;
    RD(m_onp_short_pos_settle_price) RD(m_onp_long_pos_settle_price) RD(m_onp_long_pos_quantity) RD(m_onp_long_pos_margin)
    RD(m_open_fee_rate_2) RD(m_open_fee_rate_1) RD(m_onp_short_pos_quantity) RD(m_onp_short_pos_margin)
    RD(m_broker_margin_rate) RD(m_fee_caculate_mode) RD(m_cover_fee_rate_2) RD(m_cover_fee_rate_1) RD(m_fee)
    RD(m_onp_short_pos_qty) RD(m_today_short_pos_qty) RD(m_onp_long_pos_qty) RD(m_today_long_pos_qty) RD(m_snpl)
    RD(m_bnpl) RD(m_3_limit_val) RD(m_4_limit_val) RD(m_7_limit_val) RD(m_23_limit_val) RD(m_23_accumulate_val)
    RD(m_45_limit_val) TAIL(m_45_accumulate_val) RD(m_46_limit_val) TAIL(m_46_accumulate_val) RD(m_47_limit_val)
    TAIL(m_47_accumulate_val) RD(m_48_limit_val) TAIL(m_48_accumulate_val) RD(m_49_limit_val) TAIL(m_49_accumulate_val)
    RD(m_50_limit_val) TAIL(m_50_accumulate_val) RD(m_51_limit_val) TAIL(m_51_accumulate_val) RD(m_52_limit_val)
    TAIL(m_52_accumulate_val) RD(m_53_limit_val) TAIL(m_53_accumulate_val)
    const symbol_account_risk_real_data& pd = w.m_symbol_account_risk_data;
    e.m_bmpl = pd.m_bmpl; e.m_long_pos_quantity = pd.m_long_pos_quantity; e.m_long_pos_total_val = pd.m_long_pos_total_val;
    e.m_smpl = pd.m_smpl; e.m_short_pos_quantity = pd.m_short_pos_quantity; e.m_short_pos_total_val = pd.m_short_pos_total_val;
    return e;
}
#undef RD
#undef TAIL
// clang-format on

// The account text a callback must show beside the record: the wire's account.
template <class W>
std::string account_of(const W& w) {
    return text(w.m_account_id);
}
std::string account_of(const query_account_opt_position_resp& w) {
    return text(w.account_id);
}
std::string account_of(const query_symbol_resp&) {
    return "";
}
std::string account_of(const query_combo_rule_resp&) {
    return "";
}

// One call against its wire record: the account text, and unless the record closes its
// stream, every byte of the mapped record, texts with their terminators.
template <class W>
void same(const zulsim::Bytes& raw, const call& got, bool closing) {
    ASSERT_EQ(sizeof(W), raw.size());
    W w;
    memcpy(static_cast<void*>(&w), raw.data(), sizeof(W));
    if (got.has_account) {
        EXPECT_EQ(account_of(w), got.account);
    }
    if (closing)
        return;
    const auto e = map(w);
    const std::string want(reinterpret_cast<const char*>(&e), sizeof(e));
    ASSERT_EQ(want.size(), got.record.size());
    std::string at;
    for (size_t i = 0; i < want.size(); ++i)
        if (want[i] != got.record[i])
            at += " " + std::to_string(i);
    EXPECT_TRUE(at.empty()) << "bytes differ at offsets" << at;
}

// LIST: a stream not about an account; STREAM: closes on any non-zero flag; REPLAY:
// closes on a flag of exactly 1 with a record zero but for the user id; SINGLE: one
// answer, no finish flag.
enum shape { LIST, STREAM, REPLAY, SINGLE };

struct family {
    const char* name;
    uint16_t request, response;
    shape kind;
    bool on_hv27;  // asked of an hv27 server too
    RESULT (*ask)(void*, const char*);
    slot_id slot;
    void (*same)(const zulsim::Bytes&, const call&, bool);
};

#define ASK(expr) [](void* h, [[maybe_unused]] const char* a) -> RESULT { return expr; }

std::vector<family> families(bool hv27) {
    const slot_id exec = hv27 ? slot_of(KQZUL_SetQueryTradeOrderExecEventEx)
                              : slot_of(KQZUL_SetQueryTradeOrderExecEvent);
    // clang-format off
    return {
        {"accounts", 71, 1071, LIST, true, ASK(KQZUL_QueryUserAccount(h)),
         slot_of(KQZUL_SetQueryUserAccountEvent), same<query_user_account_resp>},
        // Security type 0 asks the simulator for every kind: both readings of the record.
        {"symbols", 72, 1072, LIST, true, ASK(KQZUL_QuerySymbolList(h, 0)),
         slot_of(KQZUL_SetQuerySymbolListEvent), same<query_symbol_resp>},
        {"futures positions", 73, 1073, STREAM, true, ASK(KQZUL_QueryAccountPosition(h, a, SEC_TYPE_FUTURE)),
         slot_of(KQZUL_SetQueryAccountPositionEvent), same<query_account_fut_position_resp>},
        {"option positions", 73, 1092, STREAM, true, ASK(KQZUL_QueryAccountPosition(h, a, SEC_TYPE_OPTION)),
         slot_of(KQZUL_SetQueryAccountOptionPositionEvent), same<query_account_opt_position_resp>},
        {"orders", 74, 1074, REPLAY, true, ASK(KQZUL_QueryAccountOrder(h, a, 0)),
         slot_of(KQZUL_SetQueryTradeOrderEvent), same<rewind_accoutn_order_response>},
        {"executions", 75, 1075, REPLAY, true, ASK(KQZUL_QueryAccountOrderExecution(h, a, 3, 0)),
         exec, hv27 ? same<hv27_rewind_order_execution_response> : same<rewind_order_execution_response>},
        {"executions with symbol", 75, 1063, REPLAY, true, ASK(KQZUL_QueryAccountOrderExecution(h, a, 3, 1)),
         slot_of(KQZUL_SetQueryTradeOrderExecEventEx), same<rewind_order_execution_response_ex>},
        {"combination rules", 76, 1076, LIST, false, ASK(KQZUL_QueryComboRule(h, 1, 1)),
         slot_of(KQZUL_SetQueryComboRuleEvent), same<query_combo_rule_resp>},
        {"margin rates", 77, 1077, STREAM, true, ASK(KQZUL_QueryAccountTradeMargin(h, a)),
         slot_of(KQZUL_SetQueryAccountTradeMarginEvent), same<query_account_margin_resp>},
        {"fee rates", 78, 1078, STREAM, true, ASK(KQZUL_QueryAccountTradeFee(h, a, 1)),
         slot_of(KQZUL_SetQueryAccountTradeFeeEvent), same<query_account_fee_resp>},
        {"combination positions", 79, 1079, STREAM, false, ASK(KQZUL_QueryComboPosition(h, a)),
         slot_of(KQZUL_SetQueryComboPositionEvent), same<query_combo_position_resp>},
        {"BP", 81, 1081, SINGLE, false, ASK(KQZUL_QueryAccountBP(h, a)),
         slot_of(KQZUL_SetQueryAccountBPEvent), same<query_account_bp_resp>},
        {"risk data", 82, 1082, SINGLE, true, ASK(KQZUL_QueryAccountRiskData(h, a, "", 0)),
         slot_of(KQZUL_SetQueryAccountRiskDataEvent),
         hv27 ? same<hv27_account_risk_real_data_resp> : same<account_risk_real_data_resp>},
        {"symbol risk data", 83, 1083, SINGLE, true, ASK(KQZUL_QueryAccountSymbolRiskData(h, a, "", 0)),
         slot_of(KQZUL_SetQueryAccountSymbolRiskDataEvent), same<account_symbol_real_data_resp>},
        {"cash", 85, 1099, SINGLE, true, ASK(KQZUL_QueryAccountCashInOut(h, a)),
         slot_of(KQZUL_NotifyAccountCashInOutEvent), same<account_cash_inout_notify>},
        {"BP detail", 88, 1088, SINGLE, true, ASK(KQZUL_QueryAccountBPDetail(h, a)),
         slot_of(KQZUL_SetQueryAccountBPDetailEvent), same<query_account_bp_detail_resp>},
        {"quotes", 95, 1095, REPLAY, true, ASK(KQZUL_QueryAccountQuote(h, a, 2)),
         slot_of(KQZUL_SetQueryTradeQuoteEvent), same<rewind_account_quote_response>},
        {"arbitrage orders", 98, 1098, REPLAY, false, ASK(KQZUL_QueryAccountArbiOrder(h, a)),
         slot_of(KQZUL_SetQueryTradeArbiOrderEvent), same<rewind_account_arbi_order_response>},
    };
    // clang-format on
}

class Responses : public ::testing::TestWithParam<bool> {
protected:
    Responses() : s(options()), book(s.handle()) {}
    void SetUp() override {
        KQZUL_SetQueryMaxWaitTime(h(), 20);  // a short event-loop wait makes the close quick
        ASSERT_NO_FATAL_FAILURE(s.connect_and_logon());
    }
    zulsim::Options options() const {
        zulsim::Options o;
        o.hv27 = GetParam();
        o.user_id = USER;
        return o;
    }
    bool hv27() const { return GetParam(); }
    void* h() { return s.handle(); }
    CQueryClient* engine() { return static_cast<CQueryClient*>(h()); }

    // The calls so far. Answers come in the order of the requests, so once the answer to
    // a password change sent now is in, all before it has been delivered; the password
    // answers are left out.
    std::vector<call> settle() {
        const slot_id pwd = slot_of(KQZUL_SetQueryChangePasswordEvent);
        const size_t before = book.calls(pwd).size();
        EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryChangePassword(h(), "secret99", "marker2024"));
        EXPECT_TRUE(wait_until([&] { return book.calls(pwd).size() > before; }));
        std::vector<call> got = book.calls();
        got.erase(
            std::remove_if(got.begin(), got.end(), [&](const call& c) { return c.slot == pwd; }),
            got.end());
        return got;
    }

    sim_session s;
    call_book book;
};

}  // namespace

TEST_P(Responses, EveryRecordReachesItsOwnCallbackMappedAndStreamsCloseOnce) {
    const zulsim::DataSet data = s.sim().data();
    for (const family& f : families(hv27())) {
        s.sim().configure([&](zulsim::Options& o) { o.exec_with_symbol = f.response == 1063; });
        for (const char* account : f.kind == LIST ? std::vector<const char*>{""} : ACCOUNTS) {
            SCOPED_TRACE(std::string(f.name) + " of '" + account + "'");
            const RESULT sent = f.ask(h(), account);
            if (hv27() && !f.on_hv27) {
                EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, sent);
                continue;
            }
            ASSERT_EQ(ZUL_RESULT_OK, sent);
            const std::vector<call> got = settle();
            book.clear();
            // What the request selected of the data set.
            const std::vector<zulsim::ReceivedRequest> asked = s.sim().requests();
            const auto request = std::find_if(asked.rbegin(), asked.rend(),
                                              [&](const auto& r) { return r.id == f.request; });
            ASSERT_NE(asked.rend(), request);
            const std::vector<zulsim::Bytes> selected =
                data.select(f.response, account, request->raw);
            ASSERT_FALSE(selected.empty());
            const std::vector<zulsim::Bytes>* wire = &selected;
            ASSERT_EQ(wire->size(), got.size()) << "one call per record, none elsewhere";
            for (size_t i = 0; i < got.size(); ++i) {
                SCOPED_TRACE("call " + std::to_string(i));
                const bool closing = f.kind != SINGLE && i + 1 == got.size();
                EXPECT_EQ(f.slot, got[i].slot);
                EXPECT_EQ(0u, got[i].error);
                EXPECT_EQ(closing, got[i].finish);
                f.same((*wire)[i], got[i], closing);
                if (!closing)
                    continue;
                std::string zero(got[i].record.size(), '\0');
                if (f.kind == REPLAY)
                    memcpy(&zero[0], &USER, sizeof(USER));
                EXPECT_EQ(zero, got[i].record) << "a closing record carries nothing else";
            }
        }
    }
}

// A refusal reaches the callback of the first family of its request: option positions
// are refused through the futures callback, executions through the generation's own.
TEST_P(Responses, EveryRefusedQueryReachesItsOwnCallbackOnly) {
    const std::vector<family> all = families(hv27());
    for (const family& f : all) {
        SCOPED_TRACE(f.name);
        const uint32_t error = 900000u + f.response;  // one of its own, so crossed wires show
        s.sim().configure([&](zulsim::Options& o) { o.refusals = {{f.request, error}}; });
        const RESULT sent = f.ask(h(), "ZQ7");
        if (hv27() && !f.on_hv27) {
            // Not asked of an hv27 server; a refusal that comes all the same is routed alike.
            ASSERT_EQ(ZUL_RESULT_NOT_SUPPORTED, sent);
            hv27_query_err_resp e;
            e.m_sub_msg_id = f.request;
            e.m_error_id = error;
            ASSERT_EQ(1u, s.sim().send_raw(zulsim::DataSet::bytes_of(e)));
        } else {
            ASSERT_EQ(ZUL_RESULT_OK, sent);
        }
        const std::vector<call> got = settle();
        book.clear();
        ASSERT_EQ(1u, got.size()) << "one call, no closing call";
        auto first = std::find_if(all.begin(), all.end(),
                                  [&](const family& g) { return g.request == f.request; });
        EXPECT_EQ(first->slot, got[0].slot);
        EXPECT_EQ(error, got[0].error);
        EXPECT_TRUE(got[0].zero_record());
        EXPECT_FALSE(got[0].finish);
        EXPECT_EQ("", got[0].account) << "an empty account text, where the callback takes one";
    }
}

TEST_P(Responses, PushesReachTheirOwnCallbacksWhileAStreamRuns) {
    s.sim().configure([](zulsim::Options& o) {
        o.bulk_records = 120;
        o.pause = std::chrono::milliseconds(5);
    });
    const slot_id symbols = slot_of(KQZUL_SetQuerySymbolListEvent);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QuerySymbolList(h(), SEC_TYPE_FUTURE));
    ASSERT_TRUE(wait_until([&] { return !book.calls(symbols).empty(); }));
    ASSERT_EQ(1u, s.sim().push_bp_report(FULL));
    ASSERT_EQ(1u, s.sim().push_cash_notice("ZQ7"));
    const std::vector<call> got = settle();
    ASSERT_EQ(123u, got.size()) << "the stream, one report and one notice";
    EXPECT_EQ(symbols, got.back().slot);
    EXPECT_TRUE(got.back().finish) << "the pushes came before the stream's end";
    auto at = [&](slot_id slot) {
        return std::find_if(got.begin(), got.end(), [&](const call& c) { return c.slot == slot; }) -
               got.begin();
    };
    const auto report = at(slot_of(KQZUL_ReportAccountBPEvent));
    const auto cash = at(slot_of(KQZUL_NotifyAccountCashInOutEvent));
    ASSERT_LT(report, 122);
    ASSERT_LT(cash, 122);
    const zulsim::DataSet data = s.sim().data();
    same<query_account_bp_resp>(data.find(REPORT_ACCOUNT_BP_MSG_ID, FULL)->front(), got[report],
                                false);
    same<account_cash_inout_notify>(data.find(ACCOUNT_CASH_INOUT_NOTIFY, "ZQ7")->front(), got[cash],
                                    false);
}

TEST_P(Responses, EmptySlotDropsItsMessagesAndTheNextOnesArrive) {
    // Executions and risk data have sizes of their generation; option positions share
    // their request with the futures positions.
    KQZUL_SetQueryTradeOrderExecEvent(h(), nullptr);
    KQZUL_SetQueryTradeOrderExecEventEx(h(), nullptr);
    KQZUL_SetQueryAccountRiskDataEvent(h(), nullptr);
    KQZUL_SetQueryAccountOptionPositionEvent(h(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountOrderExecution(h(), FULL, 3, 0));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountRiskData(h(), FULL, "", 0));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(h(), FULL, SEC_TYPE_OPTION));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountOrder(h(), "ZQ7", 0));  // every kind
    std::vector<call> got = settle();
    ASSERT_EQ(4u, got.size()) << "the three orders and their closing call alone";
    for (const call& c : got)
        EXPECT_EQ(slot_of(KQZUL_SetQueryTradeOrderEvent), c.slot);
    EXPECT_TRUE(got.back().finish);

    book.clear();
    hook_up(h(), KQZUL_SetQueryAccountOptionPositionEvent);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(h(), "ZQ7", SEC_TYPE_OPTION));
    got = settle();
    ASSERT_EQ(4u, got.size());
    EXPECT_EQ(slot_of(KQZUL_SetQueryAccountOptionPositionEvent), got.back().slot);
}

TEST_P(Responses, LogonUserIdAndGenerationTravelIntoLaterRequests) {
    EXPECT_EQ(hv27(), engine()->IsHv27Version());
    s.sim().configure([](zulsim::Options& o) { o.change_password_result = 17; });
    s.sim().clear_requests();
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(h()));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(h(), "ZQ7"));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeFee(h(), "ZQ7", 1));
    settle();
    ASSERT_TRUE(s.sim().wait_for_requests(4, std::chrono::seconds(10)));
    for (const zulsim::ReceivedRequest& r : s.sim().requests())
        EXPECT_EQ(USER, r.number("m_user_id")) << r.name;
    const std::vector<call> pwd = book.calls(slot_of(KQZUL_SetQueryChangePasswordEvent));
    ASSERT_EQ(1u, pwd.size());
    EXPECT_EQ(17, pwd[0].result);
}

TEST_P(Responses, RefusedLogonLeavesTheClientLoggedOffWithItsUserId) {
    s.sim().configure([](zulsim::Options& o) {
        o.logon_result = 5;
        o.user_id = 777;
    });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(h(), "trader01", "secret99"));
    ASSERT_TRUE(wait_until([&] { return !engine()->IsLogon(); }));
    const ZUL_QueryLogonResponse r = s.rec().logons().back();
    EXPECT_EQ(5, +r.m_Result);
    EXPECT_EQ(777, +r.m_UserId);
    EXPECT_EQ(USER, engine()->GetUserID());
    EXPECT_EQ(hv27(), engine()->IsHv27Version());
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, KQZUL_QueryUserAccount(h()));
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Responses, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& i) {
                             return i.param ? "hv27" : "other";
                         });

// The mapping test means something only if the served data has the edges: full-width
// texts without terminator, flag 2 as data and as a closing flag, fee directions.
TEST(ResponseData, HoldsTheEdgesTheMappingMustMeet) {
    const zulsim::DataSet d = zulsim::DataSet::standard(false, USER);
    const auto order = d.record<rewind_accoutn_order_response>(1074, FULL, 0);
    EXPECT_EQ(16u, text(order.m_account_id).size());
    EXPECT_EQ(20u, text(order.m_symbol).size());
    EXPECT_EQ(24u, text(order.m_market_order_id).size());
    EXPECT_EQ(2, +d.record<rewind_accoutn_order_response>(1074, FULL, 1).m_last_record_flag);
    EXPECT_EQ(2, +d.record<query_account_fut_position_resp>(1073, "ZQ7", 3).m_last_record_flag);
    EXPECT_EQ(32u, text(d.record<query_symbol_resp>(1072, "", 0).m_product_id).size());
    EXPECT_EQ(80u, text(d.record<query_combo_position_resp>(1079, FULL, 0).m_combo_symbol).size());
    EXPECT_EQ(9u,
              text(d.record<query_account_opt_position_resp>(1092, FULL, 0).expire_date).size());
    for (Int1 i = 0; i < 3; ++i)
        EXPECT_EQ(i == 0   ? 1
                  : i == 1 ? 2
                           : 255,
                  +d.record<query_account_fee_resp>(1078, FULL, i).m_pos_dir);
}
