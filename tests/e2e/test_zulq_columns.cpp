// Every column that zulq prints, for every query, compared with the field of the wire
// record that the simulator served: a column read at the wrong width, place or kind shows.
// Columns are paired with wire fields by name (letter case and underscores aside), or by
// the table below where the names differ.

#include <cmath>
#include <ctime>
#include <sstream>

#include "sim_builders.h"
#include "support/zulq_run.h"

namespace {

using namespace zul_test;

struct Query {
    const char* name;
    const char* command;
    uint16_t response;
    const char* account;  // of the answer in the data set
    int server;           // 0: the other generation, 1: hv27, 2: executions with symbol
    // "Column=wire_field" where the names differ, "Column=wire_field#" for the first byte
    // of a field read as a number; "Column:value" for what the library makes up (no wire
    // field), "*:0" for zero in every column without a wire field.
    const char* pairs;
};

const char kOrder[] =
    "Userid=m_user_id ClientOrderToken=m_order_token Account=m_account_id "
    "ExchengeID=m_exchange_id ForceCloseReason:0 OrderStatus=m_order_state "
    "MinQty=m_minimum_quantity MarketOrderId=m_market_order_id CustomField=m_mkt_custom_field";
const char kExecution[] =
    "Userid=m_user_id ClientOrderToken=m_order_token ExecutionID:0 MarketExecID=m_market_exec_id";

// clang-format off
const Query kQueries[] = {
    {"Accounts", "accounts", 1071, "", 0, "Account=m_account_id"},
    {"Positions", "positions ZQ7", 1073, "ZQ7", 0,
     "ActId=m_account_id OvnMargin=m_ovn_occupied_margin TodayMargin=m_today_occupied_margin PositionCost=m_pos_cost"},
    {"OptionPositions", "option-positions ACCT-FULL-WIDE16", 1092, "ACCT-FULL-WIDE16", 0,
     "ActId=account_id Symbol=full_symbol PosiDirection=pos_dir"},
    {"ComboPositions", "combo-positions ZQ7", 1079, "ZQ7", 0, "Account=m_account_id"},
    {"Margin", "margin ACCT-FULL-WIDE16", 1077, "ACCT-FULL-WIDE16", 0, ""},
    {"Fees", "fees ZQ7 --sec-type stock", 1078, "ZQ7", 0, "PositionDir=m_pos_dir~"},
    {"Orders", "orders ACCT-FULL-WIDE16 --sec-type 0", 1074, "ACCT-FULL-WIDE16", 0, kOrder},
    {"ArbiOrders", "arbi-orders ZQ7", 1098, "ZQ7", 0, kOrder},
    {"Executions", "executions ZQ7", 1075, "ZQ7", 0, kExecution},
    {"ExecutionsOfAnHv27Server", "executions ACCT-FULL-WIDE16", 1075, "ACCT-FULL-WIDE16", 1, kExecution},
    {"ExecutionsWithSymbol", "executions ZQ7", 1063, "ZQ7", 2, kExecution},
    {"Quotes", "quotes ACCT-FULL-WIDE16", 1095, "ACCT-FULL-WIDE16", 0,
     "Userid=m_user_id ExchengeID=m_exchange_id ClientQuoteToken=m_quote_token MarketQuoteId=m_mkt_quote_id "
     "BidOrderSysId=m_bid_mkt_order_id AskOrderSysId=m_ask_mkt_order_id BidQty=m_bid_volume AskQty=m_ask_volume "
     "BidIsOffset=m_bid_offset_flag AskIsOffset=m_ask_offset_flag BidFillQty=m_bid_fill_volume "
     "AskFillQty=m_ask_fill_volume CustomField=m_mkt_custom_field"},
    {"Symbols", "symbols --sec-type 0", 1072, "", 0,
     "SecType=m_instrument_type SymbolName=m_instrument_name ProdID=m_product_id "
     "UnderlyingSymbol=m_underlying_fut_symbol"},
    {"ComboRules", "combo-rules", 1076, "", 0,
     "FirstSymbol=m_combo_leg1 SecondSymbol=m_combo_leg2 FirstDirection=m_direction_leg1 "
     "SecondDirection=m_direction_leg2 FirstRegion=m_region_leg1 SecondRegion=m_region_leg2"},
    {"Bp", "bp ZQ7", 1081, "ZQ7", 0, "Account=m_account_id"},
    {"BpDetail", "bp-detail ACCT-FULL-WIDE16", 1088, "ACCT-FULL-WIDE16", 0,
     "Account=m_account_id PushMode=m_reserved1#"},
    {"BpDetailOfAnHv27Server", "bp-detail ZQ7", 1088, "ZQ7", 1,
     "Account=m_account_id AccountIdx=m_reserved#"},
    {"Cash", "cash ZQ7", 1099, "ZQ7", 0, "Account=m_account_id"},
    {"Risk", "risk ZQ7", 1082, "ZQ7", 0,
     "total_fee=m_account_risk_real_data.m_fee total_bp=m_account_risk_real_data.m_bp"},
    {"RiskOfAnHv27Server", "risk ACCT-FULL-WIDE16", 1082, "ACCT-FULL-WIDE16", 1,
     "total_fee=m_account_risk_real_data.m_fee total_bp=m_account_risk_real_data.m_bp *:0"},
    {"SymbolRisk", "symbol-risk ZQ7", 1083, "ZQ7", 0, ""},
};
// clang-format on

// A name without its nesting, its "m_", its underscores and its letter case.
std::string plain(std::string name) {
    name = name.substr(name.rfind('.') + 1);
    if (name.compare(0, 2, "m_") == 0)
        name.erase(0, 2);
    std::string out;
    for (char c : name)
        if (c != '_')
            out += static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return out;
}

// The cell that field f of record r must print as; a text the public record may hold
// one character short, for its terminator, comes back in *cut.
std::string expected(const zulsim::FieldInfo& f, const zulsim::Bytes& r, std::string* cut) {
    cut->clear();
    const unsigned char* at = r.data() + f.offset;
    unsigned long long u = 0;
    memcpy(&u, at, std::min<size_t>(f.width, sizeof(u)));
    switch (f.kind) {
        case zulsim::FieldKind::text: {
            const std::string t(reinterpret_cast<const char*>(at),
                                strnlen(reinterpret_cast<const char*>(at), f.width));
            *cut = t.size() == f.width && f.width > 1 ? '"' + t.substr(0, t.size() - 1) : "";
            return '"' + t;
        }
        case zulsim::FieldKind::real: {
            double d;
            memcpy(&d, at, sizeof(d));
            return "real " + std::to_string(d);  // compared by value below
        }
        case zulsim::FieldKind::signed_int: {
            const unsigned shift = 64 - 8 * static_cast<unsigned>(f.width);
            return std::to_string(static_cast<long long>(u << shift) >> shift);
        }
        case zulsim::FieldKind::unsigned_int:
            break;
    }
    const std::string last = f.name.substr(f.name.rfind('.') + 1);
    if (f.width == 8 &&
        (last == "m_timestamp" || last == "m_close_time" || last == "m_last_update_time"))
        return '"' + utc_text(u);
    return std::to_string(u);
}

// What a column is paired with: a wire field (and how it is read), or a made-up value.
struct Pairing {
    const zulsim::FieldInfo* field = nullptr;
    char reading = 0;  // '#': its first byte as a number; '~': a fee direction
    std::string made_up;
};

Pairing pair_of(const zulsim::RecordInfo& info, const std::string& column,
                const std::string& pairs) {
    Pairing p;
    std::istringstream words(pairs);
    for (std::string w; words >> w;) {
        const size_t sep = w.find_first_of("=:");
        if (w.substr(0, sep) != column)
            continue;
        if (w[sep] == ':') {
            p.made_up = w.substr(sep + 1);
            return p;
        }
        std::string name = w.substr(sep + 1);
        if (name.back() == '#' || name.back() == '~') {
            p.reading = name.back();
            name.pop_back();
        }
        p.field = info.field(name);
        EXPECT_NE(nullptr, p.field) << name;
        return p;
    }
    for (const zulsim::FieldInfo& f : info.fields) {
        if (!zulsim::is_reserved(f) && plain(f.name) == plain(column)) {
            EXPECT_EQ(nullptr, p.field) << column << " matches two wire fields";
            p.field = &f;
        }
    }
    if (p.field == nullptr && pairs.find("*:0") != std::string::npos)
        p.made_up = "0";
    return p;
}

// The reading of a symbol record's shared stretches: by its instrument type.
zulsim::Variant reading_of(const zulsim::RecordInfo& info, const zulsim::Bytes& r) {
    const zulsim::FieldInfo* type = info.field("m_instrument_type");
    if (type == nullptr)
        return zulsim::Variant::always;
    return r[type->offset] == SEC_TYPE_OPTION ? zulsim::Variant::option
                                              : zulsim::Variant::not_option;
}

void check_cell(const Pairing& p, const std::string& cell, const zulsim::Bytes& r,
                zulsim::Variant reading) {
    if (p.field == nullptr) {
        EXPECT_FALSE(p.made_up.empty()) << "a column with no wire field";
        EXPECT_EQ(p.made_up, cell);
        return;
    }
    const zulsim::FieldInfo& f = *p.field;
    if (f.variant != zulsim::Variant::always && f.variant != reading) {
        // A stretch of the other reading is not delivered: the public field stays empty.
        EXPECT_TRUE(cell == "0" || cell == "\"") << cell << " printed for " << f.name;
        return;
    }
    const bool number = cell.compare(0, 1, "\"") != 0;
    if (p.reading == '#' || (f.kind == zulsim::FieldKind::text && f.width == 1 && number)) {
        EXPECT_EQ(std::to_string(r[f.offset]), cell) << f.name;
        return;
    }
    if (p.reading == '~') {
        EXPECT_EQ(r[f.offset] == 1 ? "1" : "5", cell) << "1 is kept, the rest are alike";
        return;
    }
    std::string cut;
    const std::string want = expected(f, r, &cut);
    if (f.kind == zulsim::FieldKind::real) {
        double d;
        memcpy(&d, r.data() + f.offset, sizeof(d));
        EXPECT_TRUE(std::isfinite(d));
        EXPECT_EQ(d, strtod(cell.c_str(), nullptr)) << cell << " for " << f.name;
    } else if (f.kind == zulsim::FieldKind::text && number) {
        // A text of digits that the public record holds as a number.
        EXPECT_EQ(want.substr(1), cell) << f.name;
    } else {
        EXPECT_TRUE(cell == want || (!cut.empty() && cell == cut))
            << cell << " printed, " << want << " served in " << f.name;
    }
}

class ZulqColumns : public ::testing::TestWithParam<size_t> {};

TEST_P(ZulqColumns, EveryColumnShowsItsWireFieldAsServed) {
    const Query& q = kQueries[GetParam()];
    scratch_dir dir;
    zulsim::Options o;
    o.hv27 = q.server == 1;
    o.exec_with_symbol = q.server == 2;
    zulsim::Simulator sim(o);
    ASSERT_TRUE(sim.start());
    const zulq_outcome z =
        run_zulq("--port " + std::to_string(sim.port()) +
                 " --user trader01 --timeout 30 --log-dir logs --json " + q.command);
    ASSERT_EQ(0, z.code) << z.err;
    std::vector<zulsim::Bytes> served;        // a stream's data records, without its closing one
    const zulsim::DataSet data = sim.data();  // what the request selected of it
    for (const zulsim::Bytes& r : data.select(q.response, q.account, sim.requests().back().raw))
        if (!zulsim::is_stream(q.response) || r[8] == 0 ||
            (zulsim::closes_on_one_only(q.response) && r[8] == 2))
            served.push_back(r);
    const auto rows = parse_json_lines(z.out);
    ASSERT_EQ(served.size(), rows.size()) << z.out;
    ASSERT_FALSE(rows.empty());
    const zulsim::RecordInfo& info = *zulsim::response_info(q.response, o.hv27);
    for (size_t i = 0; i < rows.size(); ++i) {
        for (const auto& [column, cell] : rows[i]) {
            SCOPED_TRACE("record " + std::to_string(i) + ", column " + column);
            check_cell(pair_of(info, column, q.pairs), cell, served[i],
                       reading_of(info, served[i]));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryQuery, ZulqColumns, ::testing::Range<size_t>(0, std::size(kQueries)),
                         [](const ::testing::TestParamInfo<size_t>& i) {
                             return kQueries[i.param].name;
                         });

}  // namespace
