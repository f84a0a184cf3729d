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
            ASSERT_TRUE(connection.Send(line.substr(sent.size())));
            ++exchanges;
        }
        else if (line.compare(0, received.size(), received) == 0)
        {
            ASSERT_EQ(connection.Receive(), line.substr(received.size()));
        }
    }
    EXPECT_GT(exchanges, 20u); // it was read at all
}
