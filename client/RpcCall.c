#include "client/RpcCall.h"

#include <windows.h>

static void Perform(void* argument)
{
    struct RpcCall* const call = argument;
    switch (call->operation)
    {
    case RpcConnect:
        ClientConnect(call->binding, &call->context);
        break;
    case RpcDisconnect:
        ClientDisconnect(&call->context);
        break;
    case RpcProcessCommand:
        ClientProcessCommand(call->context);
        break;
    case RpcLaunchUsbCApp:
        ClientLaunchUsbCApp(call->context);
        break;
    case RpcReadSysInfo:
        ClientReadSysInfo(call->context, &call->size, &call->text);
        break;
    case RpcIsFennixServiceInstalled:
        call->answer = ClientIsFennixServiceInstalled(call->context);
        break;
    case RpcIsFennixNodePresent:
        call->answer = ClientIsFennixNodePresent(call->context);
        break;
    case RpcReadUSBTypeCInfo:
        ClientReadUSBTypeCInfo(call->context, &call->size, &call->text);
        break;
    case RpcForgetContext:
        RpcSsDestroyClientContext(&call->context);
        break;
    }
}

#ifdef _MSC_VER

static unsigned long Guarded(void (*function)(void*), void* argument)
{
    unsigned long status = 0;
    __try
    {
        function(argument);
    }
    __except (status = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER)
    {
    }
    return status;
}

#else

#include <excpt.h>

/* The filter cannot reach the guard's locals. thread_local would allocate on first use in each thread. */
static DWORD s_slot;

__attribute__((constructor)) static void AllocateSlot(void)
{
    s_slot = TlsAlloc();
}

__attribute__((used)) long CALLBACK RpcCallFilter(EXCEPTION_POINTERS* pointers, void* frame)
{
    (void)frame;
    TlsSetValue(s_slot, (void*)(ULONG_PTR)pointers->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

/* The macros define labels of fixed names: one use per file, never inlined, never cloned. */
#if __has_attribute(noclone)
#define ONE_COPY __attribute__((noinline, noclone))
#else
#define ONE_COPY __attribute__((noinline))
#endif
static ONE_COPY unsigned long Guarded(void (*function)(void*), void* argument)
{
    TlsSetValue(s_slot, NULL);
    __try1(RpcCallFilter) function(argument);
    __except1 return (unsigned long)(ULONG_PTR)TlsGetValue(s_slot);
}

#endif

unsigned long PerformRpcCall(struct RpcCall* call)
{
    return Guarded(Perform, call);
}
