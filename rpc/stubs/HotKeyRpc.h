

/* this ALWAYS GENERATED file contains the definitions for the interfaces */


 /* File created by MIDL compiler version 8.01.0628 */
/* at Tue Jan 19 03:14:07 2038
 */
/* Compiler settings for HotKeyRpc.idl:
    Oicf, W1, Zp8, env=Win64 (32b run), target_arch=AMD64 8.01.0628 
    protocol : all , ms_ext, c_ext, robust
    error checks: allocation ref bounds_check enum stub_data 
    VC __declspec() decoration level: 
         __declspec(uuid()), __declspec(selectany), __declspec(novtable)
         DECLSPEC_UUID(), MIDL_INTERFACE()
*/
/* @@MIDL_FILE_HEADING(  ) */

#pragma warning( disable: 4049 )  /* more than 64k source lines */


/* verify that the <rpcndr.h> version is high enough to compile this file*/
#ifndef __REQUIRED_RPCNDR_H_VERSION__
#define __REQUIRED_RPCNDR_H_VERSION__ 475
#endif

#include "rpc.h"
#include "rpcndr.h"

#ifndef __RPCNDR_H_VERSION__
#error this stub requires an updated version of <rpcndr.h>
#endif /* __RPCNDR_H_VERSION__ */


#ifndef __HotKeyRpc_h__
#define __HotKeyRpc_h__

#if defined(_MSC_VER) && (_MSC_VER >= 1020)
#pragma once
#endif

#ifndef DECLSPEC_XFGVIRT
#if defined(_CONTROL_FLOW_GUARD_XFG)
#define DECLSPEC_XFGVIRT(base, func) __declspec(xfg_virtual(base, func))
#else
#define DECLSPEC_XFGVIRT(base, func)
#endif
#endif

/* Forward Declarations */ 

#ifdef __cplusplus
extern "C"{
#endif 


#ifndef __HotKeyRpc_INTERFACE_DEFINED__
#define __HotKeyRpc_INTERFACE_DEFINED__

/* interface HotKeyRpc */
/* [unique][version][uuid] */ 

typedef /* [context_handle_noserialize][context_handle] */ void *HOTKEY_CONTEXT_HANDLE;

/* client prototype */
void ClientConnect( 
    /* [in] */ handle_t binding,
    /* [out] */ HOTKEY_CONTEXT_HANDLE *context);
/* server prototype */
void Connect( 
    /* [in] */ handle_t binding,
    /* [out] */ HOTKEY_CONTEXT_HANDLE *context);

/* client prototype */
void ClientDisconnect( 
    /* [out][in] */ HOTKEY_CONTEXT_HANDLE *context);
/* server prototype */
void Disconnect( 
    /* [out][in] */ HOTKEY_CONTEXT_HANDLE *context);

/* client prototype */
void ClientProcessCommand( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);
/* server prototype */
void ProcessCommand( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);

/* client prototype */
void ClientLaunchUsbCApp( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);
/* server prototype */
void LaunchUsbCApp( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);

/* client prototype */
void ClientReadSysInfo( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context,
    /* [out] */ long *size,
    /* [size_is][size_is][out] */ wchar_t **text);
/* server prototype */
void ReadSysInfo( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context,
    /* [out] */ long *size,
    /* [size_is][size_is][out] */ wchar_t **text);

/* client prototype */
long ClientIsFennixServiceInstalled( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);
/* server prototype */
long IsFennixServiceInstalled( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);

/* client prototype */
long ClientIsFennixNodePresent( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);
/* server prototype */
long IsFennixNodePresent( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context);

/* client prototype */
void ClientReadUSBTypeCInfo( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context,
    /* [out] */ long *size,
    /* [size_is][size_is][out] */ wchar_t **text);
/* server prototype */
void ReadUSBTypeCInfo( 
    /* [in] */ HOTKEY_CONTEXT_HANDLE context,
    /* [out] */ long *size,
    /* [size_is][size_is][out] */ wchar_t **text);



extern RPC_IF_HANDLE ClientHotKeyRpc_v1_0_c_ifspec;
extern RPC_IF_HANDLE HotKeyRpc_v1_0_c_ifspec;
extern RPC_IF_HANDLE HotKeyRpc_v1_0_s_ifspec;
#endif /* __HotKeyRpc_INTERFACE_DEFINED__ */

/* Additional Prototypes for ALL interfaces */

void __RPC_USER HOTKEY_CONTEXT_HANDLE_rundown( HOTKEY_CONTEXT_HANDLE );

/* end of Additional Prototypes */

#ifdef __cplusplus
}
#endif

#endif


