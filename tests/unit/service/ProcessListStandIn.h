// Stands in for the processes of the machine: a list of image names that snapshots show and terminations shorten.
#pragma once

#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <cwchar>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

class ProcessListStandIn
{
  public:
    explicit ProcessListStandIn(std::vector<std::wstring> names) : m_names{std::move(names)} {}
    ProcessListStandIn(const ProcessListStandIn&) = delete;
    ProcessListStandIn& operator=(const ProcessListStandIn&) = delete;

    // The names that are left.
    std::vector<std::wstring> Names() const
    {
        std::vector<std::wstring> names;
        std::copy_if(m_names.begin(), m_names.end(), std::back_inserter(names),
                     [](const std::wstring& name) { return !name.empty(); });
        return names;
    }
    int Snapshots() const { return hook_CreateToolhelp32Snapshot.Calls(); }
    int Terminations() const { return hook_TerminateProcess.Calls(); }

    bool comesBack{false}; // a terminated process is there again at once
    std::function<void()> onTermination{[] {}};

  private:
    static inline const HANDLE kSnapshot = reinterpret_cast<HANDLE>(std::uintptr_t{0x7001});

    // Ids are places in the list, from 100; an ended process leaves an empty name.
    BOOL Show(LPPROCESSENTRY32W entry)
    {
        while (m_next < m_names.size() && m_names[m_next].empty())
        {
            ++m_next;
        }
        if (m_next == m_names.size())
        {
            return FALSE;
        }
        entry->th32ProcessID = static_cast<DWORD>(100 + m_next);
        std::wcscpy(entry->szExeFile, m_names[m_next].c_str());
        ++m_next;
        return TRUE;
    }

    std::vector<std::wstring> m_names;
    std::size_t m_next{0};

    IMPORT_HOOK(CreateToolhelp32Snapshot){[this](DWORD flags, DWORD) {
        EXPECT_EQ(DWORD{TH32CS_SNAPPROCESS}, flags);
        m_next = 0;
        return kSnapshot;
    }};
    IMPORT_HOOK(Process32FirstW){[this](HANDLE, LPPROCESSENTRY32W entry) { return Show(entry); }};
    IMPORT_HOOK(Process32NextW){[this](HANDLE, LPPROCESSENTRY32W entry) { return Show(entry); }};
    IMPORT_HOOK(OpenProcess){
        [](DWORD, BOOL, DWORD processId) { return reinterpret_cast<HANDLE>(std::uintptr_t{processId}); }};
    IMPORT_HOOK(TerminateProcess){[this](HANDLE process, UINT) {
        onTermination();
        if (!comesBack)
        {
            m_names.at(reinterpret_cast<std::uintptr_t>(process) - 100).clear();
        }
        return TRUE;
    }};
    IMPORT_HOOK(CloseHandle){
        [this](HANDLE handle) { return handle == kSnapshot ? TRUE : hook_CloseHandle.Real()(handle); }};
};
