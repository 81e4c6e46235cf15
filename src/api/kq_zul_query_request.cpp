// The request functions of the plain face. Each has one shape: check the client,
// build one record on the stack, hand it to the transport, map the outcome to a
// RESULT. The answer comes later through a callback; nothing here waits for it or
// remembers the request.

#include <cstring>

#include "api/kq_zul_query_internal.h"
#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "protocol/msg_define.h"
#include "tools/md5.h"

namespace {

const int BIT_LETTER = 1;
const int BIT_DIGIT = 2;
const size_t PASSWORD_MIN_LEN = 8;
const size_t PASSWORD_MAX_LEN = 32;

// Which requests a server of the hv27 generation offers.
enum generation_gate { ALL_GENERATIONS, NOT_ON_HV27 };

// The checks every request makes, in this order; the first failure decides.
RESULT check_client(CQueryClient* client, bool need_logon, generation_gate gate) {
    if (client == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    if (!client->IsConnect())
        return ZUL_RESULT_NOT_CONNECTED;
    if (need_logon && !client->IsLogon())
        return ZUL_RESULT_NOT_LOGGED_ON;
    if (gate == NOT_ON_HV27 && client->IsHv27Version())
        return ZUL_RESULT_NOT_SUPPORTED;
    return ZUL_RESULT_OK;
}

template <typename Request>
RESULT deliver(CQueryClient* client, const char* name, const Request& req) {
    const int sent = client->SendMsgToZul(name, reinterpret_cast<const char*>(&req),
                                          static_cast<int>(sizeof(req)), SD_QUERY_TCP);
    return sent == -1 ? ZUL_RESULT_SEND_FAILED : ZUL_RESULT_OK;
}

// A request of a logged-on client: the user id of the last logon, then what
// fill adds.
template <typename Request, typename Fill>
RESULT send_request(void* handle, const char* name, generation_gate gate, Fill fill) {
    CQueryClient* client = static_cast<CQueryClient*>(handle);
    const RESULT checked = check_client(client, true, gate);
    if (checked != ZUL_RESULT_OK)
        return checked;
    Request req;
    req.m_user_id = client->GetUserID();
    fill(req);
    return deliver(client, name, req);
}

// The shape most requests share: the user id and one account.
template <typename Request>
RESULT send_account_request(void* handle, const char* name, generation_gate gate,
                            const char* account_id) {
    return send_request<Request>(handle, name, gate, [account_id](Request& req) {
        copy_api_str(req.m_account_id, sizeof(req.m_account_id), account_id);
    });
}

// The same with the caller's security type.
template <typename Request>
RESULT send_account_type_request(void* handle, const char* name, const char* account_id,
                                 unsigned char sec_type) {
    return send_request<Request>(handle, name, ALL_GENERATIONS, [&](Request& req) {
        copy_api_str(req.m_account_id, sizeof(req.m_account_id), account_id);
        req.m_sec_type = sec_type;
    });
}

void md5_text(const char* password, char (&field)[33]) {
    VORTANE::TOOLS::encrypt_md5(password, static_cast<int>(strlen(password)), field);
}

}  // namespace

// 8 to 32 bytes of letters, digits and '_', with at least one letter and one
// digit; '_' counts as neither. Any other byte, also one above 127, fails.
bool passwd_check(const char* passwd) {
    const size_t len = strlen(passwd);
    if (len < PASSWORD_MIN_LEN || len > PASSWORD_MAX_LEN)
        return false;
    int nCharTypeMask = 0;
    for (const char* p = passwd; *p != '\0'; ++p) {
        const signed char c = static_cast<signed char>(*p);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
            nCharTypeMask |= BIT_LETTER;
        else if (c >= '0' && c <= '9')
            nCharTypeMask |= BIT_DIGIT;
        else if (c != '_')
            return false;
    }
    return nCharTypeMask == (BIT_LETTER | BIT_DIGIT);
}

bool exchange_id_check(ZUL_ExchangeID exchangeID) {
    return exchangeID >= ZUL_EXCHANGE_ID_FIRST && exchangeID <= ZUL_EXCHANGE_ID_LAST;
}

RESULT KQZUL_QueryUserLogon(void* handle, const char* logon_id, const char* user_pwd) {
    CQueryClient* client = static_cast<CQueryClient*>(handle);
    // The one request that goes out before a logon (and again after one).
    const RESULT checked = check_client(client, false, ALL_GENERATIONS);
    if (checked != ZUL_RESULT_OK)
        return checked;
    query_logon_msg_req req;
    req.m_proto_version = QUERY_PROTO_VERSION;
    copy_api_str(req.m_login_id, sizeof(req.m_login_id), logon_id);
    md5_text(user_pwd, req.m_password);
    return deliver(client, "query_logon_msg_req", req);
}

RESULT KQZUL_QueryChangePassword(void* handle, const char* old_pwd, const char* new_pwd) {
    CQueryClient* client = static_cast<CQueryClient*>(handle);
    const RESULT checked = check_client(client, true, ALL_GENERATIONS);
    if (checked != ZUL_RESULT_OK)
        return checked;
    if (!passwd_check(new_pwd))
        return ZUL_RESULT_BAD_PASSWORD;
    change_password_req req;
    req.m_user_id = client->GetUserID();
    md5_text(old_pwd, req.m_old_pwd_md5);
    md5_text(new_pwd, req.m_new_pwd_md5);
    return deliver(client, "change_password_req", req);
}

RESULT KQZUL_QuerySymbolList(void* handle, char sec_type) {
    return send_request<query_symbol_req>(
        handle, "query_symbol_req", ALL_GENERATIONS,
        [sec_type](query_symbol_req& req) { req.m_sec_type = sec_type; });
}

RESULT KQZUL_QueryUserAccount(void* handle) {
    return send_request<query_user_account_req>(handle, "query_user_account_req", ALL_GENERATIONS,
                                                [](query_user_account_req&) {});
}

RESULT KQZUL_QueryAccountPosition(void* handle, const char* account_id, char sec_type) {
    return send_account_type_request<query_account_position_req>(
        handle, "query_account_position_req", account_id, sec_type);
}

RESULT KQZUL_QueryComboPosition(void* handle, const char* account_id) {
    return send_account_request<query_combo_position>(handle, "query_account_combo_position_req",
                                                      NOT_ON_HV27, account_id);
}

RESULT KQZUL_QueryComboRule(void* handle, unsigned char combo_type, unsigned char hedge_flag) {
    return send_request<query_combo_rule>(handle, "query_combo_rule_req", NOT_ON_HV27,
                                          [=](query_combo_rule& req) {
                                              req.m_combo_type = combo_type;
                                              req.m_hedge_flag = hedge_flag;
                                          });
}

RESULT KQZUL_QueryAccountBP(void* handle, const char* account_id) {
    return send_account_request<query_account_bp_req>(handle, "query_account_bp_req", NOT_ON_HV27,
                                                      account_id);
}

RESULT KQZUL_QueryAccountBPDetail(void* handle, const char* account_id) {
    return send_account_request<query_account_bp_detail_req>(handle, "query_account_bp_detail_req",
                                                             ALL_GENERATIONS, account_id);
}

RESULT KQZUL_QueryAccountCashInOut(void* handle, const char* account_id) {
    return send_account_request<query_cash_inout_req>(handle, "query_cash_inout_req",
                                                      ALL_GENERATIONS, account_id);
}

RESULT KQZUL_QueryAccountTradeMargin(void* handle, const char* accountt_id) {
    return send_account_request<query_account_margin>(handle, "query_account_margin",
                                                      ALL_GENERATIONS, accountt_id);
}

RESULT KQZUL_QueryAccountTradeFee(void* handle, const char* accountt_id,
                                  ZUL_FeeSecType accountFeeSecType) {
    return send_account_type_request<query_account_fee>(handle, "query_account_fee", accountt_id,
                                                        accountFeeSecType);
}

RESULT KQZUL_QueryAccountOrder(void* handle, const char* accountt_id, char sec_type) {
    return send_account_type_request<rewind_account_order_req>(handle, "rewind_account_order_req",
                                                               accountt_id, sec_type);
}

RESULT KQZUL_QueryAccountArbiOrder(void* handle, const char* account_id) {
    return send_account_request<rewind_account_arbi_order_req>(
        handle, "rewind_account_order_arbi_req", NOT_ON_HV27, account_id);
}

RESULT KQZUL_QueryAccountQuote(void* handle, const char* account_id, char sec_type) {
    return send_account_type_request<rewind_account_quote_req>(handle, "rewind_account_quote_req",
                                                               account_id, sec_type);
}

RESULT KQZUL_QueryAccountOrderExecution(void* handle, const char* accountt_id, char sec_type,
                                        unsigned int rewind_flag) {
    return send_request<rewind_account_exe_req>(
        handle, "rewind_account_exec_req", ALL_GENERATIONS, [&](rewind_account_exe_req& req) {
            copy_api_str(req.m_account_id, sizeof(req.m_account_id), accountt_id);
            req.m_sec_type = sec_type;
            // Only the low byte travels.
            req.m_rewind_flag = rewind_flag & 0xff;
        });
}

// The record has no field for a symbol or an exchange: both are ignored.
RESULT KQZUL_QueryAccountRiskData(void* handle, const char* account_id, const char* /*symbol_id*/,
                                  int /*exchange_id*/) {
    return send_account_request<account_risk_real_data_req>(handle, "account_risk_real_data_req",
                                                            ALL_GENERATIONS, account_id);
}

// The symbol goes into the record's symbol field, so a caller can ask for one
// symbol; the record has no field for an exchange.
RESULT KQZUL_QueryAccountSymbolRiskData(void* handle, const char* accountt_id,
                                        const char* symbol_id, int /*exch_id*/) {
    return send_request<account_symbol_real_data_req>(
        handle, "account_symbol_real_data_req", ALL_GENERATIONS,
        [&](account_symbol_real_data_req& req) {
            copy_api_str(req.m_account_id, sizeof(req.m_account_id), accountt_id);
            copy_api_str(req.m_symbol, sizeof(req.m_symbol), symbol_id);
        });
}
