#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include "foundation/Activation.h"
#include "foundation/ApiProgress.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testfiles::ReadFile;

// --- Clock ---------------------------------------------------------------

TEST(Profiler, ReportsSecondsOnTheMonotonicClock) {
    // The outer steady_clock interval contains the inner one, so the inner
    // reading must lie between the requested wait and the outer interval.
    const auto outerStart = std::chrono::steady_clock::now();
    const double t0 = ORVO::Profiler::GetTime();
    ORVO::SleepThread(0.02);
    const double t1 = ORVO::Profiler::GetTime();
    const auto outerEnd = std::chrono::steady_clock::now();
    const double outer = std::chrono::duration<double>(outerEnd - outerStart).count();
    EXPECT_GE(t0, 0.0);
    EXPECT_GE(t1 - t0, 0.02);
    EXPECT_LE(t1 - t0, outer + 1e-6);
}

TEST(Profiler, NeverGoesBackwards) {
    double previous = ORVO::Profiler::GetTime();
    for (int i = 0; i < 10000; ++i) {
        const double now = ORVO::Profiler::GetTime();
        ASSERT_GE(now, previous);
        previous = now;
    }
}

TEST(GetTimeString, IsAFileNameFriendlyCalendarStamp) {
    std::time_t before = std::time(nullptr);
    const std::string stamp = ORVO::GetTimeString();
    std::time_t after = std::time(nullptr);

    EXPECT_EQ(stamp.find(' '), std::string::npos) << stamp;
    EXPECT_EQ(stamp.find(':'), std::string::npos) << stamp;
    EXPECT_EQ(stamp.find('\n'), std::string::npos) << stamp;

    // Www_Mmm_dd_hh-mm-ss_yyyy, a day below 10 padded with a second underscore.
    const std::regex shape(
        "(Sun|Mon|Tue|Wed|Thu|Fri|Sat)_(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)_"
        "(_[1-9]|[1-3][0-9])_([0-2][0-9])-([0-5][0-9])-([0-6][0-9])_([0-9]{4})");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(stamp, m, shape)) << stamp;

    // The stamp names the local date of a moment between the two readings.
    auto matchesLocal = [&](std::time_t t) {
        std::tm local{};
        localtime_r(&t, &local);
        const std::string day = m[3].str();
        const int mday = std::stoi(day[0] == '_' ? day.substr(1) : day);
        return mday == local.tm_mday && std::stoi(m[7].str()) == 1900 + local.tm_year &&
               std::stoi(m[4].str()) == local.tm_hour;
    };
    EXPECT_TRUE(matchesLocal(before) || matchesLocal(after)) << stamp;
}

// --- Progress ------------------------------------------------------------

class Progress : public ::testing::Test {
protected:
    void SetUp() override { ORVO::ResetApiProgress(); }
    void TearDown() override { ORVO::ResetApiProgress(); }
    ORVO::ApiProgress& P() { return ORVO::ApiProgress::Get(); }
};

TEST_F(Progress, ResetClearsEverythingAndKeepsRoomForStages) {
    P().SetProgress(0.7);
    P().EnterStage(0.9);
    P().Suspend();
    ORVO::ResetApiProgress();
    EXPECT_EQ(ORVO::GetApiProgress(), 0.0);
    EXPECT_EQ(P().mLastValue, 0.0);
    EXPECT_TRUE(P().mRangeStack.empty());
    EXPECT_GE(P().mRangeStack.capacity(), 16u);
    EXPECT_EQ(P().mSuspendCount.load(), 0);
    // The record is one process-wide object.
    EXPECT_EQ(&ORVO::ApiProgress::Get(), &P());
}

TEST_F(Progress, WithoutStagesValuesPassThrough) {
    P().SetProgress(0.25);
    EXPECT_EQ(ORVO::GetApiProgress(), 0.25);
    EXPECT_EQ(P().mLastValue, 0.25);
}

TEST_F(Progress, StageMapsIntoItsSubRange) {
    P().SetProgress(0.2);
    P().EnterStage(0.5);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.2);  // entering does not move the value
    P().SetProgress(0.5);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.35);
    P().SetProgress(0.0);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.2);
    P().LeaveStage();
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.5);
    EXPECT_DOUBLE_EQ(P().mLastValue, 0.5);
    EXPECT_TRUE(P().mRangeStack.empty());
}

TEST_F(Progress, NestedStageEndIsMappedThroughTheOuterStage) {
    P().EnterStage(0.8);   // outer stage [0, 0.8]
    P().SetProgress(0.25);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.2);
    P().EnterStage(0.75);  // inner stage from 0.2 to 0.75 of the outer range, 0.6
    P().SetProgress(0.5);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.4);
    P().LeaveStage();
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.6);
    EXPECT_EQ(P().mRangeStack.size(), 2u);
    P().SetProgress(1.0);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.8);
    P().LeaveStage();
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.8);
    EXPECT_TRUE(P().mRangeStack.empty());
}

TEST_F(Progress, LeavingWithoutAStageChangesNothing) {
    P().SetProgress(0.3);
    P().LeaveStage();
    EXPECT_EQ(ORVO::GetApiProgress(), 0.3);
    EXPECT_TRUE(P().mRangeStack.empty());
}

TEST_F(Progress, SuspendedUpdatesAreIgnored) {
    P().SetProgress(0.2);
    P().EnterStage(0.6);
    P().Suspend();
    P().Suspend();
    P().SetProgress(0.9);
    P().EnterStage(0.7);
    P().LeaveStage();
    EXPECT_EQ(ORVO::GetApiProgress(), 0.2);
    EXPECT_EQ(P().mLastValue, 0.2);
    EXPECT_EQ(P().mRangeStack.size(), 2u);
    P().Resume();
    P().SetProgress(0.9);  // still suspended once
    EXPECT_EQ(ORVO::GetApiProgress(), 0.2);
    P().Resume();
    P().Resume();  // at zero: stays zero
    EXPECT_EQ(P().mSuspendCount.load(), 0);
    P().SetProgress(0.5);
    EXPECT_DOUBLE_EQ(ORVO::GetApiProgress(), 0.4);
}

// --- Activation ----------------------------------------------------------

TEST(Activation, AnyKeyIsWelcomedAndLogged) {
    ORVO::LogSystem::SetLogFileName("test_activation.txt");
    EXPECT_TRUE(ORVO::SetActivationKey(""));
    EXPECT_TRUE(ORVO::SetActivationKey("any key at all"));
    EXPECT_EQ(ReadFile("test_activation.txt"), "Welcome Orvo\nWelcome Orvo\n");
    EXPECT_TRUE(ORVO::_ActivationGateA());
    EXPECT_TRUE(ORVO::_ActivationGateB());
    EXPECT_EQ(ORVO::STATUS_NOT_ACTIVATED, -6);
}

}  // namespace
