// lanternctl cep talk SOCKET get|set [ITEM...]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <cstdint>
#include <string>
#include <vector>

namespace LibMarlix
{
class CCepMessage;
}

/// One request to a companion module, the simulated one for instance.
class CCepTalkCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    LibMarlix::CCepMessage MakeRequest() const;

    std::string mSocket;
    std::string mAction;
    std::vector<std::string> mItems;
    unsigned mFormat = 2;
    std::uint16_t mObjectId = 0;
    bool mTakesAnyCrc = false;
};
