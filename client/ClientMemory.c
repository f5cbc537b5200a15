/* The memory of the client's stubs: texts that arrive, freed by whoever made the call. */
#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <stdlib.h>

void* __RPC_USER midl_user_allocate(size_t size)
{
    return malloc(size);
}

void __RPC_USER midl_user_free(void* memory)
{
    free(memory);
}
