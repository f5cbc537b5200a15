/// \file
/// Makes objects that several threads hold a share of, without throwing when memory runs out.
#pragma once

#include <memory>
#include <new>
#include <utility>

namespace RpcServer
{

/// Empty when memory ran out, for the object or for its count.
template <typename T, typename... Args> std::shared_ptr<T> TryMakeCounted(Args&&... args)
{
    try
    {
        T* const object = new (std::nothrow) T(std::forward<Args>(args)...);
        return object != nullptr ? std::shared_ptr<T>{object} : nullptr;
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

} // namespace RpcServer
