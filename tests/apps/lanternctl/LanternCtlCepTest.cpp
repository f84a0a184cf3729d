// The program with captured streams, JSON, and the simulated module that it can be itself.
#include "software/utility/NHex.h"
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace
{
using testing::HasSubstr;

constexpr char kEverything[] =
    R"({"command":2,"crc":0,"destination":2,"error":5,"format":2,"minor":1,"object":300,"properties":[)"
    R"({"key":1,"type":"uint8","value":255},{"key":2,"type":"int8","value":-128},)"
    R"({"key":3,"type":"uint16","value":65535},{"key":4,"type":"int16","value":-32768},)"
    R"({"key":5,"type":"uint32","value":4294967295},{"key":6,"type":"int32","value":-2147483648},)"
    R"({"key":7,"type":"uint64","value":18446744073709551615},{"key":8,"type":"int64","value":-9223372036854775808},)"
    R"({"key":9,"type":"bool","value":true},{"key":12,"type":"string","value":"aö\n"},)"
    R"({"key":15,"type":"xml","value":"<a b=\"c\"/>"},{"key":32,"type":"int8[]","value":[-1,127]},)"
    R"({"key":37,"type":"uint64[]","value":[18446744073709551615,0]},{"key":39,"type":"bool[]","value":[true,false]},)"
    R"({"key":40,"type":12,"value":"ff00"},{"key":41,"type":77,"value":""}],)"
    R"("security":3,"sequence":4,"source":1})";

class LanternCtlCep : public testing::Test
{
protected:
    std::string Write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(mFolder.File(name), std::ios::binary) << bytes;
        return mFolder.File(name);
    }

    static std::string Read(const std::string& file)
    {
        std::ostringstream bytes;
        bytes << std::ifstream(file, std::ios::binary).rdbuf();
        return bytes.str();
    }

    /// Runs "cep ARGUMENTS", with a file as its standard input.
    void Run(const std::string& input, const std::string& arguments, int exitCode, const std::string& output,
             const std::string& errors = "")
    {
        SCOPED_TRACE(arguments);
        CCtlProcess process({"-c", "exec \"" LANTERN_TEST_CTL "\" cep " + arguments + " < '" + input + "'"},
                            {}, CCtlProcess::EOutput::Pipe, "/bin/sh");
        EXPECT_EQ(process.Wait(), exitCode);
        EXPECT_EQ(process.GetOutput(), output);
        EXPECT_THAT(process.GetErrors(), HasSubstr(errors));
    }

    CTemporaryFolder mFolder;
};
} // namespace

TEST_F(LanternCtlCep, WhatIsDecodedEncodesToTheSameBytes)
{
    const std::string json = Write("json", kEverything);
    const std::string stream = mFolder.File("stream");
    Run(json, "encode --no-crc -o " + stream, 0, "");
    Run("/dev/null", "--json decode " + stream, 0, kEverything + std::string("\n"));
    Run(stream, "decode - --json", 0, kEverything + std::string("\n"));
    const std::string bytes = Read(stream);
    // Noise around it, half a message behind it: each is told, and nothing is lost.
    const std::string noisy =
        Write("noisy", "noise{\x02{" + bytes + "{" + bytes + bytes.substr(0, bytes.size() - 1));
    Run(noisy, "--json decode -", 0, kEverything + std::string("\n") + kEverything + "\n",
        "lanternctl: 8 bytes at 0 are no message\nlanternctl: 1 byte at " + std::to_string(8 + bytes.size()) +
            " is no message\nlanternctl: " + std::to_string(bytes.size() - 1));
}

TEST_F(LanternCtlCep, ShowsAMessageToAPerson)
{
    const std::string json =
        Write("json", R"({"sequence":7,"object":16,"properties":[{"key":17,"type":"uint16","value":900}]})");
    const std::string stream = mFolder.File("stream");
    Run(json, "encode --format 1 -o " + stream, 0, "");
    std::string bytes = Read(stream);
    bytes.back() ^= 1;
    const std::string damaged = Write("damaged", "?" + bytes);
    Run("/dev/null", "decode " + damaged, 0,
        "1 byte at 0 is no message\n"
        "message 1: 26 bytes at 1\n"
        "  format 1.0, command 0, object 16, error 0, from 0 to 0, security 0, sequence 7, CRC 0x602c "
        "(wrong)\n"
        "  17  type 255  8402\n");
}

TEST_F(LanternCtlCep, RefusesWhatIsNoMessageWithAReason)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "there is no message on standard input"},
        {"{", "line 1 of standard input is not JSON"},
        {"[]", "message 1: a message is a JSON object"},
        {R"({"colour":1})", "message 1: no message has a member \"colour\""},
        {R"({"command":256})", "\"command\" is not a number up to 255"},
        {R"({"format":0})", "\"format\" is not a number up to 2"},
        {R"({"object":1.5})", "\"object\" is not a number"},
        {R"({"format":1,"object":256})", "format 1 has no object IDs above 255"},
        {R"({"properties":[{"key":1,"type":"uint8","value":256}]})",
         "property 1: the value is not of type uint8"},
        {R"({"properties":[{"key":1,"type":"int8","value":-129}]})",
         "property 1: the value is not of type int8"},
        {R"({"properties":[{"key":1,"type":"uint8","value":-1}]})", "not of type uint8"},
        {R"({"properties":[{"key":1,"type":"float","value":1}]})",
         "no type is called float; one of: uint8 int8"},
        {R"({"properties":[{"key":1,"type":255,"value":"0"}]})", "hexadecimal digits"},
        {R"({"properties":[{"key":-1,"type":"bool","value":true}]})", "a property is an object with key"},
        {"{}\n{\"x\":1}", "message 2: no message has a member \"x\""},
    };
    for (const auto& [json, reason] : cases)
        Run(Write("json", json), "encode", 2, "", reason);
    Run("/dev/null", "decode " + mFolder.File("none"), 2, "", "none: No such file or directory");
    Run("/dev/null", "", 2, "", "subcommand");
}

TEST_F(LanternCtlCep, TalksWithTheModuleThatItServes)
{
    const std::string socket = mFolder.File("m");
    CCtlProcess module({"cep", "serve", socket, "--fault", "damage", "--every", "5"});
    ASSERT_TRUE(module.WaitForOutput("module ready: " + socket + "\n"));
    const auto talk =
        [&](const std::string& words, int exitCode, const std::string& output, const std::string& errors)
    {
        CCtlProcess process({"-c", "exec \"" LANTERN_TEST_CTL "\" cep talk " + socket + " " + words}, {},
                            CCtlProcess::EOutput::Pipe, "/bin/sh");
        EXPECT_EQ(process.Wait(), exitCode) << words;
        EXPECT_THAT(process.GetOutput(), HasSubstr(output)) << words;
        EXPECT_THAT(process.GetErrors(), HasSubstr(errors)) << words;
    };
    talk("set 17=uint16:900 20=string:'a b'", 0, "  17  uint16  900\n  20  string  \"a b\"\n", "");
    talk("get 17 --json", 0, R"("properties":[{"key":17,"type":"uint16","value":900}])", "");
    talk("get 99", 1, "error 101", "lanternctl: Control Not Found (101)\n");
    talk("set 17=uint16:x", 2, "", "the value is not JSON");
    talk("set 17", 2, "", "is not KEY=TYPE:VALUE");
    talk("set", 2, "", "a property is missing");
    talk("get x", 2, "", "is not a key");
    talk("get --format 1 17", 0, "  17  type 255  8403\n", "");
    talk("get --timeout 300", 3, "", "lanternctl: no answer from " + socket + " within 300 ms\n"); // damaged
    talk("get 1", 0, "\"Simulated module\"", "");
    module.Signal(SIGTERM);
    EXPECT_EQ(module.Wait(), 0);
    talk("get", 3, "", "lanternctl: no connection to " + socket);
}

TEST_F(LanternCtlCep, TheExampleOfTheGuideIsReal)
{
    std::ifstream guide(LANTERN_TEST_DOCS_DIR "/cep.md");
    std::map<char, std::string> parts; // by what stands before them: "{" of the JSON, "x" of the bytes
    for (std::string line; std::getline(guide, line);)
    {
        if (line.rfind("    {", 0) == 0)
            parts['{'] += line.substr(4) + "\n";
        else if (line.rfind("    < ", 0) == 0)
            parts['x'] += line.substr(6);
    }
    std::string digits = parts['x'];
    digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(NHex::FromText(digits, bytes) && !bytes.empty());
    Run(Write("json", parts['{']), "encode", 0, std::string(bytes.begin(), bytes.end()));
}
