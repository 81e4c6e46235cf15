// Makes and frees a client through each face of the installed library.

#include <cstdio>
#include <cstring>

#include "ZulQueryApi.h"
#include "kq_zul_query_event.h"

int main() {
    int marker = 0;
    void* handle = KQZUL_CreateQuery(&marker);
    if (handle == nullptr || KQZUL_GetQueryUserParam(handle) != &marker) {
        fprintf(stderr, "KQZUL_CreateQuery failed\n");
        return 1;
    }
    if (KQZUL_DestroyQuery(handle) != ZUL_RESULT_OK ||
        KQZUL_DestroyQuery(nullptr) != ZUL_RESULT_BAD_HANDLE) {
        fprintf(stderr, "KQZUL_DestroyQuery failed\n");
        return 1;
    }
    ZULQueryApi* api = CreateZULQueryApi();
    if (api == nullptr || strcmp(api->GetQueryApiVersion(), "5.2.4.16") != 0) {
        fprintf(stderr, "CreateZULQueryApi failed\n");
        return 1;
    }
    DestroyZULQueryApi(api);
    puts("consumer ok");
    return 0;
}
