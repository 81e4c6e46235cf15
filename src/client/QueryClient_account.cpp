// Translators of the logon, password, account and balance messages. They run on
// the transport's receive thread; each public record lives on the stack for the
// length of its callback.

#include <cstring>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

void CQueryClient::ProcQueryPortLogonRespMsg(query_logon_msg_resp* pMsg) {
    // Byte 51 tells the generation, for a refused logon too, before anything else.
    const hv27_query_logon_msg_resp* hv27 = reinterpret_cast<const hv27_query_logon_msg_resp*>(pMsg);
    m_bHv27Server = hv27->m_version_flag == HV27_VERSION_FLAG;

    ZUL_QueryLogonResponse logon;
    memset(&logon, 0, sizeof(logon));
    logon.m_Result = static_cast<ZUL_LogonResult>(pMsg->Result);
    logon.m_UserId = static_cast<ZUL_UserID>(pMsg->m_user_id);
    logon.m_UserTokenCancelEnable = pMsg->m_user_token_cancel_enable;
    logon.m_UserSelfexecCheckEnable = pMsg->m_user_selfexec_check_enable;

    if (pMsg->Result != 0) {
        fire_event(m_ptr_fun_logon_event, &logon);
        m_bQueryPortLogon = false;
        return;
    }
    bool current = false;
    {
        // Counted, so that the state writes of a "conn ok" callback still running
        // on the event thread leave this logon alone.
        std::lock_guard<std::mutex> state(m_state_mutex);
        current = m_link_up;
        if (current) {
            ++m_logon_seq;
            SetUserId(pMsg->m_user_id);
            m_bQueryPortLogon = true;
        }
    }
    // Logged on before the callback: it may send queries at once.
    fire_event(m_ptr_fun_logon_event, &logon);
    {
        // A connection that ended during the callback keeps its end state.
        std::lock_guard<std::mutex> state(m_state_mutex);
        if (!current || !m_link_up)
            return;
        m_e_connect_status = E_STATUS_LOGONED;
    }
    start_reconnect_thread();
}
