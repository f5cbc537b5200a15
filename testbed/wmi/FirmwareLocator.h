// The WMI locator of the testbed: namespaces that the profile names are the firmware's, all others the platform's.
#pragma once

#include "testbed/wmi/WbemDefaults.h"

namespace Testbed
{

class CFirmwareLocator : public CCounted<IWbemLocator, IID_IWbemLocator>
{
  public:
    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR path, const BSTR user, const BSTR password, const BSTR locale,
                                            LONG securityFlags, const BSTR authority, IWbemContext* context,
                                            IWbemServices** services) override;
};

} // namespace Testbed
