// What a call threw, for tests that promise its text.
#pragma once

#include "software/utility/CException.h"

#include <exception>
#include <string>

/// The message of what the call throws; empty when it throws nothing.
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
    catch (const std::exception& error)
    {
        return error.what();
    }
    return std::string();
}
