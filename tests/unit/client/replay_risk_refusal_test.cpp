// The order, execution, quote, risk and refusal messages fed from buffers, with no
// socket: their sizes by generation, the stream endings, the text forms at the
// edges of their fields, and every refusal sub id.

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/records_ii.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

template <typename Record>
std::string bytes_of(const Record& r) {
    return std::string(reinterpret_cast<const char*>(&r), sizeof(r));
}

// Writes text into a wire field without regard to terminators: what follows a zero
// byte is part of the test.
template <size_t N>
void put(char (&field)[N], const std::string& text) {
    ASSERT_LE(text.size(), N);
    memset(field, 0, N);
    memcpy(field, text.data(), text.size());
}

std::string chars(char c, size_t n) {
    return std::string(n, c);
}

class ReplayTranslators : public ::testing::Test {
protected:
    ReplayTranslators() : m_client(nullptr), m_book(&m_client) {}

    // Offers bytes as the transport would and returns what the loop consumed.
    unsigned int feed(const std::string& bytes) {
        const char* p = bytes.data();
        socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
        m_client.on_query_callback(out);
        return out.get_proc_len();
    }
    // The generation comes with a logon answer, as from a server.
    void set_generation(bool hv27) {
        query_logon_msg_resp logon;
        logon.m_reserved[0] = static_cast<char>(hv27 ? HV27_VERSION_FLAG : 0);
        ASSERT_EQ(56u, feed(bytes_of(logon)));
        ASSERT_EQ(hv27, m_client.IsHv27Version());
    }
    std::string text_log() {
        return read_file(std::string("mavlog_") + precise_time::m_startDate + ".log");
    }
    // The one call of the last feed.
    slot_call only_call() {
        const std::vector<slot_call> calls = m_book.calls();
        EXPECT_EQ(1u, calls.size());
        m_book.clear();
        return calls.empty() ? slot_call() : calls[0];
    }

    scratch_dir m_dir;
    CQueryClient m_client;
    record_book m_book;
};

struct sized_message {
    int id;
    bool hv27;
    size_t size;
    record_slot slot;
};

}  // namespace

TEST_F(ReplayTranslators, EachMessageTakesTheSizeOfItsGeneration) {
    const sized_message table[] = {
        {1063, false, 112, SLOT_EXEC_EX},     {1063, true, 112, SLOT_EXEC_EX},
        {1064, false, 24, SLOT_ORDER},        {1064, true, 24, SLOT_ORDER},
        {1074, false, 144, SLOT_ORDER},       {1074, true, 144, SLOT_ORDER},
        {1075, false, 88, SLOT_EXEC},         {1075, true, 112, SLOT_EXEC_EX},
        {1082, false, 1006, SLOT_RISK},       {1082, true, 84, SLOT_RISK},
        {1083, false, 448, SLOT_SYMBOL_RISK}, {1083, true, 448, SLOT_SYMBOL_RISK},
        {1095, false, 248, SLOT_QUOTE},       {1095, true, 248, SLOT_QUOTE},
        {1098, false, 144, SLOT_ARBI_ORDER},  {1098, true, 144, SLOT_ARBI_ORDER},
    };
    for (const sized_message& m : table) {
        SCOPED_TRACE(std::to_string(m.id) + (m.hv27 ? " hv27" : " other"));
        set_generation(m.hv27);
        m_book.clear();
        std::string bytes(m.size + 1, '\0');
        const Int2 id = static_cast<Int2>(m.id);
        memcpy(&bytes[0], &id, 2);
        if (m.id == 1064) {
            const Int2 sub = REWIND_ACCOUNT_ORDER_REQ_MSG_ID;
            memcpy(&bytes[offsetof(hv27_query_err_resp, m_sub_msg_id)], &sub, 2);
        }
        EXPECT_EQ(0u, feed(bytes.substr(0, m.size - 1)));
        EXPECT_EQ(0u, m_book.count());
        EXPECT_EQ(m.size, feed(bytes)) << "the byte behind stays";
        const slot_call c = only_call();
        EXPECT_EQ(m.slot, c.slot);
    }
}

TEST_F(ReplayTranslators, OrderStreamClosesOnFlagOneOnlyAndKeepsTheUserId) {
    rewind_accoutn_order_response order;
    order.m_user_id = 4242;
    put(order.m_account_id, "ACCT-FULL-WIDE16");
    order.m_quantity = 77;
    for (Int1 flag : {0, 2, 3, 255}) {
        order.m_last_record_flag = flag;
        ASSERT_EQ(144u, feed(bytes_of(order)));
        const slot_call c = only_call();
        EXPECT_FALSE(c.finish) << int(flag);
        EXPECT_EQ(77u, +c.as<ZUL_QueryAccountOrder>().m_Quantity) << int(flag);
        EXPECT_EQ(4242, +c.as<ZUL_QueryAccountOrder>().m_Userid);
    }
    order.m_last_record_flag = 1;
    ASSERT_EQ(144u, feed(bytes_of(order)));
    slot_call c = only_call();
    EXPECT_TRUE(c.finish);
    EXPECT_EQ(0u, c.error);
    EXPECT_EQ("ACCT-FULL-WIDE16", c.account) << "the account text of a closing record too";
    ZUL_QueryAccountOrder closing;
    memset(&closing, 0, sizeof(closing));
    closing.m_Userid = 4242;
    EXPECT_EQ(bytes_of(closing), c.record);
}

TEST_F(ReplayTranslators, OrderTextsAtTheEdgesOfTheirFields) {
    rewind_accoutn_order_response order;
    put(order.m_symbol, chars('S', 20));
    put(order.m_market_order_id, chars('M', 24));
    put(order.m_account_id, std::string("AB\0junk", 7));
    ASSERT_EQ(144u, feed(bytes_of(order)));
    slot_call c = only_call();
    ZUL_QueryAccountOrder r = c.as<ZUL_QueryAccountOrder>();
    EXPECT_EQ(chars('S', 20), field_bytes(r.m_Symbol)) << "a full symbol arrives whole";
    EXPECT_EQ(chars('M', 24) + '\0', field_bytes(r.m_MarketOrderId));
    // The account copy takes all 16 bytes; the account text ends at the zero.
    EXPECT_EQ(std::string("AB\0junk", 7) + std::string(10, '\0'), field_bytes(r.m_Account));
    EXPECT_EQ("AB", c.account);

    // The symbol ends at its zero; the market order id is copied whole.
    put(order.m_symbol, std::string("SY\0junk", 7));
    put(order.m_market_order_id, std::string("ID\0junk", 7));
    ASSERT_EQ(144u, feed(bytes_of(order)));
    r = only_call().as<ZUL_QueryAccountOrder>();
    EXPECT_EQ(padded("SY", 20), field_bytes(r.m_Symbol));
    EXPECT_EQ(padded(std::string("ID\0junk", 7), 25), field_bytes(r.m_MarketOrderId));
}

TEST_F(ReplayTranslators, ExecutionTextsAtTheEdgesOfTheirFields) {
    rewind_order_execution_response_ex exec;
    put(exec.m_market_exec_id, chars('E', 24));
    put(exec.m_symbol, chars('S', 20));
    ASSERT_EQ(112u, feed(bytes_of(exec)));
    ZUL_QueryOrderExecutionEx r = only_call().as<ZUL_QueryOrderExecutionEx>();
    EXPECT_EQ(chars('E', 24) + '\0', field_bytes(r.m_MarketExecID));
    EXPECT_EQ(chars('S', 19) + '\0', field_bytes(r.m_Symbol)) << "cut to 19";
    EXPECT_EQ(0, +r.m_ExecutionID);

    put(exec.m_market_exec_id, std::string("EX\0junk", 7));
    put(exec.m_symbol, std::string("SY\0junk", 7));
    ASSERT_EQ(112u, feed(bytes_of(exec)));
    r = only_call().as<ZUL_QueryOrderExecutionEx>();
    EXPECT_EQ(padded("EX", 25), field_bytes(r.m_MarketExecID));
    EXPECT_EQ(padded("SY", 20), field_bytes(r.m_Symbol));

    rewind_order_execution_response plain;
    put(plain.m_market_exec_id, std::string("P\0junk", 6));
    ASSERT_EQ(88u, feed(bytes_of(plain)));
    EXPECT_EQ(padded("P", 25),
              field_bytes(only_call().as<ZUL_QueryOrderExecution>().m_MarketExecID));
}

TEST_F(ReplayTranslators, QuoteTextsAreCopiedWhole) {
    rewind_account_quote_response quote;
    put(quote.m_symbol, std::string("Q\0junk", 6));
    put(quote.m_mkt_quote_id, std::string("MQ\0junk", 7));
    put(quote.m_bid_mkt_order_id, chars('B', 24));
    put(quote.m_ask_mkt_order_id, std::string("A\0junk", 6));
    put(quote.m_req_for_quote_id, chars('R', 24));
    ASSERT_EQ(248u, feed(bytes_of(quote)));
    const ZUL_QueryAccountQuote r = only_call().as<ZUL_QueryAccountQuote>();
    EXPECT_EQ(padded(std::string("Q\0junk", 6), 20), field_bytes(r.m_Symbol));
    EXPECT_EQ(padded(std::string("MQ\0junk", 7), 25), field_bytes(r.m_MarketQuoteId));
    EXPECT_EQ(chars('B', 24) + '\0', field_bytes(r.m_BidOrderSysId));
    EXPECT_EQ(padded(std::string("A\0junk", 6), 25), field_bytes(r.m_AskOrderSysId));
    EXPECT_EQ(chars('R', 24), field_bytes(r.m_ReqForQuoteID));
}

TEST_F(ReplayTranslators, RiskTextsAtTheEdgesOfTheirFields) {
    account_symbol_real_data_resp sym;
    put(sym.m_account_id, chars('A', 16));
    put(sym.m_symbol, chars('S', 20));
    sym.m_last_update_time = 0x0102030405060708ull;
    ASSERT_EQ(448u, feed(bytes_of(sym)));
    ZUL_AccountSymbolRiskData r = only_call().as<ZUL_AccountSymbolRiskData>();
    EXPECT_EQ(chars('A', 16) + '\0', field_bytes(r.m_account_id));
    EXPECT_EQ(chars('S', 20), field_bytes(r.m_symbol));
    EXPECT_EQ(0x0102030405060708ull, +r.m_last_update_time) << "nothing beyond the symbol";

    put(sym.m_symbol, std::string("S\0junk", 6));
    ASSERT_EQ(448u, feed(bytes_of(sym)));
    r = only_call().as<ZUL_AccountSymbolRiskData>();
    EXPECT_EQ(padded("S", 20), field_bytes(r.m_symbol));

    set_generation(true);
    m_book.clear();
    hv27_account_risk_real_data_resp acct;
    put(acct.m_account_id, chars('H', 16));
    acct.m_account_risk_real_data.m_bp = 2.5;
    ASSERT_EQ(84u, feed(bytes_of(acct)));
    const ZUL_AccountRiskData a = only_call().as<ZUL_AccountRiskData>();
    EXPECT_EQ(chars('H', 16) + '\0', field_bytes(a.m_account_id));
    EXPECT_EQ(2.5, +a.m_total_bp);
}

TEST_F(ReplayTranslators, EveryRefusalSubIdReachesItsSlotOrOnlyTheLog) {
    const std::map<int, record_slot> rows = {
        {71, SLOT_ACCOUNT},    {72, SLOT_SYMBOL}, {73, SLOT_POSITION},    {74, SLOT_ORDER},
        {76, SLOT_COMBO_RULE}, {77, SLOT_MARGIN}, {78, SLOT_FEE},         {79, SLOT_COMBO_POSITION},
        {81, SLOT_BP},         {82, SLOT_RISK},   {83, SLOT_SYMBOL_RISK}, {85, SLOT_CASH_INOUT},
        {88, SLOT_BP_DETAIL},  {95, SLOT_QUOTE},  {98, SLOT_ARBI_ORDER},
    };
    // Every id up to 1199, then a sample up to the largest.
    std::vector<int> subs;
    for (int sub = 0; sub < 1200; ++sub)
        subs.push_back(sub);
    for (int sub = 1200; sub < 65535; sub += 997)
        subs.push_back(sub);
    subs.push_back(65535);
    for (bool hv27 : {false, true}) {
        set_generation(hv27);
        m_book.clear();
        for (int sub : subs) {
            hv27_query_err_resp e;
            e.m_sub_msg_id = static_cast<Int2>(sub);
            // Error id 0 is passed on like any other.
            const Int4 error = sub % 2 != 0 ? static_cast<Int4>(sub) : 0;
            e.m_error_id = error;
            ASSERT_EQ(24u, feed(bytes_of(e)));
            const std::vector<slot_call> calls = m_book.calls();
            m_book.clear();
            auto row = rows.find(sub);
            if (sub == 75) {
                ASSERT_EQ(1u, calls.size());
                EXPECT_EQ(hv27 ? SLOT_EXEC_EX : SLOT_EXEC, calls[0].slot);
            } else if (row != rows.end()) {
                ASSERT_EQ(1u, calls.size()) << sub;
                EXPECT_EQ(row->second, calls[0].slot) << sub;
            } else {
                ASSERT_EQ(0u, calls.size()) << sub;
                continue;
            }
            EXPECT_EQ(error, calls[0].error);
            EXPECT_FALSE(calls[0].finish);
            EXPECT_TRUE(calls[0].record_is_zero());
        }
    }
    const std::string log = text_log();
    for (int sub : {0, 68, 69, 80, 99, 1063, 1199, 65535})
        EXPECT_NE(std::string::npos,
                  log.find(" error receive unknown sub msg type: " + std::to_string(sub) + "\n"))
            << sub;
    for (int sub : {71, 75, 88})
        EXPECT_EQ(std::string::npos,
                  log.find("unknown sub msg type: " + std::to_string(sub) + "\n"))
            << sub;
}
