// "MESSAGE: SYSTEM ERROR" for our own exceptions, what() for all others.
#include "software/utility/NReason.h"

#include "software/utility/CException.h"

#include <system_error>

namespace
{
std::string OfAlone(const std::exception& failure)
{
    const auto* ours = dynamic_cast<const CException*>(&failure);
    if (ours == nullptr)
        return failure.what();
    if (ours->GetSystemError() == 0)
        return ours->GetMessage();
    return ours->GetMessage() + ": " + std::generic_category().message(ours->GetSystemError());
}
} // namespace

std::string NReason::Of(const std::exception& failure)
{
    try
    {
        std::rethrow_if_nested(failure);
    }
    catch (const std::exception& cause)
    {
        return OfAlone(failure) + ": " + Of(cause);
    }
    return OfAlone(failure);
}
