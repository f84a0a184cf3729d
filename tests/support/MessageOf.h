// What a call threw, for tests that promise its text.
#pragma once

#include "software/utility/CException.h"

#include <string>

/// The message of the `CException` that the call throws; empty when it throws none.
template <typename TCall>
std::string MessageOf(TCall call)
{
    try
    {
        call();
    }
    catch (const CException& error)
    {
        return error.GetMessage();
    }
    return std::string();
}
