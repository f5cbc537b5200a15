// The memory that the stubs of the server hand out and take back.
#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <cstdlib>
#include <cstring>

extern "C" void* __RPC_USER midl_user_allocate(SIZE_T size)
{
    void* const memory = std::malloc(size);
    if (memory != nullptr)
    {
        std::memset(memory, 0, size);
    }
    return memory;
}

extern "C" void __RPC_USER midl_user_free(void* memory)
{
    if (memory != nullptr)
    {
        std::free(memory);
    }
}
