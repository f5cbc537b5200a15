// Values out of the bytes that the fuzzer made, and the check of a property: what does not hold ends the process, and
// the fuzzer keeps the input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#define HOLDS(property)                                                                                                \
    ((property) ? static_cast<void>(0)                                                                                 \
                : (std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #property), std::abort()))

class CFuzzInput
{
  public:
    CFuzzInput(const std::uint8_t* data, std::size_t size) noexcept : m_pData{data}, m_nRest{size} {}

    std::size_t Rest() const noexcept { return m_nRest; }

    std::uint8_t Byte() noexcept
    {
        if (m_nRest == 0)
        {
            return 0;
        }
        --m_nRest;
        return *m_pData++;
    }
    // Zeros when the bytes are used up.
    template <typename Number> Number Take() noexcept
    {
        Number number{};
        const std::size_t count = std::min(sizeof number, m_nRest);
        std::memcpy(&number, m_pData, count);
        m_pData += count;
        m_nRest -= count;
        return number;
    }
    // Up to a NUL or the end.
    std::string Narrow()
    {
        std::string text;
        while (m_nRest != 0)
        {
            const char c = static_cast<char>(Byte());
            if (c == '\0')
            {
                break;
            }
            text += c;
        }
        return text;
    }
    // The same; a byte beyond ASCII makes one UTF-16 unit with the byte behind it.
    std::wstring WideText()
    {
        std::wstring text;
        while (m_nRest != 0)
        {
            const unsigned first = Byte();
            const unsigned unit = first < 0x80 ? first : (first << 8 | Byte());
            if (unit == 0)
            {
                break;
            }
            text += static_cast<wchar_t>(unit);
        }
        return text;
    }
    // All that is left.
    std::string_view Bytes() noexcept
    {
        const std::string_view bytes{reinterpret_cast<const char*>(m_pData), m_nRest};
        m_pData += m_nRest;
        m_nRest = 0;
        return bytes;
    }

  private:
    const std::uint8_t* m_pData;
    std::size_t m_nRest;
};
