// lanternctl cep encode --format 1|2 [--no-crc] [-o FILE]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

/// Messages from JSON on standard input, in the form that `cep decode --json` prints.
class CCepEncodeCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string Encode(const std::string& text) const;

    unsigned mFormat = 0; // 0: as the document says
    bool mWithoutCrc = false;
    std::string mFile;
};
