// A keyboard bridge that answers what a test feeds it. It takes the place of the product's bridge while linking, so
// that the operations, the stubs and the endpoint are tested as they are, without anything behind them.
#pragma once

#include <functional>
#include <string>

struct FedBridge
{
    bool bMissing{false}; // there is no bridge: memory ran out
    std::function<void(unsigned)> processCommand{[](unsigned) {}};
    std::function<void()> launchUsbCApp{[] {}};
    std::function<std::wstring()> sysInfo{[] { return std::wstring{}; }};
    std::function<std::wstring()> usbTypeC{[] { return std::wstring{}; }};
};

// The feed of all calls. Set it before a server starts.
FedBridge& Feed();

// Puts the feed back to its defaults.
class FedBridgeScope
{
  public:
    FedBridgeScope() = default;
    ~FedBridgeScope() { Feed() = FedBridge{}; }
    FedBridgeScope(const FedBridgeScope&) = delete;
    FedBridgeScope& operator=(const FedBridgeScope&) = delete;
};
