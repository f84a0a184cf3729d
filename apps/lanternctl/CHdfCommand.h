// lanternctl hdf show|dump|get|set|pack|unpack
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <cstdint>
#include <map>
#include <string>

/// Configuration data sets, in files and in images of EEPROMs.
class CHdfCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    struct SActionRow;
    static const SActionRow kActions[];

    void Show(CSession& session);
    void Dump(CSession& session);
    void Get(CSession& session);
    void Set(CSession& session);
    void Pack(CSession& session);
    void Unpack(CSession& session);

    CLI::App* mArguments = nullptr; // not owned
    std::map<const CLI::App*, const SActionRow*> mActions;
    std::string mFile;
    std::string mPath;
    std::string mValue;
    std::string mOutput;
    std::string mRegion; // OFFSET:SIZE, empty without
    std::uint32_t mSize = 0;
};
