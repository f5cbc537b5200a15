/// \file
/// What an operation of the client answers: a value, or the error that kept it from one.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace HotKey
{

/// Why there is no answer.
enum class ErrorKind
{
    Unreachable,   ///< no service listens, or the connection to it was lost
    Refused,       ///< the service, or the RPC run time for it, ended the call with a status
    TimedOut,      ///< no answer within the time allowed; the service may still be at work
    NotUnderstood, ///< an answer that the service does not give
};

/// An error, for programs and for people.
struct CError
{
    ErrorKind eKind;        ///< what programs decide by
    std::uint32_t ulStatus; ///< RPC status; 0 when there is none
    std::wstring strText;   ///< one line for people
};

/// For operations that answer nothing.
using CNothing = std::monostate;

/// A value or an error, never neither.
template <typename T> class [[nodiscard]] CResult
{
  public:
    /// Holds a value.
    CResult(T value) : m_content{std::in_place_index<0>, std::move(value)} {}
    /// Holds an error.
    CResult(CError error) : m_content{std::in_place_index<1>, std::move(error)} {}

    /// True with a value.
    explicit operator bool() const noexcept { return m_content.index() == 0; }
    /// The value; throws std::bad_variant_access with an error.
    const T& Value() const { return std::get<0>(m_content); }
    /// The value; throws std::bad_variant_access with an error.
    T& Value() { return std::get<0>(m_content); }
    /// The error; throws std::bad_variant_access with a value.
    const CError& Error() const { return std::get<1>(m_content); }

  private:
    std::variant<T, CError> m_content;
};

} // namespace HotKey
