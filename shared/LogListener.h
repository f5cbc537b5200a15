/// \file
/// A log record and the base of everything that records are written to.
/// Derived listeners: CqlLogListenerFile, CqlLogListenerEvent, CqlLogListenerConsole, CqlLogListenerDebug.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Quil::Shared
{

/// One output of the log: admits a range of levels and writes records. The logger owns it.
class CqlLogListener
{
  public:
    /// Bits of the LoggingType mask, and what Type answers.
    enum TypeCode : DWORD
    {
        EventLog = 1,   ///< LoggingType word EVENT
        Debugger = 2,   ///< word DEBUG
        FileQueued = 4, ///< no word: the default
        FileDirect = 8, ///< word FILE
        Console = 16    ///< word CONSOLE
    };

    /// One record; time and thread are taken when it is built.
    /// A record that is built from texts only refers to them, so that the logging caller copies nothing; a copy of a
    /// record owns its texts. Copies carry the cached level name and line with them.
    class LogData
    {
      public:
        /// Both texts end in a NUL and outlive the record. A null name counts as empty.
        LogData(int level, const char* functionName, std::wstring_view message) noexcept;
        /// Owns its texts. Throws std::bad_alloc.
        LogData(const LogData& other);
        LogData& operator=(const LogData&) = delete;
        virtual ~LogData() = default;

        // The record as bytes, for a queue that keeps many of them in one block.

        /// The bytes that Pack writes.
        std::size_t PackedSize() const noexcept;
        /// Writes the record to memory of PackedSize bytes, aligned or not.
        void Pack(std::byte* to) const noexcept;
        /// Becomes the packed record, in the memory of the texts that this one had before. Throws std::bad_alloc.
        void Unpack(const std::byte* from);

        /// Ends in a NUL.
        std::string_view FunctionName() const noexcept { return m_functionName; }
        /// Ends in a NUL.
        std::wstring_view Message() const noexcept { return m_message; }
        /// A LogLevel.
        int Level() const noexcept { return m_nLevel; }
        /// The line without its end, made on the first call and kept.
        const std::wstring& Line() const;

      private:
        struct Packed;

        std::string_view m_functionName;
        std::wstring_view m_message;
        std::string m_strFunctionName; // what the views of a copy refer to
        std::wstring m_strMessage;
        int m_nLevel;
        SYSTEMTIME m_timeStamp;
        DWORD m_dwThreadId;
        mutable std::wstring_view m_levelName; // empty until the line is made
        mutable std::wstring m_strLine;
    };

    /// minimumName: the registry value that holds the minimum level, null or empty for "MinLogLevel".
    /// productName: the policy product, null for the program's own. ignoreRegistry: keep the given levels.
    CqlLogListener(int minimumLevel, const wchar_t* productName, const wchar_t* minimumName, bool ignoreRegistry);
    virtual ~CqlLogListener() = default;
    CqlLogListener(const CqlLogListener&) = delete;
    CqlLogListener& operator=(const CqlLogListener&) = delete;

    /// Called on any thread, only for records inside the listener's levels. Reports no errors.
    virtual void Write(const LogData& record) = 0;
    /// One bit of TypeCode.
    virtual DWORD Type() const = 0;

    /// The lowest level that is admitted.
    int MinimumLevel() const noexcept { return m_nMinimumLevel; }
    /// The highest level that is admitted.
    int MaximumLevel() const noexcept { return m_nMaximumLevel; }

  protected:
    int m_nMinimumLevel;    ///< as MinimumLevel gives it; set once
    int m_nMaximumLevel;    ///< as MaximumLevel gives it; Error unless the policy says otherwise
    bool m_bIgnoreRegistry; ///< the levels are the given ones
};

} // namespace Quil::Shared
