// Every expected number was worked out by hand; they are exact in binary wherever == is used.
#include "software/bp/hwlogic/CClosedPidLoop.h"

#include "software/bp/hwlogic/CClosedLoopFanControl.h"
#include "software/utility/CException.h"
#include "tests/support/CRecordingLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace
{
constexpr bool kDirect = true;

std::vector<std::string> Texts(const CRecordingLog& log)
{
    std::vector<std::string> texts;
    for (const CRecordingLog::SLine& line : log.GetLines())
        texts.push_back(line.mText);
    return texts;
}

struct SSample
{
    double mMeasurement;
    double mFactor;
    double mSum; // behind it
};

struct SCase
{
    const char* mName;
    double mP, mI, mD;
    double mMinimum;
    double mShutOff;
    bool mIsDirect;
    std::vector<SSample> mSamples;
};
} // namespace

TEST(ClosedPidLoop, EverySampleIsExact)
{
    const SCase cases[] = {
        {"proportional", 0.125, 0, 0, 0, 5, !kDirect, {{52, 0.25, -2}, {54, 0.5, -6}, {48, 0, -4}}},
        {"dead band, its border included",
         0.125,
         0,
         0,
         0,
         5,
         !kDirect,
         {{51, 0, 0}, {49, 0, 0}, {52, 0.25, -2}}},
        {"the derivative sees the way into the dead band",
         0,
         0,
         0.125,
         0,
         5,
         !kDirect,
         {{52, 0.25, -2}, {50.5, 0, -2}, {52, 0.25, -4}}},
        {"integral, held inside the dead band",
         0,
         0.0625,
         0,
         0,
         5,
         !kDirect,
         {{52, 0.125, -2}, {52, 0.25, -4}, {50, 0.25, -4}, {48, 0.125, -2}, {48, 0, 0}, {48, 0, 0}}},
        {"saturation keeps the sum",
         0.5,
         0.0625,
         0,
         0,
         5,
         !kDirect,
         {{51.5, 0.84375, -1.5}, {54, 1, -1.5}, {60, 1, -1.5}}},
        {"just full is not saturated", 0.25, 0, 0, 0, 5, !kDirect, {{54, 1, -4}}},
        {"six degrees below clear the sum at each sample",
         0,
         0.0625,
         0,
         0.0625,
         5,
         !kDirect,
         {{54, 0.25, -4}, {44, 0.0625, 0}, {44, 0.0625, 0}, {54, 0.25, -4}, {45, 0.0625, 0}}},
        {"least factor", 0.125, 0, 0, 0.375, 5, !kDirect, {{52, 0.375, -2}, {54, 0.5, -6}, {40, 0.375, 0}}},
        {"direct, its limit below every error",
         0,
         0.0625,
         0,
         0,
         -100,
         kDirect,
         {{48, 0.125, 2}, {48, 0.25, 4}, {52, 0.125, 2}, {58, 0, 0}}},
        {"direct, with the limit of a cooling loop",
         0,
         0.0625,
         0,
         0,
         5,
         kDirect,
         {{48, 0.125, 2}, {48, 0.125, 2}, {44, 0.5, 8}}},
    };
    CRecordingLog log;
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.mName);
        CClosedPidLoop loop(log, 50.0, c.mP, c.mI, c.mD, c.mMinimum, c.mIsDirect);
        loop.SetShutOffLimit(c.mShutOff);
        EXPECT_EQ(loop.GetCorrectionFactor(), 1.0);
        for (const SSample& sample : c.mSamples)
        {
            EXPECT_EQ(loop.Process(sample.mMeasurement), sample.mFactor) << sample.mMeasurement;
            EXPECT_EQ(loop.GetCorrectionFactor(), sample.mFactor);
            EXPECT_EQ(loop.GetIntegralSum(), sample.mSum) << sample.mMeasurement;
            EXPECT_FALSE(std::signbit(loop.GetCorrectionFactor()));
        }
    }
}

TEST(ClosedPidLoop, WhatIsNoNumberMeansFullCoolingAndLeavesNothingBehind)
{
    CRecordingLog log;
    CClosedPidLoop loop(log, 50.0, 0.1, 0.01, 0.5, 0.25, !kDirect);
    for (const double nothing :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()})
    {
        loop.Process(54.0);
        EXPECT_EQ(loop.Process(nothing), 1.0);
        EXPECT_EQ(loop.GetCorrectionFactor(), 1.0);
        EXPECT_EQ(loop.GetIntegralSum(), 0.0);
        EXPECT_EQ(loop.Process(50.0), 0.25); // as a fresh one
    }
    loop.SetNewTarget(std::nan(""));
    EXPECT_EQ(loop.Process(20.0), 1.0);
}

TEST(ClosedPidLoop, OutputsAreMeasuredByTheMaximum)
{
    CRecordingLog log;
    CClosedPidLoop loop(log, 50.0, 0.125, 0.0, 0.0, 0.0, !kDirect);
    loop.SetMaxOutput(0.5);
    EXPECT_EQ(loop.Process(52.0), 0.5);
    for (const double bad : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()})
        EXPECT_THROW(loop.SetMaxOutput(bad), CException);
    EXPECT_EQ(loop.Process(52.0), 0.5);
}

TEST(ClosedPidLoop, TheCoreLogsEachSampleOnDemand)
{
    CRecordingLog log;
    CPidCoreAlgorithm core(log, 2.0, 0.5, 0.25);
    const CPidCoreAlgorithm::SResult result = core.Calculate(1.0, 3.0, -1.0);
    EXPECT_EQ(result.mOutput, -3.0); // -2 + 0 - 1
    EXPECT_EQ(result.mSum, 0.0);
    core.EnableDebugLogs(true, 7);
    core.Calculate(1.5, 0.0, 1.0);
    core.EnableDebugLogs(false, 7);
    core.Calculate(1.5, 0.0, 1.0);
    EXPECT_EQ(Texts(log),
              (std::vector<std::string>{
                  "Index: Kp, Ki, Kd, error, iSum, iSumTemp, pTerm, iTerm, dTerm, cntrlVar",
                  "7: 2.0000, 0.5000, 0.2500, 1.0000, 1.5000, 2.5000, 2.0000, 1.2500, 0.2500, 3.5000"}));
}

TEST(ClosedLoopFanControl, KeepsLoopsByIndexAndTellsWhatItDoes)
{
    CRecordingLog log;
    CClosedLoopFanControl control(log);
    const auto add = [&](int index, double p, double maxOutput = 1.0)
    { control.AddClosedLoopControl(index, 50, p, 0.0625, 0, 0, 5, 1, maxOutput, !kDirect); };
    EXPECT_EQ(control.CalculateCorrectionFactor(3, 90.0), 1.0); // no loop: cool fully
    add(3, 0.125);
    add(1, 0.25);
    add(3, 0.5);
    EXPECT_EQ(control.CalculateCorrectionFactor(3, 51.5), 0.84375);
    EXPECT_EQ(control.FindLoop(3)->GetIntegralSum(), -1.5);
    EXPECT_EQ(control.CalculateCorrectionFactor(3, 51.5, -255.0), 0.9375); // the target stays
    EXPECT_EQ(control.CalculateCorrectionFactor(3, 51.5, 60.0), 0.0);
    EXPECT_EQ(control.FindLoop(3)->GetTarget(), 60.0);
    control.EditClosedLoopControl(1, 52, 0.125, 0, 0, 0, 5, 1, 2, !kDirect);
    EXPECT_EQ(control.CalculateCorrectionFactor(1, 56.0), 0.25);
    control.ClearClosedControlParameters(1);
    EXPECT_EQ(control.FindLoop(1)->GetIntegralSum(), 0.0);
    control.EnableDebugLogs(true);
    control.EnableDebugLogs(false);
    EXPECT_THROW(add(3, 0.5, 0.0), CException); // and the loop that was there stays
    EXPECT_THROW(add(3, std::nan("")), CException);
    control.DeleteClosedLoopControl(3);
    control.ClearClosedControlParameters(3);
    EXPECT_TRUE(log.Has(ELogLevel::Error, "No closed loop control at the index: 3"));
    const std::string header = "Index: Kp, Ki, Kd, error, iSum, iSumTemp, pTerm, iTerm, dTerm, cntrlVar";
    EXPECT_EQ(Texts(log),
              (std::vector<std::string>{
                  "Adding a closed loop at the index: 3", "Adding a closed loop at the index: 1",
                  "Deleting the existing closed loop at the index: 3", "Adding a closed loop at the index: 3",
                  "Clearing the closed loop parameters at the index: 1", "Enabling closed loop[1] debug logs",
                  header, "Enabling closed loop[3] debug logs", header, "Disabling closed loop[1] debug logs",
                  "Disabling closed loop[3] debug logs", "Deleting the existing closed loop at the index: 3",
                  "No closed loop control at the index: 3"}));
}
