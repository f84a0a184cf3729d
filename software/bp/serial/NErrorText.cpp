// The table of codes and texts.
#include "software/bp/serial/NErrorText.h"

#include <algorithm>
#include <iterator>

namespace
{
struct SErrorText
{
    EError mError;
    const char* mText;
};

constexpr SErrorText kTexts[] = {
    {eErrorNone, ""},
    {eErrorInvalidParameter, "Invalid Parameter"},
    {eErrorTooManyParameters, "Too Many Parameters"},
    {eErrorTooFewParameters, "Too Few Parameters"},
    {eErrorChannelNotFound, "Channel not found"},
    {eErrorCommandNotExecuted, "Command not executed"},
    {eErrorChecksum, "Checksum error"},
    {eErrorUnknownRequest, "Unknown request"},
    {eErrorSerialReceive, "Error receiving serial data"},
    {eErrorControlNotFound, "Control Not Found"},
    {eErrorSubcontrolNotFound, "Subcontrol Not Found"},
    {eErrorWrongControlType, "Wrong Control Type"},
    {eErrorInvalidValue, "Invalid Value"},
    {eErrorDisabledControl, "Disabled Control"},
    {eErrorInvalidLanguage, "Invalid Language"},
    {eErrorExceededListSize, "Exceeded List Size"},
    {eErrorTimeout, "Communication Timeout"},
    {eErrorCommunications, "Communications Failure"},
    {eErrorHardware, "Failed to set Hardware"},
    {eErrorBadFile, "Bad File"},
    {eErrorMemory, "Memory Failure"},
    {eErrorNotImplemented, "Not Implemented"},
    {eErrorSecurityToken, "Invalid Security Token"},
    {eErrorAccessGroup, "Invalid Access Group"},
    {eErrorSystemBusy, "System Busy - Try Again Later"},
    {eErrorRequestTooLong, "Request took too long to execute"},
    {eErrorExecutionTimeLimit, "Execution time limit reached"},
    {eErrorLostSynchronization, "Execution lost synchronization"},
    {eErrorRequestFailed, "Request was executed, but failed"},
    {eErrorRequestThrew, "Request threw exception"},
    {eErrorRequestListEmpty, "Request list is empty"},
    {eErrorRequestListTooLong, "Request list execution time too long"},
    {eErrorRequestNotSupported, "Request not supported"},
    {eErrorNoVsync, "No vsync from hardware"},
    {eErrorMulticast, "UDP Multicast failed"},
    {eErrorNoResponse, "No response"},
};
} // namespace

const char* NErrorText::GetErrorString(EError error) noexcept
{
    const auto entry = std::find_if(std::begin(kTexts), std::end(kTexts),
                                    [=](const SErrorText& e) { return e.mError == error; });
    return entry == std::end(kTexts) ? "Unknown Error" : entry->mText;
}
