// "MESSAGE: SYSTEM ERROR" for our own exceptions, what() for all others.
#include "apps/lanternd/NReason.h"

#include "software/utility/CException.h"

#include <system_error>

std::string NReason::Of(const std::exception& failure)
{
    const auto* ours = dynamic_cast<const CException*>(&failure);
    if (ours == nullptr)
        return failure.what();
    if (ours->GetSystemError() == 0)
        return ours->GetMessage();
    return ours->GetMessage() + ": " + std::generic_category().message(ours->GetSystemError());
}
