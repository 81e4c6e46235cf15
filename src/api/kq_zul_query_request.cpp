// The request functions of the plain face: check the client, build one record on
// the stack, hand it to the transport. The answer comes later through a callback.

#include <cstring>

#include "api/kq_zul_query_internal.h"
#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "protocol/msg_define.h"
#include "tools/md5.h"

RESULT KQZUL_QueryUserLogon(void* handle, const char* logon_id, const char* user_pwd) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    CQueryClient* client = static_cast<CQueryClient*>(handle);
    if (!client->IsConnect())
        return ZUL_RESULT_NOT_CONNECTED;
    query_logon_msg_req req;
    req.m_proto_version = QUERY_PROTO_VERSION;
    copy_api_str(req.m_login_id, sizeof(req.m_login_id), logon_id);
    VORTANE::TOOLS::encrypt_md5(user_pwd, static_cast<int>(strlen(user_pwd)), req.m_password);
    if (client->SendMsgToZul("query_logon_msg_req", reinterpret_cast<const char*>(&req), sizeof(req),
                             SD_QUERY_TCP) == -1)
        return ZUL_RESULT_SEND_FAILED;
    return ZUL_RESULT_OK;
}
