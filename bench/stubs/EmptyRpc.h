

/* this ALWAYS GENERATED file contains the definitions for the interfaces */


 /* File created by MIDL compiler version 8.01.0628 */
/* at Tue Jan 19 03:14:07 2038
 */
/* Compiler settings for EmptyRpc.idl:
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


#ifndef __EmptyRpc_h__
#define __EmptyRpc_h__

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


#ifndef __EmptyRpc_INTERFACE_DEFINED__
#define __EmptyRpc_INTERFACE_DEFINED__

/* interface EmptyRpc */
/* [version][uuid] */ 

typedef /* [context_handle] */ void *EMPTY_CONTEXT_HANDLE;

void EmptyConnect( 
    /* [in] */ handle_t binding,
    /* [out] */ EMPTY_CONTEXT_HANDLE *handle);

void EmptyDisconnect( 
    /* [out][in] */ EMPTY_CONTEXT_HANDLE *handle);

void EmptyCall( 
    /* [in] */ EMPTY_CONTEXT_HANDLE handle);

void EmptySetText( 
    /* [in] */ EMPTY_CONTEXT_HANDLE handle,
    /* [string][in] */ const wchar_t *text);

void EmptyReadText( 
    /* [in] */ EMPTY_CONTEXT_HANDLE handle,
    /* [out] */ long *size,
    /* [size_is][size_is][out] */ wchar_t **text);



extern RPC_IF_HANDLE EmptyRpc_v1_0_c_ifspec;
extern RPC_IF_HANDLE EmptyRpc_v1_0_s_ifspec;
#endif /* __EmptyRpc_INTERFACE_DEFINED__ */

/* Additional Prototypes for ALL interfaces */

void __RPC_USER EMPTY_CONTEXT_HANDLE_rundown( EMPTY_CONTEXT_HANDLE );

/* end of Additional Prototypes */

#ifdef __cplusplus
}
#endif

#endif


