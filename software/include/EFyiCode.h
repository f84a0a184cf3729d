// What a line for service staff is about, so that they can filter by it.
#pragma once

/// Topic of an `ILog::LogFYI` line. The number is part of the line and stays the same for ever.
enum EFyiCode : int
{
    eFyiGeneral = 0,
    eFyiStartup = 1,
    eFyiStorage = 2,
    eFyiNetwork = 3,
    eFyiHardware = 4,
    eFyiThermal = 5,
    eFyiOptics = 6,
    eFyiSecurity = 7,
};
