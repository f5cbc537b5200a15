// What the tests of CMainService share: a service object in a machine of its own.
#pragma once

#include "tests/unit/service/ServiceMachine.h"

#include "service/MainService.h"

#include <gtest/gtest.h>

#include <windows.h>

// The events can be raised without a service manager.
class ExposedService : public CMainService
{
  public:
    ExposedService() : CMainService{L"HotKeyServiceTLY", true, true, false} {}

    using CMainService::OnPowerEvent;
    using CMainService::OnPreShutdown;
    using CMainService::OnSessionChange;
    using CMainService::OnShutdown;
    using CMainService::OnStart;
    using CMainService::OnStop;

    void Start() { OnStart(0, nullptr); }
};

class MainService : public testing::Test
{
  protected:
    ServiceMachine machine;
};

// A service object in a machine whose log starts after the construction.
class RunningMainService : public MainService
{
  protected:
    RunningMainService() { machine.log.Clear(); }

    ExposedService service;
};
