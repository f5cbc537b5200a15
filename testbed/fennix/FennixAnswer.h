// What the profile lets the framework answer to one question:
//   yes, no          a flag (VARIANT_TRUE, VARIANT_FALSE)
//   260, -3, 0x10    a number; for a flag these 16 bits as they are, so 1 is not VARIANT_TRUE
//   fail:0x80004005  the call fails with this HRESULT
//   throw            the call throws a C++ exception
#pragma once

#include <windows.h>

#include <string_view>

namespace Testbed
{

struct FennixAnswer
{
    HRESULT result{S_OK};
    long value{0};
    bool throws{false};
};

// An answer that cannot be read fails with E_INVALIDARG, so that a misspelt profile shows.
FennixAnswer ParseFennixAnswer(std::wstring_view text);

} // namespace Testbed
