// What docs/ says about the interface is what the programs do.
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CRpcConnection.h"
#include "tests/support/CTemporaryFolder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace
{
std::ifstream Open(const std::string& name)
{
    std::ifstream file(LANTERN_TEST_DOCS_DIR "/" + name);
    EXPECT_TRUE(file.is_open()) << name;
    return file;
}

class Documentation : public testing::Test
{
protected:
    // A guide shows a password that no daemon generates twice; this one's own takes its place.
    std::string Translate(std::string line) const
    {
        const std::string shown = "k7m2-xw9p-3hqe-c5ta";
        const std::string mark = "created, password: ";
        const std::string output = mDaemon.GetOutput();
        const std::string own = output.substr(output.find(mark) + mark.size(), shown.size());
        for (std::size_t at = line.find(shown); at != std::string::npos; at = line.find(shown))
            line.replace(at, shown.size(), own);
        return line;
    }

    CTemporaryFolder mFolder;
    CDaemonProcess mDaemon{mFolder.File("state")};
};
} // namespace

TEST_F(Documentation, TheControlReferenceIsWhatTheDaemonOffers)
{
    std::ostringstream reference;
    reference << Open("controls.md").rdbuf();
    CCtlProcess list({"--port", std::to_string(mDaemon.GetPort()), "list", "--format", "markdown"});
    ASSERT_EQ(list.Wait(), 0);
    EXPECT_TRUE(reference.str().find(list.GetOutput()) != std::string::npos)
        << "docs/controls.md says how it is brought up to date";
}

TEST_F(Documentation, TheExchangesOfTheJsonRpcGuideAreReal)
{
    const std::string sent = "    > ";
    const std::string received = "    < ";
    CRpcConnection connection(mDaemon.GetPort());
    std::ifstream guide = Open("json-rpc.md");
    unsigned exchanges = 0;
    for (std::string line; std::getline(guide, line);)
    {
        SCOPED_TRACE(line);
        if (line.compare(0, sent.size(), sent) == 0)
        {
            ASSERT_TRUE(connection.Send(Translate(line.substr(sent.size()))));
            ++exchanges;
        }
        else if (line.compare(0, received.size(), received) == 0)
        {
            ASSERT_EQ(connection.Receive(), line.substr(received.size()));
        }
    }
    EXPECT_GT(exchanges, 20u); // it was read at all
}
