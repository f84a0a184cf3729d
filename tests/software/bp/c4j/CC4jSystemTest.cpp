// What the controller tells about itself, byte for byte.
#include "software/bp/c4j/CC4jSystem.h"

#include "software/utility/CJobScheduler.h"
#include "tests/software/bp/c4j/CC4jRig.h"
#include "tests/support/CManualClock.h"

namespace
{
class CC4jSystemTest : public CC4jRig
{
protected:
    CManualClock mJobClock{1000000};
    CJobScheduler mScheduler{mJobClock, mLog};
    CC4jSystem mSystem{mServer, mScheduler};
};
} // namespace

TEST_F(CC4jSystemTest, TellsOfItsJobs)
{
    EXPECT_EQ(Run("system:jobs", ""), Result("[]"));
    mScheduler.RegisterJob(
        "lens", [&] { mJobClock.Advance(300); }, 40);
    mScheduler.RegisterJob(
        "hours", [] {}, 1000);
    for (const std::uint32_t us : {40100u, 40200u})
    {
        mJobClock.Advance(us);
        mScheduler.Run();
    }
    EXPECT_EQ(
        Run("system:jobs", ""),
        Result(R"([{"durationUs":{"max":300,"mean":300,"min":300},)"
               R"("latenessUs":{"max":200,"mean":150,"min":100},"name":"lens","periodUs":40000,"runs":2},)"
               R"({"durationUs":{"max":0,"mean":0,"min":0},"latenessUs":{"max":0,"mean":0,"min":0},)"
               R"("name":"hours","periodUs":1000000,"runs":0}])"));
    EXPECT_EQ(Run("system:version", ""), Result(R"({"version":1})"));
}
