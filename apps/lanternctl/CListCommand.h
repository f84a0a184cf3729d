// lanternctl list [MENU or PREFIX]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>
#include <vector>

class CControlInfo;

/// All controls, those of one menu, or those whose codes begin with a prefix: as a table, as codes alone (for
/// completion), or as the control reference of the documentation.
class CListCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::vector<CControlInfo> Find(CSession& session) const;
    static void PrintTable(CSession& session, const std::vector<CControlInfo>& controls);
    static void PrintCodes(CSession& session, const std::vector<CControlInfo>& controls);
    static void PrintReference(CSession& session, const std::vector<CControlInfo>& controls);

    struct SFormat
    {
        const char* mName;
        void (*mPrint)(CSession&, const std::vector<CControlInfo>&);
    };
    static const std::vector<SFormat> kFormats; // the first is the default

    std::string mChoice; // a menu or a prefix
    std::string mFormat;
};
