// lanternctl cep decode FILE|-
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <cstddef>
#include <string>

namespace LibMarlix
{
class CCepParser;
}

/// The messages of a captured stream, as they come; what is none of them is counted.
class CCepDecodeCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    void Show(CSession& session, LibMarlix::CCepParser& parser);
    void ShowNoise(CSession& session);

    std::string mFile;
    std::size_t mOffset = 0; // bytes that were messages or noise
    std::size_t mNoise = 0;  // bytes of noise that were not told yet
    std::size_t mMessages = 0;
};
