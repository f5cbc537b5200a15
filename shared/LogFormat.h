/// \file
/// Wide printf formats that are compared with their arguments while compiling.
///
/// A format is a literal: CLogFormat's constructor walks it and matches each conversion with the type of its argument.
///
///     %s wide text (also std::wstring)   %S narrow text      %d %u %x %X  integers and enumerations of up to 32 bits
///     %ld %lu %lx the same, %lld 64 bits  %f %Lf double       %p pointer
///
/// Sizes and pointers that a text prints with `%d` or `%x` need a visible cast (Low32).
/// A mismatch calls a function that does not exist and is named after the mistake.
/// A text that is known only at run time goes through CRuntimeFormat, never through here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace Quil::Shared
{

namespace LogFormatDetail
{

enum class Kind
{
    Integer32,
    Integer64,
    Double,
    Pointer,
    WideText,
    NarrowText
};

// Never defined: a call in a constant expression stops the compiler, whose message shows the name.
void FormatError_TooFewArguments();
void FormatError_TooManyArguments();
void FormatError_ArgumentDoesNotFitConversion();
void FormatError_UnknownConversion();

template <typename Argument> consteval Kind KindOf()
{
    using T = std::remove_cv_t<std::remove_reference_t<std::decay_t<Argument>>>;
    if constexpr (std::is_same_v<T, std::wstring> || std::is_same_v<T, wchar_t*> || std::is_same_v<T, const wchar_t*>)
    {
        return Kind::WideText;
    }
    else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, char*> || std::is_same_v<T, const char*>)
    {
        return Kind::NarrowText;
    }
    else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
    {
        return sizeof(T) <= 4 ? Kind::Integer32 : Kind::Integer64;
    }
    else if constexpr (std::is_same_v<T, double>)
    {
        return Kind::Double;
    }
    else
    {
        static_assert(std::is_pointer_v<T>, "this type cannot be printed: convert it visibly");
        return Kind::Pointer;
    }
}

consteval void CheckFormat(const wchar_t* text, const Kind* kinds, std::size_t count)
{
    std::size_t used = 0;
    for (const wchar_t* p = text; *p != L'\0'; ++p)
    {
        if (*p != L'%')
        {
            continue;
        }
        if (*++p == L'%')
        {
            continue;
        }
        while (*p == L'-' || *p == L'+' || *p == L' ' || *p == L'#' || *p == L'.' || (*p >= L'0' && *p <= L'9'))
        {
            ++p;
        }
        int longs = 0;
        bool longDouble = false;
        for (; *p == L'l' || *p == L'L'; ++p)
        {
            longs += *p == L'l' ? 1 : 0;
            longDouble = longDouble || *p == L'L';
        }
        Kind wanted{};
        switch (*p)
        {
        case L'd':
        case L'u':
        case L'x':
        case L'X':
            wanted = longs == 2 ? Kind::Integer64 : Kind::Integer32;
            break;
        case L's':
            wanted = Kind::WideText;
            break;
        case L'S':
            wanted = Kind::NarrowText;
            break;
        case L'f':
            wanted = Kind::Double;
            break;
        case L'p':
            wanted = Kind::Pointer;
            break;
        default:
            FormatError_UnknownConversion();
        }
        if (longDouble && *p != L'f')
        {
            FormatError_UnknownConversion();
        }
        if (used == count)
        {
            FormatError_TooFewArguments();
        }
        if (kinds[used] != wanted)
        {
            FormatError_ArgumentDoesNotFitConversion();
        }
        ++used;
    }
    if (used != count)
    {
        FormatError_TooManyArguments();
    }
}

} // namespace LogFormatDetail

/// A wide format literal that fits arguments of these types.
template <typename... Args> class CLogFormat
{
  public:
    /// From a literal only, which is not copied. A mistake does not compile.
    template <std::size_t N> consteval CLogFormat(const wchar_t (&text)[N]) : m_pText{text}
    {
        constexpr std::size_t count = sizeof...(Args);
        const LogFormatDetail::Kind kinds[count + 1] = {LogFormatDetail::KindOf<Args>()...};
        LogFormatDetail::CheckFormat(text, kinds, count);
    }
    /// The literal, ends in a NUL.
    constexpr const wchar_t* Text() const noexcept { return m_pText; }

  private:
    const wchar_t* m_pText;
};

/// The explicit way for a text that is a format only at run time; its conversions find zeros as arguments.
struct CRuntimeFormat
{
    const wchar_t* m_pText; ///< not owned
};

/// An argument as a C variadic function takes it.
inline const wchar_t* ToVariadic(const std::wstring& text) noexcept
{
    return text.c_str();
}
/// The same for narrow text.
inline const char* ToVariadic(const std::string& text) noexcept
{
    return text.c_str();
}
/// The same for everything else: enumerations as their numbers.
template <typename T> constexpr auto ToVariadic(T value) noexcept
{
    if constexpr (std::is_enum_v<T>)
    {
        return static_cast<std::underlying_type_t<T>>(value);
    }
    else
    {
        return value;
    }
}

/// The low 32 bits of a pointer, handle or size, for texts that print one with `%x` or `%d`.
inline unsigned int Low32(const void* value) noexcept
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(value));
}
/// The same for a size.
constexpr int Low32(std::size_t value) noexcept
{
    return static_cast<int>(value);
}

} // namespace Quil::Shared
