// The presence questions of utils/, answered by what a test feeds them while linking.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

struct FedUtils
{
    long nServiceStatus{0};
    VS_FIXEDFILEINFO version{};
    std::vector<std::wstring> presentNodes;
    bool bThrow{false};

    // What was asked.
    std::wstring strService;
    bool bCheckRunning{false};
    bool bGetVersion{false};
    DWORD dwAccess{0};
    std::vector<std::wstring> nodes;
};

FedUtils& UtilsFeed();
