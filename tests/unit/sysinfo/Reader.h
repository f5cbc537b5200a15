// The reader with its inside open to tests.
#pragma once

#include "sysinfo/WmiData.h"

class Reader : public RpcServer::WMIData
{
  public:
    using WMIData::FormatSysInfoString;
    using WMIData::GetBIOSValue;
    using WMIData::ReadBiosPasswordStatus;
    using WMIData::ReadBiosPasswordStatusLegacy;
    using WMIData::ReadBiosPasswordStatusVeralock;
    using WMIData::ReadBuildFromFile;
    using WMIData::ReadFeatureByte;

    using WMIData::m_bFamilyCodeMatch;
    using WMIData::m_bUseCtrlAltJ;
    using WMIData::m_llInstalledMemory;
    using WMIData::m_strBaseBoardVersion;
    using WMIData::m_strBiosPasswordStatus;
    using WMIData::m_strBIOSVersion;
    using WMIData::m_strBuild;
    using WMIData::m_strFeatureByte;
    using WMIData::m_strMemory;
    using WMIData::m_strProcessorName;
    using WMIData::m_strSerialNumber;
    using WMIData::m_strSysInfo;
    using WMIData::m_strSystemFamily;
    using WMIData::m_strSystemProductName;
    using WMIData::m_strSystemSKU;
};
