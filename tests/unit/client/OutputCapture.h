// Keeps what hotkeyctl's commands write to both outputs instead of writing it.
//
//   OutputCapture output;
//   RunExplain("1740", CCtlOutput{false}, false);
//   EXPECT_EQ("...", output.Text());
#pragma once

#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <string>

class OutputCapture
{
  public:
    OutputCapture() = default;
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    const std::string& Text() const noexcept { return m_text; }
    const std::string& Complaint() const noexcept { return m_complaint; }

  private:
    std::string m_text;
    std::string m_complaint;
    IMPORT_HOOK(GetStdHandle){[](DWORD stream) { return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(stream)); }};
    IMPORT_HOOK(GetConsoleMode){[](HANDLE, LPDWORD) -> BOOL { return FALSE; }};
    IMPORT_HOOK(WriteFile){[this](HANDLE stream, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED) -> BOOL {
        const bool error = static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(stream)) == STD_ERROR_HANDLE;
        (error ? m_complaint : m_text).append(static_cast<const char*>(bytes), size);
        *written = size;
        return TRUE;
    }};
};
