// One row an action; each opens its data set, does one thing, and stores what it changed.
#include "apps/lanternctl/CHdfCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CEepromImage.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "software/bp/hwlogic/CHdfEeprom.h"
#include "software/bp/hwlogic/CHdfFileAdapter.h"
#include "software/bp/hwlogic/CHdfManager.h"
#include "software/bp/hwlogic/CHdfTextGuard.h"
#include "software/utility/CException.h"
#include "software/utility/NReason.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <charconv>
#include <json/value.h>
#include <limits>
#include <memory>
#include <ostream>

namespace
{
constexpr std::uint32_t kMaxRegion = std::numeric_limits<std::uint16_t>::max(); // bytes, and offset
constexpr char kFooter[] = "These need no projector. To try them:\n"
                           "  lanternctl hdf set board.hdf lamp.hours 1200\n"
                           "  lanternctl hdf pack board.hdf --size 256 -o board.bin\n"
                           "  lanternctl hdf show board.bin --eeprom 0:256\n"
                           "The options that all commands share: lanternctl --help";

[[noreturn]] void FailUsage(const std::string& sentence)
{
    throw CCommandFailure(EExitCode::WrongUsage, sentence);
}

struct SRegion
{
    std::uint16_t mOffset = 0;
    std::uint16_t mSize = 0; // bytes
};

bool ToNumber(const char* begin, const char* end, std::uint16_t& number) noexcept
{
    const auto [stop, error] = std::from_chars(begin, end, number);
    return error == std::errc() && stop == end;
}

SRegion ParseRegion(const std::string& text)
{
    SRegion region;
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || !ToNumber(text.data(), text.data() + colon, region.mOffset) ||
        !ToNumber(text.data() + colon + 1, text.data() + text.size(), region.mSize))
        FailUsage("--eeprom: \"" + text + "\" is not OFFSET:SIZE, both at most 65535");
    return region;
}

/// A file, or a region of an image.
class CDataSet
{
public:
    CDataSet(const std::string& file, const std::string& region, bool isImage, std::uint32_t size = 0)
    {
        if (region.empty() && !isImage)
        {
            mStorage = std::make_unique<CHdfFileAdapter>(file);
            return;
        }
        mImage = std::make_unique<CEepromImage>(file, size);
        SRegion place{0, static_cast<std::uint16_t>(std::min(mImage->GetSize(), kMaxRegion))};
        if (!region.empty())
            place = ParseRegion(region);
        mStorage = std::make_unique<CHdfEeprom>(file, *mImage, place.mOffset, place.mSize);
    }

    IHdfStorage& GetStorage() noexcept { return *mStorage; }
    void Save() const
    {
        if (mImage)
            mImage->Save();
    }

private:
    std::unique_ptr<CEepromImage> mImage; // none of a plain file
    std::unique_ptr<IHdfStorage> mStorage;
};

void ShowChildren(std::ostream& out, const CHdfManager& parent, std::size_t depth)
{
    CHdfManager node;
    node.JoinAtNode(parent, "%s", "");
    for (bool isThere = node.JumpToChild(); isThere; isThere = node.JumpToNext())
    {
        const std::string value = node.GetNodeValue();
        out << std::string(2 * depth, ' ') << node.GetNodeName();
        if (!value.empty())
            out << " = " << NDisplayText::Printable(value);
        out << '\n';
        ShowChildren(out, node, depth + 1);
    }
}

void Collect(Json::Value& values, const CHdfManager& parent, const std::string& prefix)
{
    CHdfManager node;
    node.JoinAtNode(parent, "%s", "");
    for (bool isThere = node.JumpToChild(); isThere; isThere = node.JumpToNext())
    {
        const std::string path = prefix + node.GetNodeName();
        CHdfManager child;
        child.JoinAtNode(node, "%s", "");
        const bool isBranch = child.JumpToChild();
        if (const std::string value = node.GetNodeValue(); !value.empty() || !isBranch)
            values[path] = value;
        Collect(values, node, path + '.');
    }
}
} // namespace

struct CHdfCommand::SActionRow
{
    const char* mName;
    const char* mHelp;
    void (CHdfCommand::*mRun)(CSession&);
    const char* mFileHelp;
    bool mHasPath;
    bool mHasValue;
};

const CHdfCommand::SActionRow CHdfCommand::kActions[] = {
    {"show", "Show a data set as a tree", &CHdfCommand::Show, "The data set", false, false},
    {"dump", "Show what is read, what is stored, and its bytes", &CHdfCommand::Dump, "The data set", false,
     false},
    {"get", "Show one value", &CHdfCommand::Get, "The data set", true, false},
    {"set", "Set one value", &CHdfCommand::Set, "The data set; made when it is not there", true, true},
    {"pack", "Make an EEPROM's image of a text", &CHdfCommand::Pack, "The data set's text", false, false},
    {"unpack", "Show the text in an EEPROM's image", &CHdfCommand::Unpack, "The image", false, false},
};

void CHdfCommand::Declare(CLI::App& arguments)
{
    mArguments = &arguments;
    arguments.require_subcommand(1);
    arguments.footer(kFooter);
    for (const SActionRow& row : kActions)
    {
        CLI::App* action = arguments.add_subcommand(row.mName, row.mHelp);
        action->footer(kFooter);
        mActions[action] = &row;
        action->add_option("FILE", mFile, row.mFileHelp)->type_name("")->required();
        if (row.mHasPath)
            action->add_option("PATH", mPath, "Names joined by dots")->type_name("")->required();
        if (row.mHasValue)
            action->add_option("VALUE", mValue, "Any text")->type_name("")->required();
        action
            ->add_option("--eeprom", mRegion, "FILE is an EEPROM's image; the data set is in this part of it")
            ->type_name("OFFSET:SIZE");
        if (row.mRun != &CHdfCommand::Pack)
            continue;
        action->add_option("--size", mSize, "Bytes of an image that is not there yet")
            ->type_name("N")
            ->check(CLI::Range(1U, CEepromImage::kMaxSize).description(""));
        action->add_option("-o,--output", mOutput, "The image; what is outside --eeprom stays")
            ->type_name("IMAGE")
            ->required();
    }
}

EExitCode CHdfCommand::Run(CSession& session)
try
{
    (this->*mActions.at(mArguments->get_subcommands().front())->mRun)(session); // one is required
    return EExitCode::Done;
}
catch (const CException& failure)
{
    throw CCommandFailure(EExitCode::Refused, NReason::Of(failure));
}

void CHdfCommand::Show(CSession& session)
{
    CDataSet set(mFile, mRegion, false);
    CHdfManager manager(&set.GetStorage());
    manager.Create();
    manager.ImportData();
    if (!session.GetOptions().mJson)
        return ShowChildren(session.Out(), manager, 0);
    Json::Value values(Json::objectValue);
    Collect(values, manager, "");
    session.Out() << NJsonDocument::Compact(values) << '\n';
}

void CHdfCommand::Dump(CSession& session)
{
    CDataSet set(mFile, mRegion, false);
    CHdfManager manager(&set.GetStorage());
    manager.Create();
    try
    {
        manager.ImportData();
    }
    catch (const CException& failure)
    {
        session.Complain(NReason::Of(failure)); // the bytes are what one wants to see then
    }
    std::string text;
    manager.Interrogate(text);
    session.Out() << text;
}

void CHdfCommand::Get(CSession& session)
{
    CDataSet set(mFile, mRegion, false);
    CHdfManager manager(&set.GetStorage());
    manager.Create();
    manager.ImportData();
    const std::string value = manager.GetFieldText("%s", mPath.c_str());
    session.Out() << (session.GetOptions().mJson ? NJsonDocument::Compact(Json::Value(value)) : value)
                  << '\n';
}

void CHdfCommand::Set(CSession&)
{
    CDataSet set(mFile, mRegion, false);
    CHdfManager manager(&set.GetStorage());
    manager.Create();
    if (manager.IsFilePresent())
        manager.ImportData();
    manager.SetFieldText(mValue.c_str(), "%s", mPath.c_str());
    manager.ExportData();
    set.Save();
}

void CHdfCommand::Pack(CSession&)
{
    std::string text;
    CHdfFileAdapter(mFile).Read(text);
    CHdfTextGuard::CheckText(text);
    CDataSet image(mOutput, mRegion, true, mSize);
    image.GetStorage().Write(text);
    image.Save();
}

void CHdfCommand::Unpack(CSession& session)
{
    std::string text;
    CDataSet(mFile, mRegion, true).GetStorage().Read(text);
    session.Out() << text;
}
