// The one numbered error vocabulary of all front ends.
#pragma once

#include <cstdint>

/// Why a request or a change was refused. The numbers go over every wire; their texts are in `NErrorText`.
enum EError : std::uint32_t
{
    eErrorNone = 0,
    eErrorInvalidParameter = 3,
    eErrorTooManyParameters = 4,
    eErrorTooFewParameters = 5,
    eErrorChannelNotFound = 6,
    eErrorCommandNotExecuted = 7,
    eErrorChecksum = 8,
    eErrorUnknownRequest = 9,
    eErrorSerialReceive = 10,
    eErrorControlNotFound = 101,
    eErrorSubcontrolNotFound = 102,
    eErrorWrongControlType = 103,
    eErrorInvalidValue = 104,
    eErrorDisabledControl = 105,
    eErrorInvalidLanguage = 106,
    eErrorExceededListSize = 107,
    eErrorTimeout = 110,
    eErrorCommunications = 111,
    eErrorHardware = 112,
    eErrorBadFile = 113,
    eErrorMemory = 114,
    eErrorNotImplemented = 115,
    eErrorSecurityToken = 116,
    eErrorAccessGroup = 117,
    eErrorSystemBusy = 118,
    eErrorRequestTooLong = 128,
    eErrorExecutionTimeLimit = 129,
    eErrorLostSynchronization = 130,
    eErrorRequestFailed = 131,
    eErrorRequestThrew = 132,
    eErrorRequestListEmpty = 133,
    eErrorRequestListTooLong = 134,
    eErrorRequestNotSupported = 135,
    eErrorNoVsync = 136,
    eErrorMulticast = 137,
    eErrorNoResponse = 138,
};
