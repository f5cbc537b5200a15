// Stands in for the event log and keeps what is written to it, as "type|event id|text".
//
//   EventLogRecorder events;
//   ...
//   EXPECT_THAT(events.Entries(), testing::ElementsAre(L"4|60000000|Quil TLY Service in OnStop"));
//
// Checks at each entry what is the same for all of them: source name, category, one string, no user, no data, and that
// the source is closed again.
#pragma once

#include "tests/harness/ImportHook.h"

#include "shared/WideText.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

class EventLogRecorder
{
  public:
    using Observer = std::function<void(const std::wstring& entry)>;

    // The observer sees each entry as well; for tests that care about the order among other things.
    explicit EventLogRecorder(Observer observer = {}) : m_observer{std::move(observer)} {}
    ~EventLogRecorder() { EXPECT_EQ(m_opened, m_closed) << "an event source stayed open"; }
    EventLogRecorder(const EventLogRecorder&) = delete;
    EventLogRecorder& operator=(const EventLogRecorder&) = delete;

    const std::vector<std::wstring>& Entries() const { return m_entries; }

  private:
    static inline const HANDLE kSource = reinterpret_cast<HANDLE>(std::uintptr_t{0x5150});

    Observer m_observer;
    std::vector<std::wstring> m_entries;
    int m_opened{0};
    int m_closed{0};

    IMPORT_HOOK(RegisterEventSourceW){[this](LPCWSTR server, LPCWSTR source) {
        EXPECT_EQ(nullptr, server);
        EXPECT_STREQ(L"HotKeyServiceTLY", source);
        ++m_opened;
        return kSource;
    }};
    IMPORT_HOOK(ReportEventW){[this](HANDLE source, WORD type, WORD category, DWORD id, PSID user, WORD strings,
                                     DWORD size, LPCWSTR* texts, LPVOID data) {
        EXPECT_EQ(kSource, source);
        EXPECT_EQ(2, category);
        EXPECT_EQ(nullptr, user);
        EXPECT_EQ(1, strings);
        EXPECT_EQ(0u, size);
        EXPECT_EQ(nullptr, data);
        m_entries.push_back(Quil::Shared::FormatText(L"%d|%08X|%s", type, id, texts[0]));
        if (m_observer)
        {
            m_observer(m_entries.back());
        }
        return TRUE;
    }};
    IMPORT_HOOK(DeregisterEventSource){[this](HANDLE source) {
        EXPECT_EQ(kSource, source);
        ++m_closed;
        return TRUE;
    }};
};
