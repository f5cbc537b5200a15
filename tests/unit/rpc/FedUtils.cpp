#include "tests/unit/rpc/FedUtils.h"

#include "utils/HardwareNode.h"
#include "utils/ServiceQuery.h"

#include <algorithm>
#include <stdexcept>

FedUtils& UtilsFeed()
{
    static FedUtils feed;
    return feed;
}

long Utils::IsServicePresent(const wchar_t* serviceName, VS_FIXEDFILEINFO& version, bool checkRunning, bool getVersion,
                             DWORD managerAccess)
{
    FedUtils& feed = UtilsFeed();
    if (feed.bThrow)
    {
        throw std::runtime_error{"test"};
    }
    feed.strService = serviceName;
    feed.bCheckRunning = checkRunning;
    feed.bGetVersion = getVersion;
    feed.dwAccess = managerAccess;
    version = feed.version;
    return feed.nServiceStatus;
}

long Utils::IsHardwareNodePresent(const wchar_t* node)
{
    FedUtils& feed = UtilsFeed();
    if (feed.bThrow)
    {
        throw std::runtime_error{"test"};
    }
    feed.nodes.push_back(node);
    return std::ranges::count(feed.presentNodes, node) != 0 ? 1 : 0;
}
