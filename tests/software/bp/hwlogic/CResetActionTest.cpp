// What a reset reaches, and what it leaves alone.
#include "software/bp/hwlogic/CResetAction.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/include/EError.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
class ResetAction : public testing::Test
{
protected:
    CRecordingLog mLog;
    CEventDispatcher mDispatcher{mLog};
    CRecordingProxy mProxy;
    CResetAction mAction{mDispatcher, mLog};
    CProjCon mLight{eDisplayInteger, mDispatcher, mProxy, "LUM", true, 0, 1000, 1000,
                    eAccessOperator, 1,           2,      1,     false};
    CProjCon mName{eDisplayText, mDispatcher, mProxy, "NME", true, 0, 32, "", eAccessOperator, 1, 2, false};
    CProjCon mService{eDisplayInteger,  mDispatcher, mProxy, "SVO", true, -50, 50, 0,
                      eAccessProtected, 1,           2,      0,     false};
    CProjCon mHours{eDisplayInteger, mDispatcher, mProxy, "OPH", true, 0, 1000, 0,
                    eAccessOperator, 1,           2,      0,     true};
    CProjCon mLocked{eDisplayBoolean, mDispatcher, mProxy, "SHT", true, false, eAccessOperator, 1, 2, false};
    CProjCon mHome{eDisplayAction, mDispatcher, mProxy, "LHM", false, eAccessOperator, 1, 2, 0, false};
    CProjCon mReset{eDisplayAction, mDispatcher, mAction, "RST", false, eAccessOperator, 1, 2, 0, false};
};
} // namespace

TEST_F(ResetAction, SetsWhatAUserMaySetToItsDefault)
{
    mLight.SetValue(300);
    mName.SetText("Stage");
    mService.SetValue(7);
    mHours.SetValue(99, eChangeNoApply);
    mLocked.SetValue(1);
    mLocked.SetLocked(true);
    mProxy.Take();

    EXPECT_EQ(mReset.SetValue(1), eErrorNone);
    EXPECT_EQ(mLight.GetValue(), 1000);
    EXPECT_EQ(mName.GetText(), "");
    EXPECT_EQ(mService.GetValue(), 7);
    EXPECT_EQ(mHours.GetValue(), 99);
    EXPECT_EQ(mLocked.GetValue(), 1);
    const std::vector<std::string> applied = mProxy.Take();
    EXPECT_EQ(applied, (std::vector<std::string>{"LUM=1000", "NME="})); // above all, LHM did not run
}

TEST_F(ResetAction, TellsWhenTheHardwareRefusesAndGoesOn)
{
    mLight.SetValue(300);
    mName.SetText("Stage");
    mProxy.mAccepts = false;
    EXPECT_EQ(mReset.SetValue(1), eErrorHardware);
    EXPECT_EQ(mLight.GetValue(), 300);
    EXPECT_TRUE(
        mLog.Has(ELogLevel::Warning, "Reset: LUM refused its default (error 112) and keeps its value"));
    EXPECT_TRUE(
        mLog.Has(ELogLevel::Warning, "Reset: NME refused its default (error 112) and keeps its value"));
}
