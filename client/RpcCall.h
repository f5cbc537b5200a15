/** \file
   One call of the interface, made so that an exception of the RPC run time comes back as a status.
   Plain C: no C++ frame stands between the guard and the run time, so nothing is left undestroyed. */
#ifndef CLIENT_RPC_CALL_H
#define CLIENT_RPC_CALL_H

#include <HotKeyRpc.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /** The operations, in the order of the interface. */
    enum RpcOperation
    {
        RpcConnect,
        RpcDisconnect,
        RpcProcessCommand,
        RpcLaunchUsbCApp,
        RpcReadSysInfo,
        RpcIsFennixServiceInstalled,
        RpcIsFennixNodePresent,
        RpcReadUSBTypeCInfo,
        RpcForgetContext /**< no call: gives up the context handle of a lost connection */
    };

    /** Arguments and results of one operation. */
    struct RpcCall
    {
        enum RpcOperation operation;   /**< which of the other members count */
        handle_t binding;              /**< for RpcConnect */
        HOTKEY_CONTEXT_HANDLE context; /**< set by RpcConnect, null after RpcDisconnect and RpcForgetContext */
        long size;                     /**< characters of text with its NUL */
        wchar_t* text;                 /**< may be null; the caller frees it with midl_user_free */
        long answer;                   /**< of the operations that answer 1 or 0 */
    };

    /** 0, or the status with which the run time or the server ended the call. */
    unsigned long PerformRpcCall(struct RpcCall* call);

#ifdef __cplusplus
}
#endif

#endif
