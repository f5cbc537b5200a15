#include "tests/wire/ClientFormat.h"

#include "HotKeyRpcClient.c"

const unsigned char* ClientProcedureFormat(void)
{
    return __MIDL_ProcFormatString.Format;
}

const unsigned char* ClientTypeFormat(void)
{
    return __MIDL_TypeFormatString.Format;
}
