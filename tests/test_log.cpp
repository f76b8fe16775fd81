#include <QarnUVAtlas/Foundation.h>

#include "foundation/LogLine.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using testfiles::ReadFile;

TEST(LogSystem, WritesExactLinesWithoutPrefix) {
    ORVO::LogSystem::SetLogFileName("test_log_lines.txt");
    ORVO::_LogLine("ConstructEdgeInfo: input triMesh is NULL");
    ORVO::_LogLine("UnfoldMesh::ConformalMap invalid vertexCount: ", 2, " triangleCount: ", 0);
    // Detail lines are silent at the shipped level; failure reports are not.
    ORVO::_LogDetail("UnfoldMesh::ConformalMap time: ", 0.5);
    ORVO::_LogFailure("UnfoldMesh::ConformalMap::Sparse Matrix Factorize Failed");
    EXPECT_EQ(ReadFile("test_log_lines.txt"),
              "ConstructEdgeInfo: input triMesh is NULL\n"
              "UnfoldMesh::ConformalMap invalid vertexCount: 2 triangleCount: 0\n"
              "UnfoldMesh::ConformalMap::Sparse Matrix Factorize Failed\n");
}

TEST(LogSystem, ReopeningTheSameFileKeepsOnlyLaterLines) {
    ORVO::LogSystem::SetLogFileName("test_log_reopen.txt");
    ORVO::_LogLine("first");
    ORVO::LogSystem::SetLogFileName("test_log_reopen.txt");
    ORVO::_LogLine("second");
    EXPECT_EQ(ReadFile("test_log_reopen.txt"), "second\n");
}

TEST(Constants, ExactValues) {
    EXPECT_EQ(ORVO::REAL_TOL, 1e-15);
    EXPECT_EQ(ORVO::REAL_LARGE, 1.7e+308);
    EXPECT_EQ(ORVO::SHORT_LARGE, 32767);
    EXPECT_EQ(ORVO::USHORT_LARGE, 65535);
    EXPECT_EQ(ORVO::INT_LARGE, 2147483647);
    EXPECT_EQ(ORVO::UINT_LARGE, 4294967295u);
    EXPECT_EQ(ORVO::ORVO_PI, 3.141592653589793);
    // The rounded decimal, not the exact double of pi/180.
    EXPECT_EQ(ORVO::ONE_RADIAN, 0.0174532925199433);
    EXPECT_NE(ORVO::ONE_RADIAN, 3.141592653589793 / 180.0);
    EXPECT_EQ(ORVO::gSystemLogLevel, 1);
}

}  // namespace
